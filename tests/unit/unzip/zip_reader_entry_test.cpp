#include "tests/unit/unzip/archives.h"

namespace unzip_tests {
namespace {

class ZipEntryReadingTest : public TabletTest {
 protected:
  /// An archive with the one entry of `zip_`, opened.
  ZipArchiveReader* Open(const char* password = nullptr) {
    archive_ = std::make_unique<MemoryArchive>(zip_);
    EXPECT_EQ(OpenCurrentEntry(archive_->reader.get(), password), ZIP_OK);
    return archive_->reader.get();
  }
  /// Makes both headers declare this size.
  static void DeclareSize(ZipItem& item, std::uint32_t size) {
    item.EditBoth([size](auto& header) { header.uncompressed_size = size; });
  }
  static void DeclareCrc(ZipItem& item, std::uint32_t crc) {
    item.EditBoth([crc](auto& header) { header.crc32 = crc; });
  }

  ZipBuilder zip_;
  std::unique_ptr<MemoryArchive> archive_;
};

TEST_F(ZipEntryReadingTest, DeliversEveryByteInPiecesOfAnySize) {
  for (std::uint16_t method : {0, 8}) {
    for (std::size_t size : {1u, 2u, 16383u, 16384u, 16385u, 32768u, 100'000u}) {
      for (Bytes const& content : {Compressible(size), Incompressible(size)}) {
        for (std::uint32_t piece : {1u, 7u, 16384u, 65536u}) {
          if (piece == 1 && size > 20'000) continue;
          SCOPED_TRACE(testing::Message() << "method " << method << ", " << size << " bytes in " << piece);
          zip_ = {};
          zip_.Add("a", content, method);
          ZipArchiveReader* const reader = Open();
          Delivery const delivery = ReadToEnd(reader, piece);
          ASSERT_TRUE(delivery.bytes == content);
          ASSERT_TRUE(delivery.end);
          ASSERT_EQ(CloseCurrentEntry(reader), ZIP_OK);
        }
      }
    }
  }
}

TEST_F(ZipEntryReadingTest, DeflatedDataMayReferToWhatIsAlmost32KilobytesBack) {
  Bytes content = Incompressible(32'000);
  Bytes const again = content;
  content.insert(content.end(), again.begin(), again.end());
  ASSERT_LT(Deflate(content).size(), 40'000u) << "the second half is a reference";
  zip_.Add("a", content);
  EXPECT_TRUE(ReadToEnd(Open()).bytes == content);
}

TEST_F(ZipEntryReadingTest, TheStateStartsWithWhatTheHeadersSay) {
  ZipItem& item = zip_.Add("name", Compressible(1000));
  item.local_extra = Bytes(10, 0);
  item.password = "secret";
  ZipArchiveReader* const reader = Open("secret");
  ZipEntryReadState const& state = *reader->entryReadState;
  EXPECT_EQ(state.localExtraOffset, 34u);
  EXPECT_EQ(state.localExtraSize, 10u);
  EXPECT_EQ(state.localExtraPosition, 0u);
  EXPECT_EQ(state.dataPosition, 44u);
  EXPECT_EQ(state.crc32, 0u);
  EXPECT_EQ(state.crc32Expected, reader->currentEntry.crc32);
  EXPECT_EQ(state.restCompressed, reader->currentEntry.compressedSize);
  EXPECT_EQ(state.restUncompressed, 1000u);
  EXPECT_EQ(state.stream, reader->stream.get());
  EXPECT_EQ(state.compressionMethod, ZIP_METHOD_DEFLATED);
  EXPECT_EQ(state.byteBeforeTheArchive, 0u);
  EXPECT_TRUE(state.encrypted);
  EXPECT_EQ(state.encryptionHeaderLeft, 12u);
  EXPECT_TRUE(state.streamInitialised);
  EXPECT_EQ(state.checkByte, static_cast<std::int8_t>(reader->currentEntry.crc32 >> 24));

  ReadToEnd(reader);
  EXPECT_EQ(state.localExtraPosition, 0u);
  EXPECT_EQ(state.crc32, state.crc32Expected);
  EXPECT_EQ(state.restCompressed, 0u);
  EXPECT_EQ(state.restUncompressed, 0u);
}

TEST_F(ZipEntryReadingTest, AStoredEntrySetsNoInflaterUp) {
  zip_.Add("a", Compressible(1000), 0);
  EXPECT_FALSE(Open()->entryReadState->streamInitialised);
}

TEST_F(ZipEntryReadingTest, AnEntryOfLengthZeroNeverReportsItsEnd) {
  for (std::uint16_t method : {0, 8}) {
    zip_ = {};
    zip_.Add("empty", {}, method);
    ZipArchiveReader* const reader = Open();
    Delivery const delivery = ReadToEnd(reader);
    EXPECT_EQ(delivery.code, 0);
    EXPECT_FALSE(delivery.end);
    EXPECT_EQ(CloseCurrentEntry(reader), ZIP_OK);
  }
}

TEST_F(ZipEntryReadingTest, BehindTheEndThereIsNothingMore) {
  zip_.Add("a", ToBytes("abc"));
  ZipArchiveReader* const reader = Open();
  ReadToEnd(reader);
  bool end = true;
  BYTE byte = 0;
  EXPECT_EQ(ReadCurrentEntry(reader, &byte, 1, &end), 0);
  EXPECT_FALSE(end);
}

TEST_F(ZipEntryReadingTest, ARequestForNothingDeliversNothing) {
  zip_.Add("a", ToBytes("abc"));
  ZipArchiveReader* const reader = Open();
  bool end = true;
  EXPECT_EQ(ReadCurrentEntry(reader, nullptr, 0, &end), 0);
  EXPECT_FALSE(end);
  EXPECT_EQ(ReadToEnd(reader).bytes, ToBytes("abc"));
}

TEST_F(ZipEntryReadingTest, TheEndNeedNotBeAskedFor) {
  zip_.Add("a", ToBytes("abc"));
  ZipArchiveReader* const reader = Open();
  BYTE bytes[8] = {};
  EXPECT_EQ(ReadCurrentEntry(reader, bytes, 8, nullptr), 3);
}

TEST_F(ZipEntryReadingTest, DeflatedDataThatEndsEarlyEndsTheEntryWithSuccess) {
  DeclareSize(zip_.Add("a", Compressible(1000)), 5000);
  ZipArchiveReader* const reader = Open();
  Delivery const delivery = ReadToEnd(reader);
  EXPECT_EQ(delivery.bytes, Compressible(1000));
  EXPECT_TRUE(delivery.end);
  EXPECT_EQ(CloseCurrentEntry(reader), ZIP_OK) << "not read completely: nothing to compare";
}

TEST_F(ZipEntryReadingTest, DeflatedDataThatGoesOnIsCutAtTheDeclaredSize) {
  DeclareSize(zip_.Add("a", Compressible(5000)), 1000);
  ZipArchiveReader* const reader = Open();
  Delivery const delivery = ReadToEnd(reader);
  EXPECT_EQ(delivery.bytes, Compressible(1000));
  EXPECT_TRUE(delivery.end);
  EXPECT_EQ(CloseCurrentEntry(reader), ZIP_CRC_MISMATCH);
}

TEST_F(ZipEntryReadingTest, DeflatedDataThatIsCutOffPassesZlibsCodeOn) {
  ZipItem& item = zip_.Add("a", Incompressible(40'000));
  Bytes data = Deflate(item.content);
  data.resize(20'000);
  item.data = data;
  Delivery const delivery = ReadToEnd(Open());
  EXPECT_EQ(delivery.code, Z_BUF_ERROR);
  EXPECT_FALSE(delivery.end);
}

TEST_F(ZipEntryReadingTest, DataThatIsNotDeflatedPassesZlibsCodeOn) {
  zip_.Add("a", Compressible(1000)).data = Bytes(100, 0xFF);
  EXPECT_EQ(ReadToEnd(Open()).code, Z_DATA_ERROR);
}

TEST_F(ZipEntryReadingTest, AStoredEntryWhoseBytesRunOutDeliversWhatThereIsWithoutAnEnd) {
  DeclareSize(zip_.Add("a", ToBytes("abcdef"), 0), 10);
  ZipArchiveReader* const reader = Open();
  Delivery const delivery = ReadToEnd(reader);
  EXPECT_EQ(delivery.bytes, ToBytes("abcdef"));
  EXPECT_EQ(delivery.code, 0);
  EXPECT_FALSE(delivery.end);
}

TEST_F(ZipEntryReadingTest, DataThatTheFileEndsInIsAFailedRead) {
  zip_.Add("a", ToBytes("abc"), 0).EditBoth([](auto& h) { h.compressed_size = h.uncompressed_size = 5000; });
  Delivery const delivery = ReadToEnd(Open());
  EXPECT_EQ(delivery.code, ZIP_STREAM_FAILED);
  EXPECT_TRUE(delivery.bytes.empty());
}

TEST_F(ZipEntryReadingTest, ADataPositionOutsideOfMemoryFailsAndSaysSo) {
  zip_.Add("a", ToBytes("abc"), 0);
  ZipArchiveReader* const reader = Open();
  reader->entryReadState->dataPosition = 0xFFFFFFF0;
  EXPECT_EQ(ReadToEnd(reader).code, ZIP_STREAM_FAILED);
  EXPECT_THAT(formatted(),
              testing::ElementsAre(testing::StartsWith("lufseek:2726 : Invalid offset : -16, stream->len=")));
}

TEST_F(ZipEntryReadingTest, ClosingComparesTheCrcOfACompletelyReadEntry) {
  DeclareCrc(zip_.Add("a", Compressible(1000)), 0x12345678);
  ZipArchiveReader* reader = Open();
  EXPECT_EQ(ReadToEnd(reader).bytes, Compressible(1000));
  EXPECT_EQ(CloseCurrentEntry(reader), ZIP_CRC_MISMATCH);
  EXPECT_EQ(reader->entryReadState, nullptr) << "closed all the same";

  reader = Open();
  BYTE some[10];
  ReadCurrentEntry(reader, some, sizeof some, nullptr);
  EXPECT_EQ(CloseCurrentEntry(reader), ZIP_OK) << "not read completely";
  reader = Open();
  ReadToEnd(reader);
  ReleaseEntryReadState(reader);
  EXPECT_EQ(reader->entryReadState, nullptr);
}

TEST_F(ZipEntryReadingTest, AnEmptyEntryCountsAsReadCompletely) {
  DeclareCrc(zip_.Add("a", {}, 0), 1);
  EXPECT_EQ(CloseCurrentEntry(Open()), ZIP_CRC_MISMATCH);
}

TEST_F(ZipEntryReadingTest, OpeningAnotherEntryClosesTheOpenOne) {
  zip_.Add("a", ToBytes("abc"));
  zip_.Add("b", ToBytes("defg"));
  ZipArchiveReader* const reader = Open();
  GoToNextEntry(reader);
  EXPECT_EQ(OpenCurrentEntry(reader, nullptr), ZIP_OK);
  EXPECT_EQ(ReadToEnd(reader).bytes, ToBytes("defg"));
}

TEST_F(ZipEntryReadingTest, NothingOpenIsABadParameter) {
  zip_.Add("a", ToBytes("abc"));
  MemoryArchive const archive(zip_);
  bool end = true;
  BYTE byte = 0;
  EXPECT_EQ(ReadCurrentEntry(archive.reader.get(), &byte, 1, &end), ZIP_BAD_PARAMETER);
  EXPECT_FALSE(end);
  EXPECT_EQ(CloseCurrentEntry(archive.reader.get()), ZIP_BAD_PARAMETER);
}

TEST_F(ZipEntryReadingTest, AnEntryWithoutAReadBufferCannotBeRead) {
  zip_.Add("a", ToBytes("abc"));
  ZipArchiveReader* const reader = Open();
  reader->entryReadState->readBuffer.reset();
  BYTE byte = 0;
  EXPECT_EQ(ReadCurrentEntry(reader, &byte, 1, nullptr), ZIP_NO_READ_BUFFER);
}

TEST_F(ZipEntryReadingTest, AnEntryWhoseLocalHeaderDisagreesDoesNotOpen) {
  zip_.Add("a", ToBytes("abc")).edit_local = [](LocalHeader& header) { header.crc32 ^= 1; };
  MemoryArchive const archive(zip_);
  EXPECT_EQ(OpenCurrentEntry(archive.reader.get(), nullptr), ZIP_BAD_ARCHIVE);
  EXPECT_EQ(archive.reader->entryReadState, nullptr);
}

TEST_F(ZipEntryReadingTest, AnEncryptedEntryIsReadWithItsPassword) {
  for (std::uint16_t method : {0, 8}) {
    for (bool descriptor : {false, true}) {
      for (std::size_t size : {1u, 16372u, 16373u, 50'000u}) {
        SCOPED_TRACE(testing::Message() << "method " << method << ", descriptor " << descriptor << ", " << size);
        zip_ = {};
        ZipItem& item = zip_.Add("a", Incompressible(size), method);
        item.password = "Tablet \xF6";  // bytes above 127 count as they are
        item.data_descriptor = descriptor;
        ZipArchiveReader* const reader = Open("Tablet \xF6");
        Delivery const delivery = ReadToEnd(reader);
        ASSERT_TRUE(delivery.bytes == Incompressible(size));
        ASSERT_TRUE(delivery.end);
        ASSERT_EQ(CloseCurrentEntry(reader), ZIP_OK);
      }
    }
  }
}

TEST_F(ZipEntryReadingTest, AnEncryptedEntryWithoutAPasswordFailsBehindItsHeader) {
  zip_.Add("a", Compressible(1000)).password = "secret";
  ZipArchiveReader* const reader = Open();
  Delivery const delivery = ReadToEnd(reader);
  EXPECT_EQ(delivery.code, ZIP_PASSWORD_MISMATCH);
  EXPECT_FALSE(delivery.end);
  EXPECT_EQ(reader->entryReadState->encryptionHeaderLeft, 0u);
}

TEST_F(ZipEntryReadingTest, AnEncryptedEntryWithAnotherPasswordFails) {
  zip_.Add("a", Compressible(1000)).password = "secret";
  EXPECT_EQ(ReadToEnd(Open("Secret")).code, ZIP_PASSWORD_MISMATCH);
}

TEST_F(ZipEntryReadingTest, ACheckByteThatHappensToMatchLetsAnyPasswordPass) {
  // Some time of the day gives every check byte there is: one of 256 must match without a password, and one only.
  int passed = 0;
  for (std::uint32_t high = 0; high < 256; ++high) {
    zip_ = {};
    ZipItem& item = zip_.Add("a", Compressible(1000), 0);
    item.password = "secret";
    item.data_descriptor = true;
    item.edit_central = [high](CentralHeader& header) { header.dos_date_time = high << 8; };
    Delivery const delivery = ReadToEnd(Open());
    if (delivery.code == ZIP_PASSWORD_MISMATCH) continue;
    ++passed;
    EXPECT_TRUE(delivery.end);
    EXPECT_NE(delivery.bytes, Compressible(1000)) << "garbage, but delivered";
  }
  EXPECT_EQ(passed, 1);
}

TEST_F(ZipEntryReadingTest, TheCheckByteComesFromTheCentralHeadersFlags) {
  ZipItem& item = zip_.Add("a", Compressible(1000));
  item.password = "secret";
  item.dos_date_time = DosTime(2018, 8, 16, 1, 2, 4);
  // Only the local header says that the values follow the data: the check byte is still that of the CRC-32.
  item.edit_local = [](LocalHeader& header) { header.flags |= 8; };
  EXPECT_TRUE(ReadToEnd(Open("secret")).end);
}

TEST_F(ZipEntryReadingTest, AnEncryptedEntryShorterThanItsHeaderEndsWithoutAnEnd) {
  ZipItem& item = zip_.Add("a", ToBytes("abc"), 0);
  item.password = "secret";
  item.data = Bytes(5, 1);
  Delivery const delivery = ReadToEnd(Open("secret"));
  EXPECT_EQ(delivery.code, 0);
  EXPECT_FALSE(delivery.end);
}

TEST_F(ZipEntryReadingTest, AnEncryptedStoredEntryWhoseSizeForgetsTheHeaderEndsWithoutAnEnd) {
  ZipItem& item = zip_.Add("a", Compressible(100), 0);
  item.password = "secret";
  item.EditBoth([](auto& header) { header.compressed_size -= 12; });
  Delivery const delivery = ReadToEnd(Open("secret"));
  EXPECT_EQ(delivery.bytes, Compressible(88));
  EXPECT_EQ(delivery.code, 0);
  EXPECT_FALSE(delivery.end);
}

}  // namespace
}  // namespace unzip_tests
