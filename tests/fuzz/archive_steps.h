// Budgets of the harnesses that read archives. After an unreadable central header the service loops without end; the
// harnesses therefore use only entries that the cursor reaches.
#pragma once

#include <cstdint>
#include <span>

#include "tests/fuzz/harness.h"
#include "vantord/unzip/zip_reader.h"

namespace fuzzing {

/// Entries and bytes read from one archive, and the buffer of one ReadCurrentEntry.
inline constexpr std::uint32_t kMostEntries = 16;
inline constexpr std::size_t kMostBytes = 1 << 20;
inline constexpr std::uint32_t kPiece = 16384;

/// A stream over a block of memory, which must outlive it.
inline std::unique_ptr<ZipInputStream> MemoryStream(std::span<const std::uint8_t> bytes) {
  auto stream = std::make_unique<ZipInputStream>();
  stream->buffer = bytes.data();
  stream->length = static_cast<std::uint32_t>(bytes.size());
  return stream;
}

/// Moves to the next entry; false if the cursor stays.
inline bool Step(ZipArchiveReader& reader) {
  std::uint32_t const before = reader.currentEntryNumber;
  GoToNextEntry(&reader);
  Check(reader.currentEntryNumber - before <= 1, "the cursor moves by one entry at most");
  return reader.currentEntryNumber != before;
}

/// The result of reading the open entry, within the budget.
struct Delivery {
  Bytes bytes;
  bool end = false;   ///< the reader reported the end of the entry
  bool whole = true;  ///< the budget was sufficient
  int code = 0;       ///< of the last read: bytes, or a negative code
};

inline Delivery ReadEntry(ZipArchiveReader& reader, std::uint32_t piece) {
  Delivery delivery;
  Bytes buffer(piece);
  while (!delivery.end) {
    delivery.whole = delivery.bytes.size() < kMostBytes;
    if (!delivery.whole) break;
    delivery.code = ReadCurrentEntry(&reader, buffer.data(), piece, &delivery.end);
    if (delivery.code <= 0) break;
    Check(static_cast<std::uint32_t>(delivery.code) <= piece, "a read delivers no more than requested");
    delivery.bytes.insert(delivery.bytes.end(), buffer.begin(), buffer.begin() + delivery.code);
  }
  return delivery;
}

}  // namespace fuzzing
