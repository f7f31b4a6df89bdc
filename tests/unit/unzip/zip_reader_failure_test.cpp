// What the reader makes of failures that meet, and of bytes that are almost what it looks for.
#include "tests/unit/unzip/archives.h"

namespace unzip_tests {
namespace {

class ZipReaderFailureTest : public TabletTest {};

TEST_F(ZipReaderFailureTest, WhatOnlyResemblesTheSignatureIsPassedOver) {
  for (const char* comment : {"PK\5x", "PKx\6", "Px\5\6", "xK\5\6", "\6\5KP"}) {
    ZipBuilder zip;
    zip.Add("a", ToBytes("content"));
    zip.comment = ToBytes(comment);
    MemoryArchive const archive(zip);
    ASSERT_NE(archive.reader, nullptr) << comment;
    EXPECT_EQ(archive.reader->numberOfEntries, 1u) << comment;
  }
}

TEST_F(ZipReaderFailureTest, AReadErrorOutweighsABadSignature) {
  ZipBuilder zip;
  ZipItem& item = zip.Add("a", ToBytes("content"));
  item.edit_central = [](CentralHeader& header) { header.signature ^= 1; };
  item.edit_local = [](LocalHeader& header) { header.signature ^= 1; };
  drive().Put(u"c:\\a.zip", zip.Build());
  auto const reader = OpenZipArchive(lufopen(u"c:\\a.zip"));
  ASSERT_NE(reader, nullptr);
  ZipLocalHeaderInfo local;
  EXPECT_EQ(GetCurrentEntryInfo(reader.get(), nullptr, nullptr, nullptr, 0), ZIP_BAD_ARCHIVE);
  EXPECT_EQ(CheckLocalHeader(reader.get(), local), ZIP_BAD_ARCHIVE);
  // The signature is four bytes; the fifth fails.
  Inject("ReadFile", ERROR_IO_DEVICE, 5, 1);
  EXPECT_EQ(GetCurrentEntryInfo(reader.get(), nullptr, nullptr, nullptr, 0), ZIP_STREAM_FAILED);
  reader->stream->hadError = false;
  Inject("ReadFile", ERROR_IO_DEVICE, 5, 1);
  EXPECT_EQ(CheckLocalHeader(reader.get(), local), ZIP_STREAM_FAILED);
}

TEST_F(ZipReaderFailureTest, AnEntryWhoseLocalHeaderCannotBeReadIsABadArchive) {
  ZipBuilder zip;
  zip.Add("a", ToBytes("content"));
  drive().Put(u"c:\\a.zip", zip.Build());
  auto const reader = OpenZipArchive(lufopen(u"c:\\a.zip"));
  ASSERT_NE(reader, nullptr);
  Inject("ReadFile", ERROR_IO_DEVICE, 1, 1);
  EXPECT_EQ(OpenCurrentEntry(reader.get(), nullptr), ZIP_BAD_ARCHIVE);
}

}  // namespace
}  // namespace unzip_tests
