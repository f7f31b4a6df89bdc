// Archives whose headers say what is not so: sizes, offsets, counts, names. What the deployment gets to see of them.
#include <map>

#include "tests/unit/unzip/extraction_fixture.h"

namespace unzip_tests {
namespace {

class LyingArchiveTest : public ExtractionTest {
 protected:
  static void SetOffset(ZipItem& item, std::uint32_t offset) {
    item.edit_central = [offset](CentralHeader& header) { header.local_header_offset = offset; };
  }
  Bytes Extracted(INT index) {
    EXPECT_EQ(Unzip(index, u"c:\\out"), UNZIP_OK);
    return drive().Contents(u"c:\\out");
  }
  /// The size of an entry of `content` bytes, stored under a name of one character.
  static constexpr std::uint32_t StoredEntry(std::uint32_t content) { return 30 + 1 + content; }
};

TEST_F(LyingArchiveTest, SizesBeyondTheFileGiveBadData) {
  for (std::uint32_t size : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(size);
    BeginAgain();
    zip_.Add("a", ToBytes("content"), 0).EditBoth([size](auto& header) {
      header.compressed_size = header.uncompressed_size = size;
    });
    zip_.Add("b", ToBytes("good"));
    EXPECT_EQ(Get(0).uncompressedSize, static_cast<INT>(size)) << "sizes are told as signed numbers";
    EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
    EXPECT_EQ(drive().Facts(u"c:\\a").size, 0u);
    EXPECT_EQ(Extracted(1), ToBytes("good"));
  }
}

TEST_F(LyingArchiveTest, ADeflatedSizeBeyondTheFileGivesBadDataBeforeAnyByte) {
  zip_.Add("a", Compressible(1000)).EditBoth([](auto& header) { header.compressed_size += 10'000; });
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA) << "though the deflated data are all there";
  EXPECT_EQ(drive().Facts(u"c:\\a").size, 0u);
}

TEST_F(LyingArchiveTest, ASizeThatReachesIntoWhatFollowsIsTakenAtItsWord) {
  zip_.Add("a", ToBytes("abc"), 0).EditBoth([](auto& h) { h.compressed_size = h.uncompressed_size = 3 + 30; });
  zip_.Add("b", ToBytes("good"), 0);
  Bytes const out = Extracted(0);
  ASSERT_EQ(out.size(), 33u);
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 7), ToBytes("abcPK\x03\x04")) << "the header of the next entry";
  EXPECT_EQ(Extracted(1), ToBytes("good"));
}

TEST_F(LyingArchiveTest, AnOffsetWhereNoHeaderStandsGivesABadHeader) {
  std::uint32_t const offsets[] = {1, StoredEntry(4) - 1, 5000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  for (std::uint32_t offset : offsets) {
    SCOPED_TRACE(offset);
    BeginAgain();
    zip_.Add("a", ToBytes("good"), 0);
    SetOffset(zip_.Add("b", ToBytes("good"), 0), offset);
    EXPECT_EQ(CodeOfGet(1), UNZIP_BAD_HEADER);
    EXPECT_EQ(Unzip(1, u"c:\\b"), UNZIP_BAD_DATA);
    EXPECT_EQ(Extracted(0), ToBytes("good"));
  }
}

TEST_F(LyingArchiveTest, EntriesThatShareOneLocalHeaderHaveTheSameData) {
  zip_.Add("a", Compressible(500));
  for (const char* name : {"b", "c"}) SetOffset(zip_.Add(name, Compressible(500)), 0);
  for (INT i = 0; i < 3; ++i) {
    EXPECT_EQ(NameOf(i), std::u16string(1, static_cast<char16_t>(u'a' + i))) << "the central name counts";
    EXPECT_EQ(Extracted(i), Compressible(500));
  }
}

TEST_F(LyingArchiveTest, AnEntryInsideTheDataOfAnotherOneIsAnEntry) {
  // "a" holds a whole archive, whose entry "x" the directory names as well.
  ZipBuilder inner;
  inner.Add("x", ToBytes("inner"), 0);
  zip_.Add("a", inner.Build(), 0);
  SetOffset(zip_.Add("x", ToBytes("inner"), 0), StoredEntry(0));
  EXPECT_EQ(Extracted(0), inner.Build());
  EXPECT_EQ(Extracted(1), ToBytes("inner"));
}

TEST_F(LyingArchiveTest, ADirectoryThatIsSaidToStartEarlierShiftsEveryEntry) {
  // What looks like 5 bytes in front of the archive is added to every offset: the local headers are missed.
  zip_.Add("a", ToBytes("content"), 0);
  zip_.edit_end = [](EndRecord& end) { end.directory_offset -= 5; };
  EXPECT_EQ(CodeOfGet(0), UNZIP_BAD_HEADER);

  // Offsets that are too small by as much, one of them below zero, meet them again.
  BeginAgain();
  SetOffset(zip_.Add("a", ToBytes("content"), 0), 0xFFFFFFFB);
  SetOffset(zip_.Add("b", ToBytes("more"), 0), StoredEntry(7) - 5);
  zip_.edit_end = [](EndRecord& end) { end.directory_offset -= 5; };
  EXPECT_EQ(Extracted(0), ToBytes("content"));
  EXPECT_EQ(Extracted(1), ToBytes("more"));
}

TEST_F(LyingArchiveTest, ADirectoryWhoseOffsetAndSizeOverflowIsAnArchive) {
  // Their sum comes to 16 and so lies in front of the end record; the directory is looked for where it wraps to.
  zip_.Add("a", ToBytes("content"));
  zip_.edit_end = [](EndRecord& end) {
    end.directory_offset = 0xFFFFFFF0;
    end.directory_size = 0x20;
  };
  EXPECT_EQ(Get(-1).index, 1);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
}

TEST_F(LyingArchiveTest, AnEndRecordThatClaimsNoEntriesHidesThemAll) {
  zip_.Add("a", ToBytes("content"));
  zip_.edit_end = [](EndRecord& end) { end.entries = end.entries_on_disk = 0; };
  EXPECT_EQ(Get(-1).index, 0);
  EXPECT_EQ(CodeOfGet(0), UNZIP_BAD_INDEX);
}

TEST_F(LyingArchiveTest, AnArchiveMayHave65535Entries) {
  machine().journal().WantCalls(false);
  for (int i = 0; i < 65'535; ++i) zip_.Add(std::to_string(i), {}, 0);
  zip_.edit_end = [](EndRecord& end) { EXPECT_EQ(end.entries, 0xFFFF); };
  Bytes const bytes = zip_.Build();
  MemoryArchive const archive(bytes);
  ASSERT_NE(archive.reader, nullptr);
  for (int i = 0; i < 65'534; ++i) GoToNextEntry(archive.reader.get());
  EXPECT_TRUE(archive.reader->currentEntryOk);
  EXPECT_EQ(CurrentName(archive.reader.get()), "65534");
  GoToNextEntry(archive.reader.get());
  EXPECT_EQ(archive.reader->currentEntryNumber, 65'534u) << "which is the last";

  ASSERT_NE(OpenBytes(bytes), nullptr);
  EXPECT_EQ(Get(-1).index, 65'535);
  EXPECT_EQ(NameOf(300), u"300");
  EXPECT_EQ(CodeOfGet(65'535), UNZIP_BAD_INDEX);
}

TEST_F(LyingArchiveTest, AWholeArchiveInFrontIsPassedOver) {
  ZipBuilder first;
  first.Add("old", ToBytes("old"));
  zip_.prefix = first.Build();
  zip_.Add("new", ToBytes("new"));
  EXPECT_EQ(Get(-1).index, 1);
  EXPECT_EQ(NameOf(0), u"new");
  EXPECT_EQ(Extracted(0), ToBytes("new"));
}

TEST_F(LyingArchiveTest, AnEndRecordInTheDataIsNotTheLastOne) {
  zip_.Add("a", ZipBuilder().Build(), 0);
  EXPECT_EQ(Get(-1).index, 1);
  EXPECT_EQ(Extracted(0), ZipBuilder().Build());
}

TEST_F(LyingArchiveTest, ASecondEndRecordBehindTheFirstOneCounts) {
  zip_.Add("a", ToBytes("content"));
  Bytes archive = zip_.Build();
  Bytes second(archive.end() - 22, archive.end());
  // It claims the same directory 22 bytes too early: these count as bytes in front of the archive.
  archive.insert(archive.end(), second.begin(), second.end());
  ASSERT_NE(OpenBytes(archive), nullptr);
  EXPECT_EQ(Get(-1).index, 1);
  EXPECT_EQ(CodeOfGet(0), UNZIP_BAD_HEADER);
}

TEST_F(LyingArchiveTest, TheCommentsLengthIsNotHeldAgainstTheFile) {
  for (std::uint16_t length : {0, 3, 0xFFFF}) {
    BeginAgain();
    zip_.Add("a", ToBytes("content"));
    zip_.comment = ToBytes("comment");
    zip_.edit_end = [length](EndRecord& end) { end.comment_length = length; };
    EXPECT_EQ(Extracted(0), ToBytes("content"));
  }
}

TEST_F(LyingArchiveTest, TimestampsThatAreCutKeepTheDosTimeForWhatIsMissing) {
  Bytes const whole = TimestampBlock(7, {1'500'000'001, 1'500'000'002, 1'500'000'003});
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    SCOPED_TRACE(size);
    BeginAgain();
    zip_.Add("a", ToBytes("1")).local_extra = Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    ZipEntry const entry = Get(0);
    tablet::FileTicks const dos = TicksOfUnix(1'534'422'336);
    EXPECT_EQ(Ticks(entry.writeTime), size >= 9 ? TicksOfUnix(1'500'000'001) : dos);
    EXPECT_EQ(Ticks(entry.accessTime), size >= 13 ? TicksOfUnix(1'500'000'002) : dos);
    EXPECT_EQ(Ticks(entry.creationTime), size >= 17 ? TicksOfUnix(1'500'000'003) : dos);
    EXPECT_EQ(Extracted(0), ToBytes("1"));
  }
}

TEST_F(LyingArchiveTest, TimestampsAreFoundBehindABlockOf255BytesButNotBehindLongerOnes) {
  for (std::size_t size : {255u, 256u, 300u}) {
    SCOPED_TRACE(size);
    Bytes extra = ExtraBlock(0x1234, Bytes(size, 0xFF));
    Bytes const times = TimestampBlock(1, {1'500'000'001});
    extra.insert(extra.end(), times.begin(), times.end());
    BeginAgain();
    zip_.Add("a", ToBytes("1")).local_extra = extra;
    EXPECT_EQ(Ticks(Get(0).writeTime), TicksOfUnix(size == 255 ? 1'500'000'001 : 1'534'422'336));
    EXPECT_EQ(Extracted(0), ToBytes("1"));
  }
}

TEST_F(LyingArchiveTest, ABlockOf300BytesIsEnteredAtIts44th) {
  // 300 is 44 in its low byte: the bytes there are taken for the next block.
  Bytes data(300, 0xFF);
  Bytes const inner = TimestampBlock(1, {1'400'000'000});
  std::copy(inner.begin(), inner.end(), data.begin() + 44);
  zip_.Add("a", ToBytes("1")).local_extra = ExtraBlock(0x1234, data);
  EXPECT_EQ(Ticks(Get(0).writeTime), TicksOfUnix(1'400'000'000));
}

TEST_F(LyingArchiveTest, StoredDataShorterThanPromisedAreWrittenAsFarAsTheyGo) {
  for (std::uint32_t stored : {0u, 1u, 6u}) {
    BeginAgain();
    zip_.Add("a", ToBytes("abcdefg"), 0).EditBoth([stored](auto& header) { header.compressed_size = stored; });
    EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
    EXPECT_EQ(drive().Contents(u"c:\\a"), ToBytes(std::string_view("abcdefg").substr(0, stored)));
  }
  EXPECT_THAT(machine().journal().Calls("SetFileTime"), IsEmpty());
}

TEST_F(LyingArchiveTest, AnEncryptedEntryIsExtractedAsGarbageWhenItsCheckByteHappensToMatch) {
  // The check byte is the high byte of the time where the values follow the data: one of 256 matches the start keys.
  std::map<DWORD, int> results;
  for (std::uint32_t high = 0; high < 256; ++high) {
    BeginAgain();
    ZipItem& item = zip_.Add("a", ToBytes("content"), 0);
    item.password = "secret";
    item.data_descriptor = true;
    item.edit_central = [high](CentralHeader& header) { header.dos_date_time = high << 8; };
    DWORD const result = Unzip(0, u"c:\\a");
    ++results[result];
    if (result != UNZIP_OK) continue;
    EXPECT_EQ(drive().Facts(u"c:\\a").size, 7u);
    EXPECT_NE(drive().Contents(u"c:\\a"), ToBytes("content"));
  }
  EXPECT_THAT(results, testing::ElementsAre(testing::Pair(UNZIP_OK, 1), testing::Pair(UNZIP_BAD_PASSWORD, 255)));
}

TEST_F(LyingArchiveTest, OtherMethodsThanStoredAndDeflatedAreBadHeaders) {
  for (std::uint16_t method : {0, 1, 6, 7, 8, 9, 10, 12, 14, 16, 24, 93, 95, 99, 0x0100, 0x0800, 0x8000, 0xFFFF}) {
    SCOPED_TRACE(method);
    BeginAgain();
    zip_.Add("a", ToBytes("content"), method);
    bool const known = method == 0 || method == 8;
    EXPECT_EQ(CodeOfGet(0), known ? UNZIP_OK : UNZIP_BAD_HEADER);
    EXPECT_EQ(Unzip(0, u"c:\\a"), known ? UNZIP_OK : UNZIP_BAD_DATA);
  }
}

}  // namespace
}  // namespace unzip_tests
