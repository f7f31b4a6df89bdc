// Archives in memory, and what reading them delivers.
#pragma once

#include <windows.h>

#include <memory>
#include <span>
#include <string>

#include "tests/testing/tablet_fixture.h"
#include "tests/testing/zip_builder.h"
#include "vantord/unzip/zip_reader.h"

namespace unzip_tests {

using namespace testing_support;

/// A stream over a block of memory, which must outlive it.
inline std::unique_ptr<ZipInputStream> MemoryStream(std::span<const std::uint8_t> bytes) {
  auto stream = std::make_unique<ZipInputStream>();
  stream->buffer = bytes.data();
  stream->length = static_cast<std::uint32_t>(bytes.size());
  return stream;
}

/// An archive in memory with a reader over it; the reader is null when the bytes hold no archive.
struct MemoryArchive {
  explicit MemoryArchive(Bytes content) : bytes(std::move(content)), reader(OpenZipArchive(MemoryStream(bytes))) {}
  explicit MemoryArchive(const ZipBuilder& zip) : MemoryArchive(zip.Build()) {}
  Bytes bytes;
  std::unique_ptr<ZipArchiveReader> reader;
};

/// What came out of an open entry until its end or the first call that delivered nothing.
struct Delivery {
  Bytes bytes;
  int code = 0;      ///< of the last call: bytes, or a negative code
  bool end = false;  ///< the last call reported the end of the entry
};

inline Delivery ReadToEnd(ZipArchiveReader* reader, std::uint32_t piece = 16384) {
  Delivery delivery;
  Bytes buffer(piece);
  for (;;) {
    delivery.code = ReadCurrentEntry(reader, buffer.data(), piece, &delivery.end);
    if (delivery.code > 0) delivery.bytes.insert(delivery.bytes.end(), buffer.begin(), buffer.begin() + delivery.code);
    if (delivery.code <= 0 || delivery.end) return delivery;
  }
}

inline tablet::FileTicks Ticks(const FILETIME& time) {
  return static_cast<tablet::FileTicks>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

inline tablet::FileTicks TicksOfUnix(std::int64_t seconds) {
  return static_cast<tablet::FileTicks>((seconds + 11'644'473'600) * 10'000'000);
}

inline std::string CurrentName(ZipArchiveReader* reader) {
  char name[1024] = {};
  GetCurrentEntryInfo(reader, nullptr, nullptr, name, sizeof name);
  return name;
}

}  // namespace unzip_tests
