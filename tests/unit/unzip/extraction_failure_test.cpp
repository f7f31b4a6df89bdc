// What extraction does with archives, files and calls that go wrong.
#include <zlib.h>

#include <algorithm>

#include "tests/unit/unzip/extraction_fixture.h"

namespace unzip_tests {
namespace {

TEST_F(ExtractionTest, AFileThatIsNoArchiveDoesNotOpenAndIsClosedAgain) {
  EXPECT_EQ(OpenBytes(ToBytes("PK\x05\x06")), nullptr);
  EXPECT_EQ(LastUnzipResult, UNZIP_FILE_FAILED);
  EXPECT_EQ(OpenBytes({}), nullptr);
  EXPECT_EQ(OpenBytes(Bytes(3000, 'x')), nullptr);
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(ExtractionTest, WithoutAnEndRecordItsFieldsAreReadAllTheSame) {
  EXPECT_EQ(OpenBytes(Bytes(100, 'x')), nullptr);
  // One read for the search, then the 22 bytes of the record one by one, all of them past the end of the file.
  std::vector<tablet::CallEvent> const reads = machine().journal().Calls("ReadFile");
  EXPECT_EQ(reads.size(), 1u + 22u);
}

TEST_F(ExtractionTest, ALongCommentHidesTheArchive) {
  zip_.Add("a", ToBytes("1"));
  zip_.comment = Bytes(1006, ' ');
  EXPECT_NE(Open(), nullptr);
  zip_.comment = Bytes(1007, ' ');
  EXPECT_EQ(Open(), nullptr);
}

TEST_F(ExtractionTest, AFailedSeekInTheFileIsNotNoticed) {
  zip_.Add("name", ToBytes("content"), 0);
  Get(0);
  // The second seek of the extraction is the one to the data. Without it the file continues after the local header.
  Inject("SetFilePointer", ERROR_NEGATIVE_SEEK, 2, 1);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\a"), ToBytes("namecon"));
}

TEST_F(ExtractionTest, TheEndRecordsSignatureIsNotLookedAtAgain) {
  zip_.Add("a", ToBytes("content"));
  Bytes archive = zip_.Build();
  // Without the seek to it, what follows the searched bytes is read as the record: past the end, all zeros.
  Inject("SetFilePointer", ERROR_INVALID_FUNCTION, 4, 1);
  ASSERT_NE(OpenBytes(archive), nullptr);
  EXPECT_EQ(Get(-1).index, 0);
}

TEST_F(ExtractionTest, AReadErrorInTheEndRecordRefusesTheArchive) {
  zip_.Add("a", ToBytes("1"));
  Inject("ReadFile", ERROR_IO_DEVICE, 5, 1);
  EXPECT_EQ(Open(), nullptr);
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(ExtractionTest, AnArchiveThatCannotSeekIsRefused) {
  zip_.Add("a", ToBytes("1"));
  Inject("SetFilePointer", ERROR_INVALID_FUNCTION, 1, 1);
  EXPECT_EQ(Open(), nullptr);
}

TEST_F(ExtractionTest, AnEmptyFileIsCreatedWithoutTimesAndFails) {
  for (std::uint16_t method : {0, 8}) {
    BeginAgain();
    zip_.Add("empty", {}, method);
    EXPECT_EQ(Unzip(0, u"c:\\empty"), UNZIP_BAD_DATA);
    EXPECT_TRUE(drive().Exists(u"c:\\empty"));
    EXPECT_EQ(drive().Facts(u"c:\\empty").size, 0u);
    EXPECT_EQ(drive().Facts(u"c:\\empty").times.write, machine().clock().UtcNow());
  }
  EXPECT_THAT(machine().journal().Calls("WriteFile"), IsEmpty());
  EXPECT_THAT(machine().journal().Calls("SetFileTime"), IsEmpty());
}

TEST_F(ExtractionTest, AReadOnlyFileIsNotReplaced) {
  drive().Put(u"c:\\a", ToBytes("old"), tablet::kAttributeReadOnly);
  zip_.Add("a", ToBytes("new"));
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_FILE_FAILED);
  EXPECT_EQ(drive().Contents(u"c:\\a"), ToBytes("old"));
  drive().SetAttributes(u"c:\\a", tablet::kAttributeNormal);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(drive().Contents(u"c:\\a"), ToBytes("new"));
}

TEST_F(ExtractionTest, AHiddenFileIsNotReplacedByAnEntryThatIsNotHidden) {
  drive().Put(u"c:\\a", ToBytes("old"), tablet::kAttributeHidden);
  zip_.Add("a", ToBytes("new"));
  zip_.Add("b", ToBytes("new")).external_attributes = 0x22;
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_FILE_FAILED);
  EXPECT_EQ(Unzip(1, u"c:\\a"), UNZIP_OK);
}

TEST_F(ExtractionTest, AFileThatIsOpenElsewhereIsNotReplaced) {
  drive().Put(u"c:\\a", ToBytes("old"));
  zip_.Add("a", ToBytes("new"));
  ASSERT_NE(Open(), nullptr);
  HANDLE const other = ::CreateFileW(u"c:\\a", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                     nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(other, INVALID_HANDLE_VALUE);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_FILE_FAILED) << "it is opened without sharing";
  ::CloseHandle(other);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
}

TEST_F(ExtractionTest, TheLineBehindTheCreationComesAlsoWhenItFailed) {
  drive().PutFolder(u"c:\\a");
  zip_.Add("a", ToBytes("new"));
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_FILE_FAILED);
  EXPECT_EQ(Lines().back(), "TUnzip::Unzip:4193 : 4193");
}

TEST_F(ExtractionTest, TheLinesOfAnEntryStandAroundTheCreationOfItsFile) {
  zip_.Add("a", ToBytes("new"));
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_LT(At("_vsnwprintf", "4189"), At("CreateFileW", "c:\\a\""));
  EXPECT_LT(At("CreateFileW", "c:\\a\""), At("_vsnwprintf", "4193"));
}

/// Deflated data of 32768 bytes in two blocks, of which the second is stored, and which take 16384 bytes: the reader's
/// two buffers for compressed and for extracted bytes are full at once. The end follows.
Bytes DeflatedToFullBuffers() {
  Bytes data(16384);
  uInt stored = 16'000;
  for (uInt last = 0; last != stored;) {
    last = stored;
    Bytes content(32'768 - stored, 'x');
    z_stream stream = {};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
    stream.next_in = content.data();
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = data.data();
    stream.avail_out = static_cast<uInt>(data.size());
    EXPECT_EQ(deflate(&stream, Z_SYNC_FLUSH), Z_OK);
    stored = stream.avail_out - 5;
    deflateEnd(&stream);
  }
  std::size_t const at = data.size() - stored - 5;
  Bytes const block{0, static_cast<std::uint8_t>(stored), static_cast<std::uint8_t>(stored >> 8),
                    static_cast<std::uint8_t>(~stored), static_cast<std::uint8_t>(~stored >> 8)};
  std::ranges::copy(block, data.begin() + static_cast<std::ptrdiff_t>(at));
  std::fill(data.begin() + static_cast<std::ptrdiff_t>(at) + 5, data.end(), 'y');
  data.insert(data.end(), {3, 0});
  return data;
}

TEST_F(ExtractionTest, AReadThatGivesTheEndAndNoByteIsASuccess) {
  ZipItem& item = zip_.Add("a", Bytes(40'000, 'z'));
  item.data = DeflatedToFullBuffers();
  item.local_extra = TimestampBlock(1, {1'500'000'001});
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(ArgumentsOf("WriteFile").size(), 2u);
  EXPECT_EQ(drive().Facts(u"c:\\a").size, 32'768u);
  EXPECT_EQ(drive().Facts(u"c:\\a").times.write, TicksOfUnix(1'500'000'001));
}

TEST_F(ExtractionTest, AFolderThatCannotBeMadeShowsWhenTheFileIsCreated) {
  zip_.Add("a", ToBytes("new"));
  zip_.AddFolder("folder/");
  Inject("CreateDirectoryW", ERROR_ACCESS_DENIED);
  EXPECT_EQ(Unzip(0, u"c:\\target\\a"), UNZIP_FILE_FAILED);
  EXPECT_EQ(Unzip(1, u"c:\\folder/"), UNZIP_OK) << "for a folder entry nothing shows at all";
  EXPECT_FALSE(drive().Exists(u"c:\\folder"));
}

TEST_F(ExtractionTest, ANameThatEndsInASeparatorWithoutTheFolderAttributeIsAFileThatCannotBeMade) {
  zip_.Add("folder/", ToBytes("x"));
  EXPECT_EQ(Unzip(0, u"c:\\target\\folder/"), UNZIP_FILE_FAILED);
  EXPECT_TRUE(drive().Exists(u"c:\\target\\folder"));
}

TEST_F(ExtractionTest, AStoredEntryWithAWrongCrcIsExtracted) {
  for (std::uint16_t method : {0, 8}) {
    BeginAgain();
    zip_.Add("a", ToBytes("content"), method).EditBoth([](auto& header) { header.crc32 ^= 0xFFFFFFFF; });
    EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
    EXPECT_EQ(drive().Contents(u"c:\\a"), ToBytes("content"));
  }
}

TEST_F(ExtractionTest, AFileThatFailsPartWayStaysAsFarAsItWasWritten) {
  zip_.Add("a", Incompressible(40'000), 0).EditBoth([](auto& header) { header.uncompressed_size = 50'000; });
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
  EXPECT_EQ(drive().Contents(u"c:\\a"), Incompressible(40'000));
  EXPECT_THAT(machine().journal().Calls("SetFileTime"), IsEmpty());
}

TEST_F(ExtractionTest, DeflatedDataThatIsBrokenLeavesWhatCameBefore) {
  ZipItem& item = zip_.Add("a", Incompressible(60'000));
  Bytes data = Deflate(item.content);
  data.resize(40'000);
  item.data = data;
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
  Bytes const left = drive().Contents(u"c:\\a");
  ASSERT_EQ(left.size(), 2u * 16384);
  EXPECT_TRUE(std::equal(left.begin(), left.end(), Incompressible(60'000).begin()));
}

TEST_F(ExtractionTest, AWriteThatFailsEndsTheExtraction) {
  zip_.Add("a", Incompressible(40'000), 0);
  Inject("WriteFile", ERROR_DISK_FULL, 2, 1);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_WRITE_FAILED);
  EXPECT_EQ(drive().Contents(u"c:\\a").size(), 16384u);
  EXPECT_THAT(open_kinds(), testing::ElementsAre("file")) << "the archive's only";
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
}

TEST_F(ExtractionTest, TimesThatCannotBeSetAreNotMissed) {
  zip_.Add("a", ToBytes("content"));
  Inject("SetFileTime", ERROR_ACCESS_DENIED);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
}

TEST_F(ExtractionTest, AReadErrorInTheDataIsBadData) {
  zip_.Add("a", Incompressible(40'000), 0);
  Get(0);
  // 30 single bytes of the local header, then the first piece of data, then the second.
  Inject("ReadFile", ERROR_IO_DEVICE, 32, 1);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
  EXPECT_EQ(drive().Contents(u"c:\\a").size(), 16384u);
}

TEST_F(ExtractionTest, AHeaderThatCannotBeReadAgainGivesItsEntryAnotherName) {
  zip_.Add("a", Incompressible(300), 0);
  zip_.Add("b", Bytes(700, 'x'), 0);
  ASSERT_NE(Open(), nullptr);
  // The cursor's own parse of 46 single bytes, then the parse for the name up to the uncompressed size. What follows
  // the byte that failed is read three bytes early: of the offset 331 the second byte is taken for the name.
  Inject("ReadFile", ERROR_IO_DEVICE, 46 + 26, 1);
  EXPECT_EQ(std::u16string(Get(1).name), u"\x01");
}

TEST_F(ExtractionTest, AnEncryptedEntryFailsForWantOfAPassword) {
  zip_.Add("a", Compressible(1000)).password = "secret";
  zip_.Add("b", ToBytes("plain"));
  EXPECT_EQ(CodeOfGet(0), UNZIP_OK);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_PASSWORD);
  EXPECT_EQ(drive().Facts(u"c:\\a").size, 0u);
  EXPECT_EQ(Unzip(1, u"c:\\b"), UNZIP_OK);
}

TEST_F(ExtractionTest, ALocalHeaderThatDisagreesIsABadHeader) {
  zip_.Add("a", ToBytes("content")).edit_local = [](LocalHeader& header) { header.name_length = 2; };
  zip_.Add("b", ToBytes("content"), 12);
  zip_.Add("c", ToBytes("content"));
  ASSERT_NE(Open(), nullptr);
  ZipEntry entry = {};
  entry.index = 77;
  EXPECT_EQ(GetZipEntry(handle_, 0, entry), UNZIP_BAD_HEADER);
  EXPECT_EQ(entry.index, 77) << "written on success only";
  EXPECT_EQ(CodeOfGet(1), UNZIP_BAD_HEADER);
  EXPECT_EQ(CodeOfGet(2), UNZIP_OK);
}

TEST_F(ExtractionTest, AnExtraFieldThatTheFileEndsInIsABadExtraField) {
  zip_.Add("a", ToBytes("content")).edit_local = [](LocalHeader& header) { header.extra_length = 0xFFFF; };
  EXPECT_EQ(CodeOfGet(0), UNZIP_BAD_EXTRA);
}

TEST_F(ExtractionTest, AReadErrorInTheExtraFieldIsABadExtraField) {
  zip_.Add("a", ToBytes("content")).local_extra = TimestampBlock(1, {1});
  ASSERT_NE(Open(), nullptr);
  // 46 bytes of the central header, its name in one, 30 bytes of the local header; then the extra field.
  Inject("ReadFile", ERROR_IO_DEVICE, 46 + 1 + 30 + 1, 1);
  EXPECT_EQ(CodeOfGet(0), UNZIP_BAD_EXTRA);
  EXPECT_EQ(CodeOfGet(0), UNZIP_OK) << "a failure is not remembered";
}

TEST_F(ExtractionTest, AnEntryThatCannotBeDescribedStillCreatesItsFile) {
  drive().Put(u"c:\\a", ToBytes("old"));
  ZipItem& item = zip_.Add("folder/", ToBytes("content"));
  item.external_attributes = 0x17;
  item.edit_local = [](LocalHeader& header) { header.extra_length = 0xFFFF; };
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA) << "not taken for a folder";
  tablet::FileFacts const facts = drive().Facts(u"c:\\a");
  EXPECT_EQ(facts.size, 0u);
  EXPECT_EQ(facts.attributes & 0x17, 0u) << "and without the entry's attributes";
}

TEST_F(ExtractionTest, AFailedDescriptionIsNotThatOfTheEntryBefore) {
  zip_.AddFolder("folder/");
  zip_.Add("bad", ToBytes("content")).edit_local = [](LocalHeader& header) { header.crc32 ^= 1; };
  EXPECT_EQ(Unzip(0, u"c:\\folder/"), UNZIP_OK);
  EXPECT_EQ(Unzip(1, u"c:\\bad"), UNZIP_BAD_DATA);
  EXPECT_EQ(drive().Facts(u"c:\\bad").attributes & tablet::kAttributeDirectory, 0u);
}

TEST_F(ExtractionTest, AnEntryThatCannotBeOpenedIsBadData) {
  zip_.Add("a", ToBytes("content")).edit_local = [](LocalHeader& header) { header.signature = 0; };
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
}

TEST_F(ExtractionTest, AFailedExtractionHasAlreadyEmptiedTheFile) {
  drive().Put(u"c:\\a", ToBytes("old"));
  zip_.Add("a", ToBytes("content")).edit_local = [](LocalHeader& header) { header.signature = 0; };
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
  EXPECT_EQ(drive().Contents(u"c:\\a"), Bytes{});
}

TEST_F(ExtractionTest, ABadLastCentralHeaderIsStillDescribed) {
  zip_.Add("a", ToBytes("content"));
  zip_.Add("last", ToBytes("content")).edit_central = [](CentralHeader& header) { header.signature = 0; };
  EXPECT_EQ(NameOf(1), u"last");
  EXPECT_EQ(Unzip(1, u"c:\\last"), UNZIP_BAD_DATA) << "but it cannot be opened";
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK) << "and those before it are well";
}

TEST_F(ExtractionTest, OneBadEntryAmongManySpoilsNoOther) {
  for (int i = 0; i < 6; ++i) zip_.Add("entry", Compressible(3000 + static_cast<std::size_t>(i)));
  zip_.Add("bad header", ToBytes("x")).edit_local = [](LocalHeader& header) { header.method = 0; };
  zip_.Add("bad data", Compressible(3000)).data = Bytes(50, 0xFF);
  zip_.Add("good", Compressible(3008));
  for (INT i = 0; i < 9; ++i) {
    DWORD const code = Unzip(i, u"c:\\out");
    EXPECT_EQ(code, i == 6 || i == 7 ? UNZIP_BAD_DATA : UNZIP_OK) << i;
    if (code == UNZIP_OK) {
      EXPECT_EQ(drive().Contents(u"c:\\out"), Compressible(3000 + static_cast<std::size_t>(i)));
    }
  }
}

TEST_F(ExtractionTest, AnEndRecordThatClaimsOneEntryTooManyGivesABadOne) {
  zip_.Add("a", ToBytes("content"));
  zip_.edit_end = [](EndRecord& end) { end.entries = end.entries_on_disk = 2; };
  EXPECT_EQ(Get(-1).index, 2);
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(CodeOfGet(1), UNZIP_BAD_HEADER);
}

TEST_F(ExtractionTest, AnEndRecordThatClaimsFewerEntriesHidesTheRest) {
  zip_.Add("a", ToBytes("content"));
  zip_.Add("b", ToBytes("content"));
  zip_.edit_end = [](EndRecord& end) { end.entries = end.entries_on_disk = 1; };
  EXPECT_EQ(Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(CodeOfGet(1), UNZIP_BAD_INDEX);
}

TEST_F(ExtractionTest, AnArchiveThatIsCutOffInTheMiddleDoesNotOpen) {
  zip_.Add("a", Incompressible(50'000));
  Bytes archive = zip_.Build();
  archive.resize(archive.size() / 2);
  EXPECT_EQ(OpenBytes(archive), nullptr);
}

}  // namespace
}  // namespace unzip_tests
