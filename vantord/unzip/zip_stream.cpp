#include "vantord/unzip/zip_stream.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"

namespace {

// Fields are read byte by byte, so that a field that the file ends in still has its first bytes.
int ReadField(ZipInputStream& stream, int bytes, std::uint32_t& value) {
  value = 0;
  std::uint32_t field = 0;
  for (int i = 0; i < bytes; ++i) {
    BYTE byte = 0;
    // Deliberate: The end of the data is not a failure, unless a read has failed before. Expected: a failure for a
    // truncated header.
    // Test: ZipStreamTest.ReadsZeroBehindTheEndOfTheData
    if (lufread(&byte, 1, 1, stream) != 1 && stream.isHandle && stream.hadError) return -1;
    field |= static_cast<std::uint32_t>(byte) << (8 * i);
  }
  value = field;
  return 0;
}

}  // namespace

ZipInputStream::~ZipInputStream() {
  if (isHandle && mustCloseHandle) ::CloseHandle(handle);  // by hand: a flag decides
}

std::unique_ptr<ZipInputStream> lufopen(const WCHAR* fileName) {
  // Deliberate: Progress is logged in the error zone at every opening. Expected: the detail zone.
  // Test: ExtractionTest.EveryOpeningLogsItsProgressInTheErrorZone
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : %d"), "lufopen", 2652, 2652);
  FileHandle file(
      ::CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return nullptr;
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : %d"), "lufopen", 2659, 2659);

  std::unique_ptr<ZipInputStream> stream(new (std::nothrow) ZipInputStream);
  if (stream == nullptr) return nullptr;
  stream->isHandle = true;
  stream->mustCloseHandle = true;
  stream->handle = file.Release();
  DWORD const position = ::SetFilePointer(stream->handle, 0, nullptr, FILE_CURRENT);
  stream->canSeek = position != INVALID_SET_FILE_POINTER;
  if (stream->canSeek) stream->initialOffset = position;
  return stream;
}

int lufseek(ZipInputStream& stream, std::uint32_t offset) {
  if (stream.isHandle) {
    if (!stream.canSeek) return -1;
    // Deliberate: The seek succeeds whatever SetFilePointer returns; the following reads start at the file's old
    // position. Expected: a failure.
    // Test: ExtractionTest.AFailedSeekInTheFileIsNotNoticed
    ::SetFilePointer(stream.handle, static_cast<LONG>(stream.initialOffset + offset), nullptr, FILE_BEGIN);
    return 0;
  }
  auto const signedOffset = static_cast<std::int32_t>(offset);
  if (signedOffset < 0 || offset > stream.length) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Invalid offset : %d, stream->len=%d"), "lufseek", 2726, signedOffset,
                   stream.length);
    return -1;
  }
  stream.position = offset;
  return 0;
}

std::uint32_t SeekToEnd(ZipInputStream& stream) {
  if (stream.isHandle) return ::SetFilePointer(stream.handle, 0, nullptr, FILE_END) - stream.initialOffset;
  stream.position = stream.length;
  return stream.length;
}

std::uint32_t lufread(void* out, std::uint32_t itemSize, std::uint32_t itemCount, ZipInputStream& stream) {
  if (itemSize == 0) return 0;
  std::uint32_t const wanted = itemSize * itemCount;
  if (stream.isHandle) {
    DWORD read = 0;
    if (!::ReadFile(stream.handle, out, wanted, &read, nullptr)) stream.hadError = true;
    return read / itemSize;
  }
  std::uint32_t const copied = std::min(wanted, stream.length - stream.position);
  if (copied != 0) std::memcpy(out, stream.buffer + stream.position, copied);
  stream.position += copied;
  return copied / itemSize;
}

int ReadU16(ZipInputStream& stream, std::uint32_t& value) { return ReadField(stream, 2, value); }

int ReadU32(ZipInputStream& stream, std::uint32_t& value) { return ReadField(stream, 4, value); }
