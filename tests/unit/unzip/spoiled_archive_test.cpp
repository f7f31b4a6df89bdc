// Every bit of an archive turned, one at a time: whatever the reader then makes of it, it stays inside its bounds. (The
// sanitizers' build looks at memory while this runs.)
#include "tests/unit/unzip/archives.h"

namespace unzip_tests {
namespace {

class SpoiledArchiveTest : public TabletTest {
 protected:
  SpoiledArchiveTest() {
    zip_.Add("stored", Compressible(40), 0);
    zip_.Add("deflated", Compressible(3000)).local_extra = TimestampBlock(1, {1'500'000'001});
    zip_.Add("secret", Compressible(30), 0).password = "password";
  }

  /// Walks the whole archive as far as the cursor goes and reads every entry.
  static void Walk(const Bytes& bytes) {
    auto const reader = OpenZipArchive(MemoryStream(bytes));
    if (reader == nullptr) return;
    // A few steps more than there are entries: the archive may claim 65535.
    for (std::size_t step = 0; step < 5; ++step) {
      char name[261] = {};
      GetCurrentEntryInfo(reader.get(), nullptr, nullptr, name, 260);
      if (OpenCurrentEntry(reader.get(), nullptr) == ZIP_OK) {
        std::uint32_t const declared = reader->entryReadState->restUncompressed;
        Delivery const delivery = ReadToEnd(reader.get(), 1000);
        ASSERT_LE(delivery.bytes.size(), declared);
        ASSERT_LE(delivery.bytes.size(), 10'000u);
        ASSERT_LE(reader->stream->position, reader->stream->length);
        CloseCurrentEntry(reader.get());
      }
      std::uint32_t const before = reader->currentEntryNumber;
      GoToNextEntry(reader.get());
      ASSERT_LE(reader->currentEntryNumber, before + 1);
    }
  }

  ZipBuilder zip_;
};

TEST_F(SpoiledArchiveTest, NoSingleBitLeadsTheReaderAstray) {
  Bytes bytes = zip_.Build();
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      SCOPED_TRACE(testing::Message() << "byte " << at << ", bit " << bit);
      bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ 1 << bit);
      Walk(bytes);
      if (HasFatalFailure()) return;
      bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ 1 << bit);
    }
  }
}

TEST_F(SpoiledArchiveTest, NoCutLeadsTheReaderAstray) {
  Bytes const bytes = zip_.Build();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    SCOPED_TRACE(size);
    // From the end, where the end record is, and from the start.
    Walk(Bytes(bytes.end() - static_cast<std::ptrdiff_t>(size), bytes.end()));
    Walk(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)));
    if (HasFatalFailure()) return;
  }
}

}  // namespace
}  // namespace unzip_tests
