// What happens when memory runs out. This executable's own operator new (nothrow) and inflateInit2_ stand in front of
// the runtime's and zlib's.
#include <dlfcn.h>

#include <new>

#include "tests/unit/unzip/archives.h"
#include "vantord/unzip/tunzip.h"

namespace {

constexpr std::size_t kNone = SIZE_MAX;
std::size_t failing_size = kNone;  ///< nothrow allocations of this size fail
bool inflater_fails = false;
int inflaters_ended = 0;
bool full_of_end_records = false;  ///< what nothrow allocations of arrays hold from the start

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (size == failing_size) return nullptr;
  try {
    return ::operator new(size);
  } catch (...) {
    return nullptr;
  }
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  if (size == failing_size) return nullptr;
  try {
    auto* const bytes = static_cast<char*>(::operator new[](size));
    for (std::size_t i = 0; full_of_end_records && i < size; ++i) bytes[i] = "PK\5\6"[i % 4];
    return bytes;
  } catch (...) {
    return nullptr;
  }
}

extern "C" int inflateInit2_(z_streamp stream, int bits, const char* version, int size) {
  if (inflater_fails) return Z_MEM_ERROR;
  using InflateInit2 = int (*)(z_streamp, int, const char*, int);
  static auto const real = reinterpret_cast<InflateInit2>(::dlsym(RTLD_NEXT, "inflateInit2_"));
  return real(stream, bits, version, size);
}

extern "C" int inflateEnd(z_streamp stream) {
  ++inflaters_ended;
  static auto const real = reinterpret_cast<int (*)(z_streamp)>(::dlsym(RTLD_NEXT, "inflateEnd"));
  return real(stream);
}

namespace unzip_tests {
namespace {

class AllocationTest : public TabletTest {
 protected:
  AllocationTest() { zip_.Add("a", ToBytes("content")); }
  ~AllocationTest() override {
    failing_size = kNone;
    inflater_fails = false;
    full_of_end_records = false;
  }
  ZipBuilder zip_;
};

TEST_F(AllocationTest, AnEntryWithoutMemoryForItsStateOrBufferDoesNotOpen) {
  MemoryArchive const archive(zip_);
  for (std::size_t size : {sizeof(ZipEntryReadState), std::size_t{16384}}) {
    failing_size = size;
    EXPECT_EQ(OpenCurrentEntry(archive.reader.get(), nullptr), ZIP_OUT_OF_MEMORY);
    EXPECT_EQ(archive.reader->entryReadState, nullptr);
  }
  failing_size = kNone;
  EXPECT_EQ(OpenCurrentEntry(archive.reader.get(), nullptr), ZIP_OK);
}

TEST_F(AllocationTest, AnArchiveWithoutMemoryForTheSearchOrTheReaderDoesNotOpen) {
  Bytes const bytes = zip_.Build();
  for (std::size_t size : {std::size_t{1028}, sizeof(ZipArchiveReader)}) {
    failing_size = size;
    EXPECT_EQ(OpenZipArchive(MemoryStream(bytes)), nullptr);
  }
  failing_size = kNone;
  EXPECT_NE(OpenZipArchive(MemoryStream(bytes)), nullptr);
}

TEST_F(AllocationTest, AnInflaterThatCannotBeSetUpShowsAtTheFirstRead) {
  MemoryArchive const archive(zip_);
  inflater_fails = true;
  EXPECT_EQ(OpenCurrentEntry(archive.reader.get(), nullptr), ZIP_OK);
  EXPECT_FALSE(archive.reader->entryReadState->streamInitialised);
  EXPECT_EQ(ReadToEnd(archive.reader.get()).code, Z_STREAM_ERROR);
  EXPECT_EQ(CloseCurrentEntry(archive.reader.get()), ZIP_OK);
}

TEST_F(AllocationTest, WhatTheSearchDidNotReadIsNotSearched) {
  drive().Put(u"c:\\a.zip", zip_.Build());
  full_of_end_records = true;
  // The third seek is that to the last bytes; without it nothing of them is read.
  Inject("SetFilePointer", ERROR_NEGATIVE_SEEK, 3, 1);
  EXPECT_EQ(OpenZipFile(u"c:\\a.zip"), nullptr);
}

TEST_F(AllocationTest, TheSearchEndsWithTheLastByteThatWasRead) {
  // Of the four lengths one makes a signature of the archive's end and of the byte that the memory holds after it.
  full_of_end_records = true;
  for (std::size_t length : {0, 1, 2, 3}) {
    zip_.comment = ToBytes(std::string(length, ' ') + "PK\5");
    MemoryArchive const archive(zip_);
    ASSERT_NE(archive.reader, nullptr);
    EXPECT_EQ(archive.reader->numberOfEntries, 1u) << length;
  }
}

TEST_F(AllocationTest, AnEntryIsReleasedWithItsExtraction) {
  drive().Put(u"c:\\a.zip", zip_.Build());
  TUnzip unzip;
  ASSERT_EQ(unzip.Open(u"c:\\a.zip"), UNZIP_OK);
  inflaters_ended = 0;
  EXPECT_EQ(unzip.Unzip(0, u"c:\\a"), UNZIP_OK);
  EXPECT_EQ(inflaters_ended, 1);
}

TEST_F(AllocationTest, AnEntryWithoutMemoryForItsExtraFieldCannotBeDescribed) {
  zip_.Add("b", ToBytes("content")).local_extra = Bytes(777, 0);
  drive().Put(u"c:\\a.zip", zip_.Build());
  TUnzip unzip;
  ASSERT_EQ(unzip.Open(u"c:\\a.zip"), UNZIP_OK);
  ZipEntry entry = {};
  failing_size = 777;
  EXPECT_EQ(unzip.Get(1, entry), UNZIP_BAD_EXTRA);
  failing_size = kNone;
  EXPECT_EQ(unzip.Get(1, entry), UNZIP_OK);
}

TEST_F(AllocationTest, AFileWithoutMemoryForItsStreamIsClosedAgain) {
  drive().Put(u"c:\\a.zip", zip_.Build());
  failing_size = sizeof(ZipInputStream);
  EXPECT_EQ(lufopen(u"c:\\a.zip"), nullptr);
  EXPECT_THAT(open_kinds(), testing::IsEmpty());
}

TEST_F(AllocationTest, AnExtractionWithoutMemoryForTheObjectTheHandleOrTheBufferFails) {
  drive().Put(u"c:\\a.zip", zip_.Build());
  for (std::size_t size : {sizeof(TUnzip), sizeof(ZipHandle)}) {
    failing_size = size;
    EXPECT_EQ(OpenZipFile(u"c:\\a.zip"), nullptr);
    EXPECT_EQ(LastUnzipResult, UNZIP_FILE_FAILED);
  }
  failing_size = 16384;
  TUnzip unzip;
  ASSERT_EQ(unzip.Open(u"c:\\a.zip"), UNZIP_OK);
  EXPECT_EQ(unzip.Unzip(0, u"c:\\a"), UNZIP_BAD_DATA);
  EXPECT_EQ(drive().Contents(u"c:\\a").size(), 0u);
  failing_size = kNone;
  EXPECT_EQ(unzip.Unzip(0, u"c:\\a"), UNZIP_OK);
}

}  // namespace
}  // namespace unzip_tests
