#include "kit/result/zip_file.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

namespace {

struct ReaderCloser {
  void operator()(archive* reader) const { archive_read_free(reader); }
};

/// What another reader finds in a zip file: {name: data}.
std::map<std::string, std::string> Unpacked(const std::string& zip) {
  std::map<std::string, std::string> files;
  std::unique_ptr<archive, ReaderCloser> const reader(archive_read_new());
  archive_read_support_format_zip_seekable(reader.get());
  EXPECT_EQ(archive_read_open_memory(reader.get(), zip.data(), zip.size()), ARCHIVE_OK);
  archive_entry* entry = nullptr;
  while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
    std::string data(static_cast<std::size_t>(archive_entry_size(entry)), '\0');
    EXPECT_EQ(archive_read_data(reader.get(), data.data(), data.size()), static_cast<la_ssize_t>(data.size()));
    files[archive_entry_pathname(entry)] = data;
  }
  EXPECT_EQ(archive_errno(reader.get()), 0) << archive_error_string(reader.get());
  return files;
}

TEST(KitZip, AnotherReaderFindsWhatWasAdded) {
  std::map<std::string, std::string> const files = {
      {"result.json", std::string(100000, 'x') + "end"}, {"a/empty", ""}, {"a/bytes", std::string("\0\xFF\x80", 3)}};
  kit::ZipFile zip;
  for (const auto& [name, data] : files) zip.Add(name, data);
  std::string const bytes = zip.Finish();
  EXPECT_EQ(Unpacked(bytes), files);
  EXPECT_LT(bytes.size(), 1000u) << "not compressed";
}

}  // namespace
