// The bytes of an archive: an open file, or a block of memory. All numbers are little-endian 32-bit quantities, as in
// the archive format, and wrap like such.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>

struct ZipInputStream {
  ZipInputStream() = default;
  ~ZipInputStream();
  ZipInputStream(const ZipInputStream&) = delete;
  ZipInputStream& operator=(const ZipInputStream&) = delete;

  bool isHandle = false;         ///< true: a file; false: a block of memory
  bool canSeek = false;          ///< file: the handle answered a position query when it was opened
  bool mustCloseHandle = false;  ///< file: the handle is closed with the stream
  HANDLE handle = INVALID_HANDLE_VALUE;
  /// A ReadFile has failed at some time. Kept on purpose: never cleared; one would expect the next seek to do so.
  /// Pinned by ZipStreamTest.AReadErrorFailsTheFieldAndIsNeverForgotten.
  bool hadError = false;
  std::uint32_t initialOffset = 0;  ///< file: where the archive's data starts; every offset is relative to it
  const BYTE* buffer = nullptr;     ///< memory: not owned
  std::uint32_t length = 0;         ///< memory: bytes in `buffer`
  std::uint32_t position = 0;       ///< memory: next byte to read, at most `length`
};

/// Opens an archive file for reading; null when that fails. The stream starts at the file's position, 0.
[[nodiscard]] std::unique_ptr<ZipInputStream> lufopen(const WCHAR* fileName);

/// Moves to `offset` bytes from the start of the archive's data. 0, or -1 when the stream cannot seek (file) or the
/// offset is outside of the block (memory), in which case the position stays.
[[nodiscard]] int lufseek(ZipInputStream& stream, std::uint32_t offset);

/// Moves to the end and answers the number of bytes from the start of the archive's data, as far as 32 bits go.
[[nodiscard]] std::uint32_t SeekToEnd(ZipInputStream& stream);

/// Reads up to `itemCount` items of `itemSize` bytes and answers how many whole items were read. No items of any
/// number, and any number of items of no bytes, are 0 items.
[[nodiscard]] std::uint32_t lufread(void* out, std::uint32_t itemSize, std::uint32_t itemCount, ZipInputStream& stream);

/// Reads a field of the archive. 0, or -1 (value 0) when a byte could not be read and the stream has had a read error.
/// Bytes behind the end of the data are 0 and no failure.
int ReadU16(ZipInputStream& stream, std::uint32_t& value);
[[nodiscard]] int ReadU32(ZipInputStream& stream, std::uint32_t& value);
