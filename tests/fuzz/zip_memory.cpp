// The zip reader over memory: every entry is described, checked and read.
#include <zlib.h>

#include "tests/fuzz/archive_steps.h"

using namespace fuzzing;

namespace {

constexpr std::uint32_t kNameSize = 260;

void Describe(const ZipArchiveReader& reader) {
  // A block of exactly the buffer's size: a name may fill it and no more.
  std::unique_ptr<char[]> const name(new char[kNameSize]);
  ZipCentralEntryInfo info;
  int const code = GetCurrentEntryInfo(&reader, &info, nullptr, name.get(), kNameSize);
  if (code == ZIP_OK && info.nameLength < kNameSize) {
    Check(name[info.nameLength] == 0, "a name that fits is terminated");
  }
}

/// Reads the current entry in pieces; closes it, or leaves it open for the next operation.
void Read(ZipArchiveReader& reader, std::uint32_t piece, bool close) {
  const char* const password = reader.currentEntryNumber % 2 == 0 ? nullptr : "password";
  ZipLocalHeaderInfo local;
  int const check = CheckLocalHeader(&reader, local);
  int const open = OpenCurrentEntry(&reader, password);
  Check((open == ZIP_OK) == (check == ZIP_OK && reader.currentEntryOk),
        "an entry opens when both its headers are good");
  if (open != ZIP_OK) return;
  std::uint32_t const declared = reader.entryReadState->restUncompressed;
  std::uint32_t const crc = reader.entryReadState->crc32Expected;
  Delivery const delivery = ReadEntry(reader, piece);
  Check(delivery.bytes.size() <= declared, "an entry delivers no more than it declares");
  Check(reader.stream->position <= reader.stream->length, "the stream stays within its block");
  if (!close) return;
  bool const right = crc == crc32(0, delivery.bytes.data(), static_cast<uInt>(delivery.bytes.size()));
  int const closed = CloseCurrentEntry(&reader);
  if (delivery.bytes.size() == declared) {
    Check((closed == ZIP_OK) == right, "closing reports whether the CRC-32 of a whole entry is the declared one");
  } else {
    Check(closed == ZIP_OK, "closing an entry that was not read to its end reports nothing");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  NeedTablet();
  auto const reader = OpenZipArchive(MemoryStream({data, size}));
  if (reader == nullptr) return 0;
  // Sizes around the reader's buffer and below it; some entries are still open when the cursor moves.
  std::uint32_t const piece = size % 3 == 0 ? kPiece : size % 3 == 1 ? kPiece + 1 : 61;
  std::uint32_t entry = 0;
  do {
    Describe(*reader);
    Read(*reader, piece, entry % 3 != 2);
  } while (++entry < kMostEntries && Step(*reader));
  GoToFirstEntry(reader.get());
  Read(*reader, piece, true);
  return 0;
}
