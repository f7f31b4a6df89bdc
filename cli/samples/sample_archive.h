// The archives of the sample tablets: zip files with firmware-like content, written by libarchive.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace cli {

/// One entry of an archive. Names end in "/" for folders.
struct ArchiveEntry {
  std::string name;
  std::uint64_t size = 0;  ///< bytes of content; never 0 for files: the service refuses empty ones
  bool read_only = false;
  bool stored = false;          ///< not compressed
  std::int64_t written_at = 0;  ///< seconds since 1970; goes into the entry's extended time stamps
};

/// Firmware-like bytes, the same for the same name and size: code that hardly compresses, tables that do, padding.
std::vector<std::uint8_t> FirmwareContent(const std::string& name, std::uint64_t size);

/// The zip file as bytes. The archiver stores times as "UT" blocks and attributes as Unix modes.
std::vector<std::uint8_t> MakeArchive(std::span<const ArchiveEntry> entries);

}  // namespace cli
