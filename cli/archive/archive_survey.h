// What stands in an archive, read with the service's own zip reader.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace cli {

/// One entry that the reader came to.
struct SurveyedEntry {
  std::string raw_name;   ///< the bytes as stored
  bool header_ok = true;  ///< its central header parsed
  bool folder = false;
  std::string name;             ///< cleaned, UTF-8; empty where the entry cannot be described
  std::uint32_t described = 0;  ///< the code of describing it, 0 for success
  std::uint32_t method = 0;
  std::uint32_t attributes = 0;  ///< FILE_ATTRIBUTE_* bits
  std::uint64_t bytes = 0;       ///< unpacked, as declared
  std::uint64_t packed_bytes = 0;
  bool encrypted = false;
  bool has_utf8_flag = false;
  std::uint64_t delivered = 0;  ///< bytes that came out
  bool read_to_end = false;     ///< the reader told of the entry's end
  bool crc_differs = false;     ///< read completely, and its CRC-32 is not the declared one
};

struct Survey {
  bool opened = false;
  std::uint32_t claimed = 0;  ///< entries, as the end record has it
  std::vector<SurveyedEntry> entries;
  /// Behind this entry the service can never come: its central header does not parse and entries are claimed behind it.
  bool hangs = false;
};

/// Reads an archive of the current tablet. Call it on a simulated thread.
Survey ReadSurvey(const std::string& path);

/// Why the service finds no archive in a file of the host, half a sentence.
std::string WhyNoArchive(const std::filesystem::path& file);

}  // namespace cli
