// What readers nobody here wrote make of an archive, in a form in which they can be compared.
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
  std::optional<std::int64_t> access;    ///< nothing where the reader does not tell
  std::optional<std::int64_t> creation;  ///< the same
  std::vector<std::uint8_t> data;
};
/// Whether everything is the same that both tell.
bool Agree(const EntryFacts& left, const EntryFacts& right);
/// For messages: everything but the data, of which the size.
std::ostream& operator<<(std::ostream& stream, const EntryFacts& facts);

/// By cleaned name, UTF-8, with "/" for either separator: libarchive turns the others round. No name occurs twice.
using ArchiveFacts = std::map<std::string, EntryFacts>;

/// Adds an entry; throws when the name is there already.
void Insert(ArchiveFacts& facts, std::string name, EntryFacts entry);

/// By libarchive; the names are cleaned as the service cleans them.
ArchiveFacts ByLibarchive(const std::filesystem::path& archive);
/// By Python's zipfile, in a process of its own that puts the data into `scratch`; the names are cleaned there.
ArchiveFacts ByZipfile(const std::filesystem::path& archive, const std::filesystem::path& scratch);

}  // namespace differential
