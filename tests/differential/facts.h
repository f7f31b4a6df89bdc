// What other readers find in an archive, in a form that can be compared.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace differential {

/// One entry. Times are seconds since 1970, UTC.
struct EntryFacts {
  bool folder = false;
  std::int64_t write = 0;
  std::optional<std::int64_t> access;    ///< empty if the reader does not report it
  std::optional<std::int64_t> creation;  ///< the same
  std::vector<std::uint8_t> data;
};
/// True if everything that both report is equal.
bool Agree(const EntryFacts& left, const EntryFacts& right);
/// For messages: everything, but only the size of the data.
std::ostream& operator<<(std::ostream& stream, const EntryFacts& facts);

/// By cleaned name, UTF-8, with "/" for either separator, as from libarchive. Names are unique.
using ArchiveFacts = std::map<std::string, EntryFacts>;

/// Adds an entry; throws if the name exists.
void Insert(ArchiveFacts& facts, std::string name, EntryFacts entry);

/// From libarchive; the service's code cleans the names.
ArchiveFacts ByLibarchive(const std::filesystem::path& archive);
/// From Python's zipfile, in a process that writes the data to `scratch` and cleans the names.
ArchiveFacts ByZipfile(const std::filesystem::path& archive, const std::filesystem::path& scratch);

}  // namespace differential
