// DOS attributes and creation times beside the host's files: in extended attributes, and in a text file for what was
// copied by tools that drop those.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/tablet/kernel/clock.h"

namespace tablet {

/// What is kept for one file or folder; nothing where it was never set.
struct KeptFacts {
  std::optional<std::uint32_t> attributes;
  std::optional<FileTicks> creation;
};

/// Whether the host's file system can keep extended attributes at this place.
bool KeepsExtendedAttributes(const std::filesystem::path& host);

/// "user.DOSATTRIB" ("0x22", the text form) and "user.vantord.creation" (FILETIME ticks in decimal) of a host's file.
/// Throws InputError when one of them is there and is not of that form.
KeptFacts ReadExtendedAttributes(const std::filesystem::path& host);
/// False when the host did not take it.
bool WriteAttributes(const std::filesystem::path& host, std::uint32_t attributes);
bool WriteCreation(const std::filesystem::path& host, FileTicks creation);

/// Side file entries by their path on the drive ("C:\..."), in upper case. A file that is not there has none. Blank
/// lines and lines that begin with "#" are passed over. Throws InputError with file and line for any other line that
/// is not "0xATTRIBUTES<TAB>CREATION<TAB>PATH".
std::map<std::u16string, KeptFacts> ReadSideFile(const std::filesystem::path& side_file);

struct SideFileEntry {
  std::u16string path;  ///< full, "C:\..."
  std::uint32_t attributes = 0;
  std::optional<FileTicks> creation;
};
/// Replaces the side file. Throws InputError when it cannot be written.
void WriteSideFile(const std::filesystem::path& side_file, const std::vector<SideFileEntry>& entries);

}  // namespace tablet
