#include "vantord/unzip/zip_reader.h"

#include "tests/unit/unzip/archives.h"

namespace unzip_tests {
namespace {

class ZipReaderTest : public TabletTest {
 protected:
  /// What the local-header check says of an archive with one entry.
  static int CheckOf(const ZipBuilder& zip) {
    MemoryArchive const archive(zip);
    ZipLocalHeaderInfo local;
    return CheckLocalHeader(archive.reader.get(), local);
  }
  static int CheckWithLocal(std::function<void(LocalHeader&)> edit) {
    ZipBuilder zip;
    zip.Add("a", ToBytes("content")).edit_local = std::move(edit);
    return CheckOf(zip);
  }

  /// Year, month, day, hours, minutes and seconds that the reader makes of an entry's time.
  static std::vector<std::uint32_t> BrokenDown(std::uint32_t dos_date_time) {
    ZipBuilder zip;
    zip.Add("a", ToBytes("1")).dos_date_time = dos_date_time;
    MemoryArchive const archive(zip);
    ZipCentralEntryInfo const& entry = archive.reader->currentEntry;
    return {entry.year, entry.month, entry.day, entry.hours, entry.minutes, entry.seconds};
  }

  ZipBuilder zip_;
};

TEST_F(ZipReaderTest, WalksTheEntriesInOrderAndRewinds) {
  zip_.Add("one", ToBytes("1")).comment = ToBytes("a comment");
  zip_.Add("two", ToBytes("22")).central_extra = Bytes(30, 9);
  zip_.Add("three", ToBytes("333"));
  MemoryArchive const archive(zip_);
  ZipArchiveReader* const reader = archive.reader.get();
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(reader->numberOfEntries, 3u);
  EXPECT_EQ(reader->currentEntryNumber, 0u);
  EXPECT_EQ(CurrentName(reader), "one");
  GoToNextEntry(reader);
  EXPECT_EQ(CurrentName(reader), "two");
  GoToNextEntry(reader);
  EXPECT_EQ(CurrentName(reader), "three");
  EXPECT_EQ(reader->currentEntryNumber, 2u);
  GoToNextEntry(reader);
  EXPECT_EQ(reader->currentEntryNumber, 2u) << "the last entry is the last";
  EXPECT_EQ(GoToFirstEntry(reader), ZIP_OK);
  EXPECT_TRUE(reader->currentEntryOk);
  EXPECT_EQ(CurrentName(reader), "one");
}

TEST_F(ZipReaderTest, EveryFieldOfTheCentralHeaderIsRead) {
  zip_.Add("name", ToBytes("abc")).edit_central = [](CentralHeader& header) {
    header.version_made_by = 0x0B14;
    header.version_needed = 0x1234;
    header.flags = 0xFFF6;
    header.method = 0x5678;
    header.dos_date_time = DosTime(2107, 12, 31, 23, 59, 58);
    header.crc32 = 0x11223344;
    header.compressed_size = 0xFFFFFFFF;
    header.uncompressed_size = 0x80000000;
    header.comment_length = 0xABCD;
    header.disk_number_start = 0x0102;
    header.internal_attributes = 0x0304;
    header.external_attributes = 0xFEDCBA98;
    header.local_header_offset = 0x89ABCDEF;
  };
  MemoryArchive const archive(zip_);
  ZipCentralEntryInfo info;
  std::uint32_t offset = 0;
  ASSERT_EQ(GetCurrentEntryInfo(archive.reader.get(), &info, &offset, nullptr, 0), ZIP_OK);
  EXPECT_EQ(info.versionMadeBy, 0x0B14u);
  EXPECT_EQ(info.versionNeeded, 0x1234u);
  EXPECT_EQ(info.flags, 0xFFF6u);
  EXPECT_EQ(info.compressionMethod, 0x5678u);
  EXPECT_EQ(info.crc32, 0x11223344u);
  EXPECT_EQ(info.compressedSize, 0xFFFFFFFFu);
  EXPECT_EQ(info.uncompressedSize, 0x80000000u);
  EXPECT_EQ(info.nameLength, 4u);
  EXPECT_EQ(info.extraLength, 0u);
  EXPECT_EQ(info.commentLength, 0xABCDu);
  EXPECT_EQ(info.diskNumberStart, 0x0102u);
  EXPECT_EQ(info.internalAttributes, 0x0304u);
  EXPECT_EQ(info.externalAttributes, 0xFEDCBA98u);
  EXPECT_EQ(offset, 0x89ABCDEFu);
  EXPECT_EQ(info.year, 2107u);
  EXPECT_EQ(info.month, 11u) << "counts from 0";
  EXPECT_EQ(info.day, 31u);
  EXPECT_EQ(info.hours, 23u);
  EXPECT_EQ(info.minutes, 59u);
  EXPECT_EQ(info.seconds, 58u);
}

TEST_F(ZipReaderTest, AnEndSignatureInTheLastFourBytesIsFound) {
  MemoryArchive const archive({0, 'P', 'K', 5, 6});
  ASSERT_NE(archive.reader, nullptr) << "what the file does not have reads as zero";
  EXPECT_EQ(archive.reader->numberOfEntries, 0u);
  EXPECT_EQ(archive.reader->endRecordPosition, 1u);
}

TEST_F(ZipReaderTest, EveryBitOfTheTimeCounts) {
  EXPECT_THAT(BrokenDown(0xFFFFFFFF), ElementsAre(2107u, 14u, 31u, 31u, 63u, 62u));
}

TEST_F(ZipReaderTest, AnOrdinaryTimeIsBrokenDownIntoItsFields) {
  EXPECT_THAT(BrokenDown(DosTime(1999, 5, 6, 7, 8, 10)), ElementsAre(1999u, 4u, 6u, 7u, 8u, 10u));
}

TEST_F(ZipReaderTest, AMonthOfZeroWraps) {
  zip_.Add("a", ToBytes("abc")).dos_date_time = 0;
  MemoryArchive const archive(zip_);
  EXPECT_EQ(archive.reader->currentEntry.month, 0xFFFFFFFFu);
  EXPECT_EQ(archive.reader->currentEntry.year, 1980u);
}

TEST_F(ZipReaderTest, AFileOf4BytesOrFewerIsNoArchive) {
  Bytes const signature = ToBytes("PK\x05\x06");
  for (std::size_t size = 0; size <= 4; ++size) {
    EXPECT_EQ(MemoryArchive(Bytes(signature.begin(), signature.begin() + static_cast<std::ptrdiff_t>(size))).reader,
              nullptr)
        << size;
  }
}

TEST_F(ZipReaderTest, AnEndRecordThatIsCutReadsAsZeros) {
  MemoryArchive const archive(Bytes{0x50, 0x4B, 0x05, 0x06, 0x00});
  ASSERT_NE(archive.reader, nullptr);
  EXPECT_EQ(archive.reader->numberOfEntries, 0u);
  EXPECT_EQ(archive.reader->endRecordPosition, 0u);
}

TEST_F(ZipReaderTest, AnArchiveWithoutEntriesOpens) {
  MemoryArchive const archive{ZipBuilder()};
  ASSERT_NE(archive.reader, nullptr);
  EXPECT_EQ(archive.reader->numberOfEntries, 0u);
  EXPECT_FALSE(archive.reader->currentEntryOk);
}

TEST_F(ZipReaderTest, ACommentOf1006BytesIsTheLongestThatIsFound) {
  zip_.Add("a", Compressible(5000));
  zip_.comment = Bytes(1006, '.');
  MemoryArchive const found(zip_);
  ASSERT_NE(found.reader, nullptr);
  EXPECT_EQ(found.reader->commentSize, 1006u);
  zip_.comment = Bytes(1007, '.');
  EXPECT_EQ(MemoryArchive(zip_).reader, nullptr);
}

TEST_F(ZipReaderTest, TheLastEndRecordCounts) {
  ZipBuilder inner;
  zip_.Add("a", ToBytes("abc"));
  // Another archive's end in the comment: it has no entries.
  zip_.comment = inner.Build();
  MemoryArchive const archive(zip_);
  ASSERT_NE(archive.reader, nullptr);
  EXPECT_EQ(archive.reader->numberOfEntries, 0u);
  EXPECT_EQ(archive.reader->endRecordPosition, archive.bytes.size() - 22);
}

TEST_F(ZipReaderTest, BytesInFrontShiftEveryOffset) {
  zip_.Add("one", Compressible(30000));
  zip_.Add("two", Compressible(100)).local_extra = Bytes(9, 0);
  zip_.prefix = Bytes(12345, 0x4D);
  MemoryArchive const archive(zip_);
  ZipArchiveReader* const reader = archive.reader.get();
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(reader->byteBeforeTheArchive, 12345u);
  ASSERT_EQ(OpenCurrentEntry(reader, nullptr), ZIP_OK);
  EXPECT_EQ(ReadToEnd(reader).bytes, Compressible(30000));
  GoToNextEntry(reader);
  EXPECT_EQ(CurrentName(reader), "two");
  ASSERT_EQ(OpenCurrentEntry(reader, nullptr), ZIP_OK);
  EXPECT_EQ(ReadToEnd(reader).bytes, Compressible(100));
}

TEST_F(ZipReaderTest, WhereTheStreamStartedIsPartOfTheBytesInFront) {
  zip_.Add("one", ToBytes("abc"));
  zip_.prefix = Bytes(7, 1);
  Bytes const bytes = zip_.Build();
  auto stream = MemoryStream(bytes);
  stream->initialOffset = 2;
  auto const reader = OpenZipArchive(std::move(stream));
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(reader->byteBeforeTheArchive, 9u);
  EXPECT_EQ(reader->stream->initialOffset, 0u);
}

TEST_F(ZipReaderTest, SeveralDisksAreRefused) {
  auto const opens = [](std::function<void(EndRecord&)> edit) {
    ZipBuilder zip;
    zip.Add("a", ToBytes("abc"));
    zip.edit_end = std::move(edit);
    return MemoryArchive(zip).reader != nullptr;
  };
  EXPECT_TRUE(opens([](EndRecord&) {}));
  EXPECT_FALSE(opens([](EndRecord& end) { end.disk = 1; }));
  EXPECT_FALSE(opens([](EndRecord& end) { end.directory_disk = 1; }));
  EXPECT_FALSE(opens([](EndRecord& end) { end.entries = 2; }));
}

TEST_F(ZipReaderTest, ADirectoryThatReachesBehindTheEndRecordIsRefused) {
  auto const opens = [](std::uint32_t more) {
    ZipBuilder zip;
    zip.Add("a", ToBytes("abc"));
    zip.edit_end = [more](EndRecord& end) { end.directory_size += more; };
    return MemoryArchive(zip).reader != nullptr;
  };
  EXPECT_TRUE(opens(0));
  EXPECT_FALSE(opens(1));
}

TEST_F(ZipReaderTest, AnArchiveWhoseFirstCentralHeaderIsBadStillOpens) {
  zip_.Add("a", ToBytes("abc")).edit_central = [](CentralHeader& header) { header.signature = 0; };
  MemoryArchive const archive(zip_);
  ASSERT_NE(archive.reader, nullptr);
  EXPECT_FALSE(archive.reader->currentEntryOk);
  EXPECT_EQ(archive.reader->currentEntry.nameLength, 1u) << "its fields are kept all the same";
  EXPECT_EQ(GoToFirstEntry(archive.reader.get()), ZIP_BAD_ARCHIVE);
  EXPECT_EQ(OpenCurrentEntry(archive.reader.get(), nullptr), ZIP_BAD_PARAMETER);
}

TEST_F(ZipReaderTest, TheCursorStaysAtABadCentralHeader) {
  zip_.Add("a", ToBytes("abc"));
  zip_.Add("b", ToBytes("abc")).edit_central = [](CentralHeader& header) { header.signature = 1; };
  zip_.Add("c", ToBytes("abc"));
  MemoryArchive const archive(zip_);
  ZipArchiveReader* const reader = archive.reader.get();
  ASSERT_NE(reader, nullptr);
  GoToNextEntry(reader);
  EXPECT_EQ(reader->currentEntryNumber, 1u);
  EXPECT_FALSE(reader->currentEntryOk);
  GoToNextEntry(reader);
  EXPECT_EQ(reader->currentEntryNumber, 1u);
  EXPECT_EQ(GoToFirstEntry(reader), ZIP_OK);
}

TEST_F(ZipReaderTest, ANameOf260BytesFillsTheBufferWithoutATerminator) {
  auto const name_of = [](std::size_t length) {
    ZipBuilder zip;
    zip.Add(std::string(length, 'n'), ToBytes("abc"));
    MemoryArchive const archive(zip);
    std::string name(262, '#');
    EXPECT_EQ(GetCurrentEntryInfo(archive.reader.get(), nullptr, nullptr, name.data(), 260), ZIP_OK);
    return name;
  };
  EXPECT_EQ(name_of(259), std::string(259, 'n') + '\0' + "##");
  EXPECT_EQ(name_of(260), std::string(260, 'n') + "##");
  EXPECT_EQ(name_of(300), std::string(260, 'n') + "##");
}

TEST_F(ZipReaderTest, AnEmptyNameIsComplete) {
  zip_.Add("", ToBytes("abc"));
  MemoryArchive const archive(zip_);
  char name[260] = {'#'};
  EXPECT_EQ(GetCurrentEntryInfo(archive.reader.get(), nullptr, nullptr, name, sizeof name), ZIP_OK);
  EXPECT_EQ(name[0], 0);
}

TEST_F(ZipReaderTest, ANameThatTheFileEndsInIsAFailure) {
  zip_.Add("a", ToBytes("abc")).edit_central = [](CentralHeader& header) { header.name_length = 100; };
  MemoryArchive const archive(zip_);
  char name[260];
  EXPECT_EQ(GetCurrentEntryInfo(archive.reader.get(), nullptr, nullptr, name, sizeof name), ZIP_STREAM_FAILED);
}

TEST_F(ZipReaderTest, ADirectoryOffsetOutsideOfMemoryFailsTheSeek) {
  zip_.Add("a", ToBytes("abc"));
  MemoryArchive const archive(zip_);
  archive.reader->centralDirectoryOffset = 0x7FFFFFFF;
  EXPECT_EQ(GoToFirstEntry(archive.reader.get()), ZIP_STREAM_FAILED);
  EXPECT_FALSE(archive.reader->currentEntryOk);
  archive.reader->currentLocalHeaderOffset = 0x7FFFFFFF;
  ZipLocalHeaderInfo local;
  EXPECT_EQ(CheckLocalHeader(archive.reader.get(), local), ZIP_STREAM_FAILED);
}

TEST_F(ZipReaderTest, TheLocalHeaderSaysWhereTheDataIs) {
  zip_.Add("first", ToBytes("x"), 0);
  ZipItem& item = zip_.Add("name", ToBytes("abc"));
  item.local_extra = Bytes(11, 1);
  item.central_extra = Bytes(3, 1);
  MemoryArchive const archive(zip_);
  GoToNextEntry(archive.reader.get());
  ZipLocalHeaderInfo local;
  ASSERT_EQ(CheckLocalHeader(archive.reader.get(), local), ZIP_OK);
  EXPECT_EQ(local.nameAndExtraLength, 15u);
  EXPECT_EQ(local.extraOffset, 30u + 5 + 1 + 30 + 4);
  EXPECT_EQ(local.extraSize, 11u);
}

TEST_F(ZipReaderTest, ALocalHeaderThatDisagreesIsRefused) {
  EXPECT_EQ(CheckWithLocal({}), ZIP_OK);
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) { header.signature ^= 1; }), ZIP_BAD_ARCHIVE);
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) { header.crc32 ^= 1; }), ZIP_BAD_ARCHIVE);
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) { header.compressed_size ^= 1; }), ZIP_BAD_ARCHIVE);
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) { header.uncompressed_size ^= 1; }), ZIP_BAD_ARCHIVE);
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) { header.method = 0; }), ZIP_BAD_ARCHIVE);
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) { header.name_length = 2; }), ZIP_BAD_ARCHIVE);
}

TEST_F(ZipReaderTest, ValuesDeclaredBehindTheDataMayDiffer) {
  constexpr std::uint16_t kDeclaredLater = 8;
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) {
              header.flags = kDeclaredLater;
              header.crc32 = 0;
              header.compressed_size = 0;
              header.uncompressed_size = 0;
            }),
            ZIP_OK);
  // The name's length has no such excuse, nor has the method.
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) {
              header.flags = kDeclaredLater;
              header.name_length = 2;
            }),
            ZIP_BAD_ARCHIVE);
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) {
              header.flags = kDeclaredLater;
              header.method = 0;
            }),
            ZIP_BAD_ARCHIVE);
}

TEST_F(ZipReaderTest, TheLocalFlagsDecideWhetherValuesMayDiffer) {
  ZipItem& item = zip_.Add("a", ToBytes("content"));
  item.edit_central = [](CentralHeader& header) { header.flags = 8; };
  item.edit_local = [](LocalHeader& header) { header.crc32 = 0; };
  EXPECT_EQ(CheckOf(zip_), ZIP_BAD_ARCHIVE);
}

TEST_F(ZipReaderTest, VersionTimeAndNameOfTheLocalHeaderMayDiffer) {
  EXPECT_EQ(CheckWithLocal([](LocalHeader& header) {
              header.version_needed = 0xFFFF;
              header.dos_date_time = 0;
              header.name = ToBytes("b");
            }),
            ZIP_OK);
}

TEST_F(ZipReaderTest, OnlyStoredAndDeflatedEntriesAreAccepted) {
  for (std::uint16_t method = 0; method <= 100; ++method) {
    ZipBuilder zip;
    zip.Add("a", ToBytes("content"), method);
    EXPECT_EQ(CheckOf(zip), method == 0 || method == 8 ? ZIP_OK : ZIP_BAD_ARCHIVE) << method;
  }
}

TEST_F(ZipReaderTest, WithoutAReaderEveryOperationIsABadParameter) {
  ZipLocalHeaderInfo local;
  bool end = true;
  char byte = 0;
  EXPECT_EQ(OpenZipArchive(nullptr), nullptr);
  EXPECT_EQ(GoToFirstEntry(nullptr), ZIP_BAD_PARAMETER);
  EXPECT_EQ(GetCurrentEntryInfo(nullptr, nullptr, nullptr, nullptr, 0), ZIP_BAD_PARAMETER);
  EXPECT_EQ(CheckLocalHeader(nullptr, local), ZIP_BAD_PARAMETER);
  EXPECT_EQ(OpenCurrentEntry(nullptr, nullptr), ZIP_BAD_PARAMETER);
  EXPECT_EQ(ReadCurrentEntry(nullptr, &byte, 1, &end), ZIP_BAD_PARAMETER);
  EXPECT_FALSE(end);
  EXPECT_EQ(CloseCurrentEntry(nullptr), ZIP_BAD_PARAMETER);
  GoToNextEntry(nullptr);
  CloseZipArchive(nullptr);
}

}  // namespace
}  // namespace unzip_tests
