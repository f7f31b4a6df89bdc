// What a reader makes of an archive, in a form in which readers can be compared.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace differential {

/// One entry. Times are seconds since 1970, UTC.
struct EntryFacts {
  std::string digest;  ///< SHA-256 of the data in hexadecimal; empty for a folder
  std::int64_t write = 0;
  std::int64_t access = 0;
  std::int64_t creation = 0;
  bool folder = false;
  bool operator==(const EntryFacts&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const EntryFacts& facts);

/// By cleaned name, UTF-8.
using ArchiveFacts = std::map<std::string, EntryFacts>;

std::string Sha256(const std::vector<std::uint8_t>& data);

/// By libarchive. Times that the archive does not have are those of writing.
ArchiveFacts ByLibarchive(const std::filesystem::path& archive);
/// By Python's zipfile.
ArchiveFacts ByZipfile(const std::filesystem::path& archive);

}  // namespace differential
