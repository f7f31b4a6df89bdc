// The bytes of the current entry: stored or inflated, decrypted where needed.
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "vantord/unzip/zip_reader.h"

namespace {

/// The high byte of the CRC-32 or, if that was not known at encryption, of the DOS time.
std::int8_t CheckByteOf(const ZipCentralEntryInfo& entry) {
  bool const declaredLater = (entry.flags & ZIP_FLAG_DATA_DESCRIPTOR) != 0;
  return static_cast<std::int8_t>(declaredLater ? entry.dosDateTime >> 8 : entry.crc32 >> 24);
}

void StartInflate(ZipEntryReadState& state) {
  // Raw: no zlib header, no trailer, a window of 32 KB.
  // Deliberate: A failed set-up of the inflater is not reported; inflate() refuses the stream at the first read.
  // Expected: a failed opening.
  // Test: AllocationTest.AnInflaterThatCannotBeSetUpShowsAtTheFirstRead
  state.streamInitialised = inflateInit2(&state.inflateStream, -15) == Z_OK;
}

/// Reads the next piece of compressed bytes, decrypted, into the read buffer.
int ReadChunk(ZipEntryReadState& state) {
  std::uint32_t const chunk = std::min(state.restCompressed, ZIP_READ_BUFFER_SIZE);
  if (lufseek(*state.stream, state.dataPosition + state.byteBeforeTheArchive) != 0) return ZIP_STREAM_FAILED;
  if (lufread(state.readBuffer.get(), chunk, 1, *state.stream) != 1) return ZIP_STREAM_FAILED;
  state.dataPosition += chunk;
  state.restCompressed -= chunk;
  if (state.encrypted) Decrypt(state.keys, state.readBuffer.get(), chunk);
  state.inflateStream.next_in = state.readBuffer.get();
  state.inflateStream.avail_in = chunk;
  return ZIP_OK;
}

/// Skips the encryption header as far as it was read; at its last byte, checks the password.
int SkipEncryptionHeader(ZipEntryReadState& state) {
  z_stream& input = state.inflateStream;
  std::uint32_t const skipped = std::min<std::uint32_t>(input.avail_in, state.encryptionHeaderLeft);
  if (skipped == 0) return ZIP_OK;
  input.next_in += skipped;
  input.avail_in -= skipped;
  state.encryptionHeaderLeft -= skipped;
  if (state.encryptionHeaderLeft != 0) return ZIP_OK;
  return static_cast<std::int8_t>(input.next_in[-1]) == state.checkByte ? ZIP_OK : ZIP_PASSWORD_MISMATCH;
}

/// Accounts for the `produced` bytes before next_out.
void Deliver(ZipEntryReadState& state, const BYTE* bytes, std::uint32_t produced) {
  state.crc32 = static_cast<std::uint32_t>(::crc32(state.crc32, bytes, produced));
  state.restUncompressed -= produced;
}

/// One step of a deflated entry. Returns zlib's code.
int InflateStep(ZipEntryReadState& state) {
  z_stream& stream = state.inflateStream;
  const BYTE* const from = stream.next_out;
  int const code = inflate(&stream, Z_SYNC_FLUSH);
  Deliver(state, from, static_cast<std::uint32_t>(stream.next_out - from));
  return code;
}

/// One step of a stored entry.
void CopyStep(ZipEntryReadState& state) {
  z_stream& stream = state.inflateStream;
  std::uint32_t const size = std::min(stream.avail_out, stream.avail_in);
  std::memcpy(stream.next_out, stream.next_in, size);
  Deliver(state, stream.next_in, size);
  stream.next_in += size;
  stream.avail_in -= size;
  stream.next_out += size;
  stream.avail_out -= size;
}

/// Fills the stream's output. Returns 0 or a negative code.
int FillOutput(ZipEntryReadState& state, bool& endOfEntry) {
  z_stream& stream = state.inflateStream;
  while (stream.avail_out != 0) {
    if (stream.avail_in == 0 && state.restCompressed != 0) {
      int const code = ReadChunk(state);
      if (code != ZIP_OK) return code;
    }
    int const header = SkipEncryptionHeader(state);
    if (header != ZIP_OK) return header;
    if (state.compressionMethod != ZIP_METHOD_STORED) {
      int const code = InflateStep(state);
      // Deliberate: The end of the deflated data ends the entry, even with fewer bytes than declared. Expected: a
      // failure.
      // Test: ZipEntryReadingTest.DeflatedDataThatEndsEarlyEndsTheEntryWithSuccess
      endOfEntry = code == Z_STREAM_END || state.restUncompressed == 0;
      if (endOfEntry) return ZIP_OK;
      if (code != Z_OK) return code;
    } else {
      // Without this, a stored entry with too few compressed bytes would loop without end.
      if (stream.avail_in == 0 && state.restCompressed == 0) return ZIP_OK;
      CopyStep(state);
      endOfEntry = state.restUncompressed == 0;
    }
  }
  return ZIP_OK;
}

}  // namespace

ZipEntryReadState::~ZipEntryReadState() {
  if (streamInitialised) inflateEnd(&inflateStream);
}

int OpenCurrentEntry(ZipArchiveReader* reader, const char* password) {
  if (reader == nullptr || !reader->currentEntryOk) return ZIP_BAD_PARAMETER;
  if (reader->entryReadState != nullptr) (void)CloseCurrentEntry(reader);
  ZipLocalHeaderInfo local;
  if (CheckLocalHeader(reader, local) != ZIP_OK) return ZIP_BAD_ARCHIVE;

  std::unique_ptr<ZipEntryReadState> state(new (std::nothrow) ZipEntryReadState);
  if (state == nullptr) return ZIP_OUT_OF_MEMORY;
  state->readBuffer.reset(new (std::nothrow) BYTE[ZIP_READ_BUFFER_SIZE]);
  if (state->readBuffer == nullptr) return ZIP_OUT_OF_MEMORY;

  ZipCentralEntryInfo const& entry = reader->currentEntry;
  state->localExtraOffset = local.extraOffset;
  state->localExtraSize = local.extraSize;
  state->crc32Expected = entry.crc32;
  state->compressionMethod = entry.compressionMethod;
  state->restCompressed = entry.compressedSize;
  state->restUncompressed = entry.uncompressedSize;
  state->stream = reader->stream.get();
  state->byteBeforeTheArchive = reader->byteBeforeTheArchive;
  if (state->compressionMethod != ZIP_METHOD_STORED) StartInflate(*state);
  state->encrypted = (entry.flags & ZIP_FLAG_ENCRYPTED) != 0;
  state->encryptionHeaderLeft = state->encrypted ? ZIP_ENCRYPTION_HEADER_SIZE : 0;
  state->checkByte = CheckByteOf(entry);
  InitKeys(state->keys, password);
  state->dataPosition = reader->currentLocalHeaderOffset + ZIP_LOCAL_HEADER_SIZE + local.nameAndExtraLength;
  reader->entryReadState = std::move(state);
  return ZIP_OK;
}

int ReadCurrentEntry(ZipArchiveReader* reader, void* out, std::uint32_t size, bool* endOfEntry) {
  if (endOfEntry != nullptr) *endOfEntry = false;
  if (reader == nullptr || reader->entryReadState == nullptr) return ZIP_BAD_PARAMETER;
  ZipEntryReadState& state = *reader->entryReadState;
  if (state.readBuffer == nullptr) return ZIP_NO_READ_BUFFER;
  std::uint32_t const wanted = std::min(size, state.restUncompressed);
  // Deliberate: An entry of length 0 does not report its end. Expected: the flag at once.
  // Test: ZipEntryReadingTest.AnEntryOfLengthZeroNeverReportsItsEnd
  if (wanted == 0) return 0;

  state.inflateStream.next_out = static_cast<BYTE*>(out);
  state.inflateStream.avail_out = wanted;
  bool atEnd = false;
  int const code = FillOutput(state, atEnd);
  if (endOfEntry != nullptr) *endOfEntry = atEnd;
  return code != ZIP_OK ? code : static_cast<int>(wanted - state.inflateStream.avail_out);
}

int CloseCurrentEntry(ZipArchiveReader* reader) {
  if (reader == nullptr || reader->entryReadState == nullptr) return ZIP_BAD_PARAMETER;
  ZipEntryReadState const& state = *reader->entryReadState;
  bool const mismatch = state.restUncompressed == 0 && state.crc32 != state.crc32Expected;
  ReleaseEntryReadState(reader);
  return mismatch ? ZIP_CRC_MISMATCH : ZIP_OK;
}

void ReleaseEntryReadState(ZipArchiveReader* reader) { reader->entryReadState.reset(); }
