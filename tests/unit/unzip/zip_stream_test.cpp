#include "vantord/unzip/zip_stream.h"

#include "vantord/common/diagnostic_log.h"

#include "tests/unit/unzip/archives.h"

namespace unzip_tests {
namespace {

constexpr const char16_t* kPath = u"c:\\data.bin";

class ZipStreamTest : public TabletTest {
 protected:
  std::unique_ptr<ZipInputStream> OpenFile(const Bytes& bytes) {
    drive().Put(kPath, bytes);
    return lufopen(kPath);
  }
};

TEST_F(ZipStreamTest, ReadsFieldsInLittleEndianOrder) {
  Bytes const bytes{0x34, 0x12, 0x78, 0x56, 0x34, 0xF2};
  auto const memory = MemoryStream(bytes);
  auto const file = OpenFile(bytes);
  ASSERT_NE(file, nullptr);
  for (ZipInputStream* stream : {memory.get(), file.get()}) {
    std::uint32_t value = 0;
    EXPECT_EQ(ReadU16(*stream, value), 0);
    EXPECT_EQ(value, 0x1234u);
    EXPECT_EQ(ReadU32(*stream, value), 0);
    EXPECT_EQ(value, 0xF2345678u);
  }
}

TEST_F(ZipStreamTest, ReadsZeroBehindTheEndOfTheData) {
  Bytes const bytes{0x78, 0x56};
  auto const memory = MemoryStream(bytes);
  auto const file = OpenFile(bytes);
  ASSERT_NE(file, nullptr);
  for (ZipInputStream* stream : {memory.get(), file.get()}) {
    std::uint32_t value = 7;
    EXPECT_EQ(ReadU32(*stream, value), 0);
    EXPECT_EQ(value, 0x5678u);
    EXPECT_EQ(ReadU16(*stream, value), 0);
    EXPECT_EQ(value, 0u);
  }
}

TEST_F(ZipStreamTest, AReadErrorFailsTheFieldAndIsNeverForgotten) {
  auto const file = OpenFile({1, 2, 3, 4});
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(file->hadError);
  Inject("ReadFile", ERROR_IO_DEVICE, 2, 1);
  std::uint32_t value = 7;
  EXPECT_EQ(ReadU16(*file, value), -1);
  EXPECT_EQ(value, 0u);
  EXPECT_TRUE(file->hadError);
  // Bytes that can be read are read as before; the end of the data is a failure from now on.
  EXPECT_EQ(ReadU16(*file, value), 0);
  EXPECT_EQ(value, 0x0302u);
  EXPECT_EQ(ReadU16(*file, value), -1);
  EXPECT_EQ(value, 0u);
  EXPECT_EQ(lufseek(*file, 0), 0);
  EXPECT_TRUE(file->hadError);
}

TEST_F(ZipStreamTest, WholeItemsAreCounted) {
  Bytes const bytes(10, 1);
  auto const memory = MemoryStream(bytes);
  auto const file = OpenFile(bytes);
  ASSERT_NE(file, nullptr);
  for (ZipInputStream* stream : {memory.get(), file.get()}) {
    Bytes out(16);
    EXPECT_EQ(lufread(out.data(), 4, 2, *stream), 2u);
    EXPECT_EQ(lufread(out.data(), 4, 1, *stream), 0u);  // two bytes are left, and are consumed
    EXPECT_EQ(lufread(out.data(), 1, 1, *stream), 0u);
    EXPECT_EQ(lufread(out.data(), 0, 3, *stream), 0u);
    EXPECT_EQ(lufread(out.data(), 1, 0, *stream), 0u);
  }
}

TEST_F(ZipStreamTest, AMemorySeekOutsideOfTheBlockFailsAndSaysSo) {
  Bytes const bytes(10, 1);
  auto const memory = MemoryStream(bytes);
  EXPECT_EQ(lufseek(*memory, 10), 0);
  EXPECT_EQ(memory->position, 10u);
  EXPECT_EQ(lufseek(*memory, 4), 0);
  EXPECT_EQ(lufseek(*memory, 11), -1);
  EXPECT_EQ(lufseek(*memory, 0xFFFFFFFE), -1);
  EXPECT_EQ(memory->position, 4u);
  EXPECT_THAT(formatted(), testing::ElementsAre("lufseek:2726 : Invalid offset : 11, stream->len=10",
                                                "lufseek:2726 : Invalid offset : -2, stream->len=10"));
}

TEST_F(ZipStreamTest, TheLineOfAFailedSeekStaysAwayWhileItsZoneIsOff) {
  g_ulZoneMask = kDefaultZoneMask & ~ZONE_ERROR;
  Bytes const bytes(10, 1);
  EXPECT_EQ(lufseek(*MemoryStream(bytes), 11), -1);
  g_ulZoneMask = kDefaultZoneMask;
  EXPECT_THAT(formatted(), testing::IsEmpty());
}

TEST_F(ZipStreamTest, AFileThatCannotAnswerItsPositionCannotSeek) {
  Inject("SetFilePointer", ERROR_INVALID_FUNCTION, 1, 1);
  auto const file = OpenFile({1, 2, 3});
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(file->canSeek);
  EXPECT_EQ(file->initialOffset, 0u);
  EXPECT_EQ(lufseek(*file, 0), -1);
}

TEST_F(ZipStreamTest, AFileSeekSucceedsWhateverWindowsAnswers) {
  auto const file = OpenFile({1, 2, 3});
  ASSERT_NE(file, nullptr);
  Inject("SetFilePointer", ERROR_INVALID_FUNCTION);
  EXPECT_EQ(lufseek(*file, 2), 0);
  std::uint32_t value = 0;
  EXPECT_EQ(ReadU16(*file, value), 0);
  EXPECT_EQ(value, 0x0201u);
}

TEST_F(ZipStreamTest, OffsetsOfAFileCountFromWhereTheArchiveStarts) {
  auto const file = OpenFile({1, 2, 3, 4, 5});
  ASSERT_NE(file, nullptr);
  file->initialOffset = 3;
  EXPECT_EQ(SeekToEnd(*file), 2u);
  EXPECT_EQ(lufseek(*file, 1), 0);
  std::uint32_t value = 0;
  ReadU16(*file, value);
  EXPECT_EQ(value, 5u);
}

TEST_F(ZipStreamTest, BehindTheEndThereIsNothingToRead) {
  Bytes const bytes{1, 2, 3};
  auto const memory = MemoryStream(bytes);
  auto const file = OpenFile(bytes);
  ASSERT_NE(file, nullptr);
  for (ZipInputStream* stream : {memory.get(), file.get()}) {
    BYTE byte = 0;
    EXPECT_EQ(SeekToEnd(*stream), 3u);
    EXPECT_EQ(lufread(&byte, 1, 1, *stream), 0u);
  }
}

TEST_F(ZipStreamTest, AnArchiveIsOpenedForReadingAndSharedWithReadersOnly) {
  auto const file = OpenFile({1});
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(::CreateFileW(kPath, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
  auto const second = lufopen(kPath);
  EXPECT_NE(second, nullptr);
}

TEST_F(ZipStreamTest, TheHandleIsClosedWithTheStream) {
  {
    auto const file = OpenFile({1});
    EXPECT_THAT(open_kinds(), testing::ElementsAre("file"));
  }
  EXPECT_THAT(open_kinds(), testing::IsEmpty());
}

}  // namespace
}  // namespace unzip_tests
