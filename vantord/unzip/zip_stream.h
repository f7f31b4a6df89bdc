// The bytes of an archive: an open file, or a block of memory. All numbers are unsigned 32-bit, as in the archive
// format, and wrap.
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
  bool canSeek = false;          ///< file: the position could be read at the opening
  bool mustCloseHandle = false;  ///< file: the handle is closed with the stream
  HANDLE handle = INVALID_HANDLE_VALUE;
  /// A ReadFile has failed at some time.
  /// Deliberate: The flag is never cleared. Expected: a reset by the next seek.
  /// Test: ZipStreamTest.AReadErrorFailsTheFieldAndIsNeverForgotten
  bool hadError = false;
  std::uint32_t initialOffset = 0;  ///< file: where the archive's data starts; every offset is relative to it
  const BYTE* buffer = nullptr;     ///< memory: not owned
  std::uint32_t length = 0;         ///< memory: bytes in `buffer`
  std::uint32_t position = 0;       ///< memory: next byte to read, at most `length`
};

/// Opens an archive file for reading; returns null on failure. The stream starts at the file's position, 0.
[[nodiscard]] std::unique_ptr<ZipInputStream> lufopen(const WCHAR* fileName);

/// Moves to `offset` bytes from the start of the archive's data. Returns 0, or -1 if the stream cannot seek (file) or
/// the offset is outside of the block (memory); the position then stays.
[[nodiscard]] int lufseek(ZipInputStream& stream, std::uint32_t offset);

/// Moves to the end and returns the number of bytes from the start of the archive's data, modulo 2^32.
[[nodiscard]] std::uint32_t SeekToEnd(ZipInputStream& stream);

/// Reads up to `itemCount` items of `itemSize` bytes and returns how many whole items were read. Returns 0 if itemSize
/// or itemCount is 0.
[[nodiscard]] std::uint32_t lufread(void* out, std::uint32_t itemSize, std::uint32_t itemCount, ZipInputStream& stream);

/// Reads a field of the archive. Returns 0, or -1 (value 0) if a byte could not be read and the stream has had a read
/// error. Bytes after the end of the data are 0.
int ReadU16(ZipInputStream& stream, std::uint32_t& value);
[[nodiscard]] int ReadU32(ZipInputStream& stream, std::uint32_t& value);
