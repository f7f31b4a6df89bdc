// The state in which a tablet was imported, kept in its folder: what changes are counted from.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "sim/tablet/registry/registry.h"

namespace cli {

inline constexpr const char* kBaselineFolder = "imported";

/// A file or folder of drive C:.
struct FileState {
  std::u16string path;  ///< "C:\Windows\a"
  bool folder = false;
  std::uint32_t attributes = 0;  ///< read-only, hidden, system and archive
  std::uint64_t bytes = 0;
  std::string digest;  ///< SHA-256; empty for folders
};
/// By path in upper case.
using FileStates = std::map<std::u16string, FileState>;

/// The drive of a tablet's folder. Throws InputError.
FileStates FilesOf(const std::filesystem::path& tablet);

/// "RHSA", as far as each is set; "-" for none.
std::string LettersOf(std::uint32_t attributes);

void WriteBaseline(const std::filesystem::path& tablet, const std::string& registry_text);
/// Both throw InputError for a tablet that was not imported.
void ReadBaselineRegistry(const std::filesystem::path& tablet, tablet::Registry& registry);
FileStates ReadBaselineFiles(const std::filesystem::path& tablet);

}  // namespace cli
