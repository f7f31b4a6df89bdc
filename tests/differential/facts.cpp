#include "tests/differential/facts.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "sim/tablet/base/text.h"
#include "vantord/unzip/entry_name.h"

namespace differential {

namespace {

namespace fs = std::filesystem;

struct ReaderCloser {
  void operator()(archive* reader) const { archive_read_free(reader); }
};

std::vector<std::uint8_t> ReadData(archive* reader, const std::string& name) {
  std::vector<std::uint8_t> data;
  std::vector<std::uint8_t> piece(10'000);
  for (;;) {
    la_ssize_t const count = archive_read_data(reader, piece.data(), piece.size());
    if (count < 0) throw std::runtime_error("libarchive: " + name + ": " + archive_error_string(reader));
    if (count == 0) return data;
    data.insert(data.end(), piece.begin(), piece.begin() + count);
  }
}

std::string CleanedName(const char* name) {
  if (name == nullptr) throw std::runtime_error("libarchive: a name is not UTF-8");
  std::u16string const wide = tablet::ToUtf16(name);
  return tablet::ToUtf8(CleanEntryName(wide.c_str()));
}

}  // namespace

void Insert(ArchiveFacts& facts, std::string name, EntryFacts entry) {
  std::replace(name.begin(), name.end(), '\\', '/');
  if (!facts.emplace(name, std::move(entry)).second) throw std::runtime_error("duplicate name in the archive: " + name);
}

bool Agree(const EntryFacts& left, const EntryFacts& right) {
  auto const same = [](const std::optional<std::int64_t>& a, const std::optional<std::int64_t>& b) {
    return !a || !b || *a == *b;
  };
  return left.folder == right.folder && left.write == right.write && same(left.access, right.access) &&
         same(left.creation, right.creation) && left.data == right.data;
}

std::ostream& operator<<(std::ostream& stream, const EntryFacts& facts) {
  stream << (facts.folder ? "folder" : "file") << " of " << facts.data.size() << " bytes, written " << facts.write;
  if (facts.access) stream << ", read " << *facts.access;
  if (facts.creation) stream << ", made " << *facts.creation;
  return stream;
}

ArchiveFacts ByLibarchive(const fs::path& path) {
  std::unique_ptr<archive, ReaderCloser> const reader(archive_read_new());
  archive_read_support_format_zip_seekable(reader.get());
  // Names without the UTF-8 flag are UTF-8 too.
  archive_read_set_options(reader.get(), "zip:hdrcharset=UTF-8");
  if (archive_read_open_filename(reader.get(), path.c_str(), 10'240) != ARCHIVE_OK) {
    throw std::runtime_error(std::string("libarchive: ") + archive_error_string(reader.get()));
  }
  ArchiveFacts facts;
  archive_entry* entry = nullptr;
  int code = ARCHIVE_OK;
  while ((code = archive_read_next_header(reader.get(), &entry)) == ARCHIVE_OK) {
    std::string const name = CleanedName(archive_entry_pathname_utf8(entry));
    EntryFacts fact;
    fact.folder = archive_entry_filetype(entry) == AE_IFDIR;
    fact.write = archive_entry_mtime(entry);
    // The other two come from extended timestamps only; they are zero without.
    if (archive_entry_atime(entry) != 0) fact.access = archive_entry_atime(entry);
    if (archive_entry_ctime(entry) != 0) fact.creation = archive_entry_ctime(entry);
    fact.data = ReadData(reader.get(), name);
    Insert(facts, name, std::move(fact));
  }
  if (code != ARCHIVE_EOF) throw std::runtime_error(std::string("libarchive: ") + archive_error_string(reader.get()));
  return facts;
}

ArchiveFacts ByZipfile(const fs::path& path, const fs::path& scratch) {
  fs::create_directories(scratch);
  fs::path const list = scratch / "list";
  std::string const command = std::string("python3 '" ZIPFILE_FACTS "' '") + path.string() + "' '" + scratch.string() +
                              "' >'" + list.string() + "'";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
  ArchiveFacts facts;
  std::ifstream lines(list);
  std::string line;
  for (std::size_t index = 0; std::getline(lines, line); ++index) {
    std::istringstream fields(line);
    std::string name;
    std::string kind;
    EntryFacts fact;
    std::getline(fields, name, '\t');
    fields >> fact.write >> fact.access.emplace() >> fact.creation.emplace() >> kind;
    fact.folder = kind == "folder";
    std::ifstream data(scratch / std::to_string(index), std::ios::binary);
    fact.data.assign(std::istreambuf_iterator<char>(data), {});
    Insert(facts, name, std::move(fact));
  }
  return facts;
}

}  // namespace differential
