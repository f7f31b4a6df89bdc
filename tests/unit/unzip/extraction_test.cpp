#include "tests/unit/unzip/extraction_fixture.h"
#include "vantord/unzip/tunzip.h"

namespace unzip_tests {
namespace {

TEST_F(ExtractionTest, IndexMinusOneTellsTheNumberOfEntries) {
  zip_.Add("a", ToBytes("1"));
  zip_.Add("b", ToBytes("22"));
  ASSERT_NE(Open(), nullptr);
  ZipEntry entry;
  std::memset(&entry, 0x55, sizeof entry);
  ASSERT_EQ(GetZipEntry(handle_, -1, entry), UNZIP_OK);
  EXPECT_EQ(entry.index, 2);
  EXPECT_EQ(std::u16string(entry.name), u"");
  EXPECT_EQ(entry.attributes, 0u);
  EXPECT_EQ(Ticks(entry.accessTime), 0u);
  EXPECT_EQ(Ticks(entry.creationTime), 0u);
  EXPECT_EQ(Ticks(entry.writeTime), 0u);
  EXPECT_EQ(entry.compressedSize, 0);
  EXPECT_EQ(entry.uncompressedSize, 0);
}

TEST_F(ExtractionTest, AnArchiveWithoutEntriesHasZero) {
  EXPECT_EQ(Get(-1).index, 0);
  EXPECT_EQ(CodeOfGet(0), UNZIP_BAD_INDEX);
}

TEST_F(ExtractionTest, AnEntryIsDescribed) {
  zip_.Add("first", ToBytes("1"));
  ZipItem& item = zip_.Add("sub/file.bin", Compressible(5000));
  item.external_attributes = 0x27;
  ZipEntry const entry = Get(1);
  EXPECT_EQ(entry.index, 1);
  EXPECT_EQ(std::u16string(entry.name), u"sub/file.bin");
  EXPECT_EQ(entry.attributes, 0x27u);
  EXPECT_EQ(entry.compressedSize, static_cast<INT>(Deflate(Compressible(5000)).size()));
  EXPECT_EQ(entry.uncompressedSize, 5000);
  // 13:25:36 on a tablet that is an hour ahead of UTC.
  EXPECT_EQ(Ticks(entry.writeTime), TicksOfUnix(1'534'422'336));
  EXPECT_EQ(Ticks(entry.accessTime), Ticks(entry.writeTime));
  EXPECT_EQ(Ticks(entry.creationTime), Ticks(entry.writeTime));
}

TEST_F(ExtractionTest, AnIndexThatIsNotThereIsRefused) {
  zip_.Add("a", ToBytes("1"));
  EXPECT_EQ(CodeOfGet(1), UNZIP_BAD_INDEX);
  EXPECT_EQ(CodeOfGet(-2), UNZIP_BAD_INDEX);
  EXPECT_EQ(CodeOfGet(INT32_MAX), UNZIP_BAD_INDEX);
  EXPECT_EQ(CodeOfGet(INT32_MIN), UNZIP_BAD_INDEX);
  EXPECT_EQ(Unzip(1, u"c:\\x"), UNZIP_BAD_INDEX);
  EXPECT_EQ(Unzip(-1, u"c:\\x"), UNZIP_BAD_INDEX);
  EXPECT_FALSE(drive().Exists(u"c:\\x"));
}

TEST_F(ExtractionTest, TheSameIndexAgainDoesNotTouchTheArchive) {
  zip_.Add("a", ToBytes("1"));
  zip_.Add("b", ToBytes("2"));
  ZipEntry const first = Get(1);
  std::size_t const events = machine().journal().events().size();
  ZipEntry const again = Get(1);
  EXPECT_EQ(machine().journal().events().size(), events) << "no call of Windows at all";
  EXPECT_EQ(std::memcmp(&first, &again, sizeof first), 0);
  EXPECT_EQ(NameOf(0), u"a");
  EXPECT_GT(machine().journal().events().size(), events);
}

TEST_F(ExtractionTest, ADescriptionFromMemoryDoesNotMisleadTheExtraction) {
  zip_.Add("bad", ToBytes("first")).edit_local = [](LocalHeader& header) { header.crc32 ^= 1; };
  zip_.Add("good", ToBytes("second"));
  EXPECT_EQ(NameOf(1), u"good");
  EXPECT_EQ(CodeOfGet(0), UNZIP_BAD_HEADER);  // the cursor is on entry 0 now, what is remembered is entry 1
  EXPECT_EQ(Unzip(1, u"c:\\out"), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\out"), ToBytes("second"));
}

TEST_F(ExtractionTest, EntriesCanBeTakenInAnyOrder) {
  for (int i = 0; i < 5; ++i) zip_.Add("entry" + std::to_string(i), Compressible(100 + static_cast<std::size_t>(i)));
  for (int index : {4, 0, 2, 2, 1, 3, 0}) {
    EXPECT_EQ(NameOf(index), u"entry" + std::u16string(1, static_cast<char16_t>(u'0' + index)));
    ASSERT_EQ(Unzip(index, u"c:\\out"), UNZIP_OK);
    EXPECT_EQ(drive().Contents(u"c:\\out"), Compressible(100 + static_cast<std::size_t>(index)));
  }
}

TEST_F(ExtractionTest, NamesComeCleaned) {
  zip_.Add("C:\\x\\y.bin", ToBytes("1"));
  zip_.Add("/etc/z", ToBytes("1"));
  zip_.Add("a/../b", ToBytes("1"));
  zip_.Add("../b", ToBytes("1"));
  EXPECT_EQ(NameOf(0), u"x\\y.bin");
  EXPECT_EQ(NameOf(1), u"etc/z");
  EXPECT_EQ(NameOf(2), u"b");
  EXPECT_EQ(NameOf(3), u"../b");
}

TEST_F(ExtractionTest, NamesAreUtf8WhateverTheFlagsSay) {
  std::string const name = "T\xC3\xB6n \xE2\x82\xAC \xF0\x9F\x93\xB1.bin";
  zip_.Add(name, ToBytes("1"));
  zip_.Add(name, ToBytes("1")).EditBoth([](auto& header) { header.flags |= 0x0800; });
  zip_.Add("old \x94.bin", ToBytes("1"));
  EXPECT_EQ(NameOf(0), u"T\u00F6n \u20AC \U0001F4F1.bin");
  EXPECT_EQ(NameOf(1), NameOf(0));
  EXPECT_EQ(NameOf(2), u"old \uFFFD.bin");
}

TEST_F(ExtractionTest, NamesAreCutAt259Characters) {
  zip_.Add(std::string(259, 'a'), ToBytes("1"));
  zip_.Add(std::string(260, 'b'), ToBytes("1"));
  zip_.Add(std::string(300, 'c'), ToBytes("1"));
  zip_.Add("/" + std::string(259, 'd'), ToBytes("1"));
  zip_.Add("", ToBytes("1"));
  EXPECT_EQ(NameOf(0), std::u16string(259, u'a'));
  EXPECT_EQ(NameOf(1), std::u16string(259, u'b'));
  EXPECT_EQ(NameOf(2), std::u16string(259, u'c'));
  EXPECT_EQ(NameOf(3), std::u16string(259, u'd'));
  EXPECT_EQ(NameOf(4), u"");
  EXPECT_THAT(ArgumentsOf("MultiByteToWideChar"), testing::Contains("65001, 0x0, 261 bytes, room for 261"));
}

TEST_F(ExtractionTest, AFileIsExtractedWithItsFoldersAttributesAndTimes) {
  ZipItem& item = zip_.Add("whatever", Incompressible(50'000));
  item.external_attributes = 0x07;
  item.local_extra = TimestampBlock(7, {1'500'000'001, 1'500'000'002, 1'500'000'003});
  ASSERT_EQ(Unzip(0, u"c:\\target\\one/two\\file.bin"), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\target\\one\\two\\file.bin"), Incompressible(50'000));
  tablet::FileFacts const facts = drive().Facts(u"c:\\target\\one\\two\\file.bin");
  EXPECT_EQ(facts.attributes & 0x07, 0x07u) << "read-only, hidden, system";
  EXPECT_EQ(facts.times.write, TicksOfUnix(1'500'000'001));
  EXPECT_EQ(facts.times.access, TicksOfUnix(1'500'000'002));
  EXPECT_EQ(facts.times.creation, TicksOfUnix(1'500'000'003));
  EXPECT_THAT(open_kinds(), ElementsAre("file")) << "the archive's";
}

TEST_F(ExtractionTest, TheDosTimeIsUsedWithoutATimestampBlock) {
  zip_.Add("a", ToBytes("1"));
  ASSERT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  tablet::FileTimes const times = drive().Facts(u"c:\\a").times;
  EXPECT_EQ(times.write, TicksOfUnix(1'534'422'336));
  EXPECT_EQ(times.access, times.write);
  EXPECT_EQ(times.creation, times.write);
}

TEST_F(ExtractionTest, ATimestampBlockIsFoundBehindBytesInFrontOfTheArchive) {
  zip_.Add("a", ToBytes("1")).local_extra = TimestampBlock(1, {1'500'000'001});
  zip_.prefix = Bytes(777, 0x90);
  EXPECT_EQ(Ticks(Get(0).writeTime), TicksOfUnix(1'500'000'001));
  EXPECT_EQ(Ticks(Get(0).accessTime), TicksOfUnix(1'534'422'336)) << "the others stay the DOS time";
  ASSERT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\a"), ToBytes("1"));
}

TEST_F(ExtractionTest, OnlyTheLocalExtraFieldHasTheTimes) {
  zip_.Add("a", ToBytes("1")).central_extra = TimestampBlock(1, {1'500'000'001});
  EXPECT_EQ(Ticks(Get(0).writeTime), TicksOfUnix(1'534'422'336));
}

TEST_F(ExtractionTest, AnEntryWithoutATimeLeavesTheFilesOwn) {
  zip_.Add("a", ToBytes("1")).dos_date_time = 0;
  ASSERT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(drive().Facts(u"c:\\a").times.write, machine().clock().UtcNow());
}

TEST_F(ExtractionTest, AFolderEntryMakesAFolderAndNoFile) {
  zip_.AddFolder("sub/deep/");
  EXPECT_EQ(NameOf(0), u"sub/deep/");
  EXPECT_EQ(Unzip(0, u"c:\\target\\sub/deep/"), UNZIP_OK);
  EXPECT_EQ(drive().Facts(u"c:\\target\\sub\\deep").attributes & tablet::kAttributeDirectory,
            tablet::kAttributeDirectory);
  EXPECT_THAT(machine().journal().Calls("CreateFileW"), testing::SizeIs(1)) << "the archive's";
}

TEST_F(ExtractionTest, AFolderEntryOfAUnixHostMakesAFolder) {
  ZipItem& item = zip_.AddFolder("sub/");
  item.version_made_by = 0x031E;
  item.external_attributes = 0040755u << 16;
  EXPECT_EQ(Unzip(0, u"c:\\sub/"), UNZIP_OK);
  EXPECT_TRUE(drive().Exists(u"c:\\sub"));
}

TEST_F(ExtractionTest, AFolderThatIsThereIsLeftAlone) {
  drive().PutFolder(u"c:\\sub", tablet::kAttributeDirectory | tablet::kAttributeHidden);
  zip_.AddFolder("sub/");
  EXPECT_EQ(Unzip(0, u"c:\\sub/"), UNZIP_OK);
  EXPECT_EQ(drive().Facts(u"c:\\sub").attributes, tablet::kAttributeDirectory | tablet::kAttributeHidden);
}

TEST_F(ExtractionTest, ARelativeDestinationIsTakenFromTheDirectoryThatWasCurrentAtTheOpening) {
  zip_.Add("file", ToBytes("content"));
  zip_.AddFolder("folder/");
  drive().SetCurrentDirectory(u"C:\\Work");
  ASSERT_NE(Open(), nullptr);
  drive().PutFolder(u"c:\\elsewhere");
  drive().SetCurrentDirectory(u"C:\\elsewhere");
  EXPECT_EQ(Unzip(0, u"a.bin"), UNZIP_OK);
  EXPECT_EQ(Unzip(0, u"sub\\b.bin"), UNZIP_OK);
  EXPECT_EQ(Unzip(1, u"x/y"), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\work\\a.bin"), ToBytes("content"));
  EXPECT_EQ(drive().Contents(u"c:\\work\\sub\\b.bin"), ToBytes("content"));
  EXPECT_TRUE(drive().Exists(u"c:\\work\\x\\y"));
}

TEST_F(ExtractionTest, ACurrentDirectoryThatEndsInASeparatorGetsNoSecondOne) {
  zip_.Add("file", ToBytes("content"));
  drive().SetCurrentDirectory(u"C:\\");
  EXPECT_EQ(Unzip(0, u"a.bin"), UNZIP_OK);
  EXPECT_THAT(Lines(), testing::Contains("TUnzip::Unzip:4189 : 4189 (C:\\a.bin)"));
}

TEST_F(ExtractionTest, ADestinationFromTheRootIsNotRelative) {
  zip_.Add("file", ToBytes("content"));
  EXPECT_EQ(Unzip(0, u"\\rooted\\a.bin"), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\rooted\\a.bin"), ToBytes("content"));
  EXPECT_THAT(Lines(), testing::Contains("TUnzip::Unzip:4189 : 4189 (\\rooted\\a.bin)"));
}

TEST_F(ExtractionTest, AnExistingFileIsReplaced) {
  drive().Put(u"c:\\a", Bytes(100'000, 1));
  zip_.Add("a", ToBytes("new"));
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\a"), ToBytes("new"));
}

TEST_F(ExtractionTest, EveryOpeningLogsItsProgressInTheErrorZone) {
  zip_.Add("a", ToBytes("1"));
  ASSERT_NE(Open(), nullptr);
  EXPECT_THAT(Lines(), ElementsAre("lufopen:2652 : 2652", "lufopen:2659 : 2659"));
  EXPECT_EQ(OpenZipFile(u"c:\\missing.zip"), nullptr);
  EXPECT_THAT(Lines(), ElementsAre("lufopen:2652 : 2652", "lufopen:2659 : 2659", "lufopen:2652 : 2652"));
}

TEST_F(ExtractionTest, AnExtractionLogsItsProgressInTheErrorZone) {
  zip_.Add("a", ToBytes("1"));
  g_ulZoneMask = ZONE_ERROR;
  EXPECT_EQ(Unzip(0, u"c:\\target\\a"), UNZIP_OK);
  EXPECT_THAT(Lines(),
              ElementsAre("lufopen:2652 : 2652", "lufopen:2659 : 2659", "TUnzip::Unzip:4189 : 4189 (c:\\target\\a)",
                          "TUnzip::Unzip:4193 : 4193", "TUnzip::Unzip:4195 : 4195"));
}

TEST_F(ExtractionTest, NothingIsLoggedWhileTheErrorZoneIsOff) {
  zip_.Add("a", ToBytes("1"));
  g_ulZoneMask = ~ZONE_ERROR;
  EXPECT_EQ(Unzip(0, u"c:\\target\\a"), UNZIP_OK);
  EXPECT_EQ(OpenZipFile(u"c:\\missing.zip"), nullptr);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ExtractionTest, ClosingReleasesTheArchivesFile) {
  zip_.Add("a", ToBytes("1"));
  ASSERT_NE(Open(), nullptr);
  EXPECT_THAT(open_kinds(), ElementsAre("file"));
  EXPECT_EQ(CloseZipFile(handle_), UNZIP_OK);
  handle_ = nullptr;
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(ExtractionTest, TheLastResultIsThatOfTheLatestOperation) {
  zip_.Add("a", ToBytes("1"));
  zip_.Add("empty", {});
  ASSERT_NE(Open(), nullptr);
  EXPECT_EQ(LastUnzipResult, UNZIP_OK);
  CodeOfGet(7);
  EXPECT_EQ(LastUnzipResult, UNZIP_BAD_INDEX);
  Get(0);
  EXPECT_EQ(LastUnzipResult, UNZIP_OK);
  Unzip(1, u"c:\\empty");
  EXPECT_EQ(LastUnzipResult, UNZIP_BAD_DATA);
  EXPECT_EQ(OpenZipFile(u"c:\\missing.zip"), nullptr);
  EXPECT_EQ(LastUnzipResult, UNZIP_FILE_FAILED);
  CodeOfGet(7);
  CloseZipFile(handle_);
  handle_ = nullptr;
  EXPECT_EQ(LastUnzipResult, UNZIP_OK);
  CloseZipFile(nullptr);
  EXPECT_EQ(LastUnzipResult, UNZIP_BAD_HANDLE);
}

TEST_F(ExtractionTest, AHandleOfAnotherKindIsLeftAlone) {
  ZipHandle other{2, nullptr};
  ZipEntry entry = {};
  for (ZipHandle* handle : {&other, static_cast<ZipHandle*>(nullptr)}) {
    LastUnzipResult = 0;
    EXPECT_EQ(GetZipEntry(handle, -1, entry), UNZIP_BAD_HANDLE);
    EXPECT_EQ(UnzipZipEntry(handle, 0, u"c:\\x"), UNZIP_BAD_HANDLE);
    EXPECT_EQ(CloseZipFile(handle), UNZIP_BAD_HANDLE);
    EXPECT_EQ(LastUnzipResult, UNZIP_BAD_HANDLE);
  }
  EXPECT_EQ(other.kind, 2u);
  EXPECT_EQ(OpenBytes(zip_.Build())->kind, 1u);
}

TEST_F(ExtractionTest, AnObjectHoldsOneArchiveOnly) {
  zip_.Add("a", ToBytes("1"));
  drive().Put(kArchive, zip_.Build());
  TUnzip unzip;
  EXPECT_EQ(unzip.Open(u"c:\\missing.zip"), UNZIP_FILE_FAILED);
  EXPECT_EQ(unzip.Open(kArchive), UNZIP_OK);
  EXPECT_EQ(unzip.Open(kArchive), UNZIP_ALREADY_OPEN);
  EXPECT_EQ(unzip.Unzip(0, u"c:\\a"), UNZIP_OK) << "the open archive stays";
}

}  // namespace
}  // namespace unzip_tests
