// Reads a zip archive entry by entry: a cursor over the central directory, and the bytes of the current entry.
//
// The reader supports a single disk, 32-bit sizes and offsets, and stored and deflated entries. Some checks are
// stricter or looser than APPNOTE's; they are marked in the sources.
#pragma once

#include <windows.h>
#include <zlib.h>

#include <cstdint>
#include <memory>

#include "vantord/unzip/zip_decrypt.h"
#include "vantord/unzip/zip_stream.h"

/// Codes of the operations below. Reading an entry may also return zlib's negative codes.
inline constexpr int ZIP_OK = 0;
inline constexpr int ZIP_STREAM_FAILED = -1;        ///< a seek or read of the stream failed
inline constexpr int ZIP_NO_READ_BUFFER = -100;     ///< an open entry without a read buffer
inline constexpr int ZIP_BAD_PARAMETER = -102;      ///< no reader, no current entry, or no entry open
inline constexpr int ZIP_BAD_ARCHIVE = -103;        ///< bad signature, several disks, headers that disagree, the method
inline constexpr int ZIP_OUT_OF_MEMORY = -104;      ///< no memory for an entry
inline constexpr int ZIP_CRC_MISMATCH = -105;       ///< a completely read entry has another CRC-32 than declared
inline constexpr int ZIP_PASSWORD_MISMATCH = -106;  ///< the encryption header does not end with the check byte

inline constexpr std::uint32_t ZIP_LOCAL_HEADER_SIZE = 30;  ///< its name and extra field follow, then the data
inline constexpr std::uint32_t ZIP_READ_BUFFER_SIZE = 16384;
inline constexpr std::uint32_t ZIP_METHOD_STORED = 0;
inline constexpr std::uint32_t ZIP_METHOD_DEFLATED = 8;
inline constexpr std::uint32_t ZIP_FLAG_ENCRYPTED = 0x1;
inline constexpr std::uint32_t ZIP_FLAG_DATA_DESCRIPTOR = 0x8;  ///< CRC-32 and sizes follow the data

/// A central header, as read.
struct ZipCentralEntryInfo {
  std::uint32_t versionMadeBy = 0;  ///< the high byte is the host system
  std::uint32_t versionNeeded = 0;  ///< not checked
  std::uint32_t flags = 0;
  std::uint32_t compressionMethod = 0;
  std::uint32_t dosDateTime = 0;  ///< time in the low 16 bits, date in the high 16 bits
  std::uint32_t crc32 = 0;
  std::uint32_t compressedSize = 0;
  std::uint32_t uncompressedSize = 0;
  std::uint32_t nameLength = 0;
  std::uint32_t extraLength = 0;
  std::uint32_t commentLength = 0;
  std::uint32_t diskNumberStart = 0;     ///< not checked
  std::uint32_t internalAttributes = 0;  ///< not used
  std::uint32_t externalAttributes = 0;
  // dosDateTime broken down. month counts from 0 and wraps to 0xFFFFFFFF where the field is 0.
  std::uint32_t seconds = 0;
  std::uint32_t minutes = 0;
  std::uint32_t hours = 0;
  std::uint32_t day = 0;
  std::uint32_t month = 0;
  std::uint32_t year = 0;
};

/// Positions and sizes from a local header.
struct ZipLocalHeaderInfo {
  std::uint32_t nameAndExtraLength = 0;
  std::uint32_t extraOffset = 0;  ///< relative to the archive proper
  std::uint32_t extraSize = 0;
};

/// An entry that is open for reading.
struct ZipEntryReadState {
  ZipEntryReadState() = default;
  ~ZipEntryReadState();
  // zlib keeps a pointer to its stream: the state is not movable.
  ZipEntryReadState(const ZipEntryReadState&) = delete;
  ZipEntryReadState& operator=(const ZipEntryReadState&) = delete;

  std::unique_ptr<BYTE[]> readBuffer;  ///< ZIP_READ_BUFFER_SIZE bytes of the archive
  z_stream inflateStream = {};         ///< its input side (next_in, avail_in) also serves stored entries
  bool streamInitialised = false;      ///< inflateStream must be ended
  std::uint32_t dataPosition = 0;      ///< next compressed byte to read, relative to the archive proper
  std::uint32_t localExtraOffset = 0;  ///< relative to the archive proper
  std::uint32_t localExtraSize = 0;
  /// Deliberate: The position is always 0 and never used. Expected: the position of a reader of the extra field.
  /// Test: ZipEntryReadingTest.TheStateStartsWithWhatTheHeadersSay
  std::uint32_t localExtraPosition = 0;
  std::uint32_t crc32 = 0;             ///< of the bytes delivered so far
  std::uint32_t crc32Expected = 0;     ///< of the central header
  std::uint32_t restCompressed = 0;    ///< not yet read from the archive
  std::uint32_t restUncompressed = 0;  ///< not yet delivered
  ZipInputStream* stream = nullptr;    ///< the reader's
  std::uint32_t compressionMethod = 0;
  std::uint32_t byteBeforeTheArchive = 0;
  bool encrypted = false;
  ZipKeys keys = {};
  std::uint32_t encryptionHeaderLeft = 0;
  std::int8_t checkByte = 0;  ///< last byte of the encryption header if the password is right
};

/// An open archive. Its cursor is on an entry and moves only forward, except by GoToFirstEntry.
struct ZipArchiveReader {
  std::unique_ptr<ZipInputStream> stream;
  std::uint32_t numberOfEntries = 0;  ///< as the end record claims
  std::uint32_t commentSize = 0;      ///< not used
  /// Bytes of the file before the archive proper, added to every offset in the archive.
  std::uint32_t byteBeforeTheArchive = 0;
  std::uint32_t currentEntryNumber = 0;      ///< counted from 0
  std::uint32_t currentCentralPosition = 0;  ///< of the current central header, relative to the archive proper
  bool currentEntryOk = false;               ///< that header was parsed without an error
  std::uint32_t endRecordPosition = 0;
  std::uint32_t centralDirectorySize = 0;
  std::uint32_t centralDirectoryOffset = 0;
  ZipCentralEntryInfo currentEntry;
  std::uint32_t currentLocalHeaderOffset = 0;         ///< relative to the archive proper
  std::unique_ptr<ZipEntryReadState> entryReadState;  ///< null while no entry is open
};

/// Takes ownership of the stream; returns a reader positioned at entry 0, or null. An archive whose first central
/// header is missing or failed to parse gives a reader too.
[[nodiscard]] std::unique_ptr<ZipArchiveReader> OpenZipArchive(std::unique_ptr<ZipInputStream> stream);

/// Moves the cursor to entry 0 and parses its central header.
int GoToFirstEntry(ZipArchiveReader* reader);

/// Moves the cursor to the next entry. It stays at the last entry and never advances past a header that failed to
/// parse.
void GoToNextEntry(ZipArchiveReader* reader);

/// Reads the current central header again. Every out argument may be null. A name shorter than `nameSize` is stored
/// with a terminator; of any other the first `nameSize` bytes are stored, without a terminator.
int GetCurrentEntryInfo(const ZipArchiveReader* reader, ZipCentralEntryInfo* info, std::uint32_t* localHeaderOffset,
                        char* name, std::uint32_t nameSize);

/// Reads the current entry's local header and compares it with the central one. `local` is always written.
[[nodiscard]] int CheckLocalHeader(const ZipArchiveReader* reader, ZipLocalHeaderInfo& local);

/// Opens the current entry for reading; an open entry is closed first. `password` may be null.
[[nodiscard]] int OpenCurrentEntry(ZipArchiveReader* reader, const char* password);

/// Returns the number of bytes stored in `out` (at most `size`), or a negative code. `endOfEntry`, which may be null,
/// becomes true with the last bytes; an entry of length 0 never reports its end, nor does a stored one with too few
/// compressed bytes.
int ReadCurrentEntry(ZipArchiveReader* reader, void* out, std::uint32_t size, bool* endOfEntry);

/// Closes the open entry. Returns ZIP_CRC_MISMATCH if it was read completely and its CRC-32 differs from the declared
/// one.
int CloseCurrentEntry(ZipArchiveReader* reader);

/// Closes the open entry without a CRC check; does nothing if none is open.
void ReleaseEntryReadState(ZipArchiveReader* reader);

/// Releases the open entry, the stream and the reader.
void CloseZipArchive(std::unique_ptr<ZipArchiveReader> reader);
