#include "vantord/unzip/zip_reader.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

constexpr std::uint32_t kCentralHeaderSignature = 0x02014b50;
constexpr std::uint32_t kLocalHeaderSignature = 0x04034b50;
constexpr std::uint32_t kCentralHeaderSize = 46;

constexpr std::uint32_t kNotFound = 0xFFFFFFFF;
constexpr std::uint32_t kLongestSearch = 65535;
constexpr std::uint32_t kSearchWindow = 1024 + 4;

/// Reads fields in sequence and keeps the error: a failed read outweighs a mismatch, and neither stops the reading of
/// the other fields.
class FieldReader {
 public:
  explicit FieldReader(ZipInputStream& stream) : m_stream(stream) {}

  std::uint32_t U16() { return Take(&ReadU16); }
  std::uint32_t U32() { return Take(&ReadU32); }
  void Require(bool holds) {
    if (!holds && m_code == ZIP_OK) m_code = ZIP_BAD_ARCHIVE;
  }
  void Fail() { m_code = ZIP_STREAM_FAILED; }
  int code() const { return m_code; }

 private:
  std::uint32_t Take(int (*read)(ZipInputStream&, std::uint32_t&)) {
    std::uint32_t value = 0;
    if (read(m_stream, value) != 0) Fail();
    return value;
  }

  ZipInputStream& m_stream;
  int m_code = ZIP_OK;
};

/// The last end-of-central-directory signature among the bytes, or kNotFound.
std::uint32_t LastEndSignature(const BYTE* bytes, std::uint32_t size) {
  for (std::uint32_t i = size - 4 + 1; i-- > 0;) {
    if (bytes[i] == 0x50 && bytes[i + 1] == 0x4B && bytes[i + 2] == 0x05 && bytes[i + 3] == 0x06) return i;
  }
  return kNotFound;
}

/// The position of the end-of-central-directory record, or kNotFound.
std::uint32_t FindEndRecord(ZipInputStream& stream) {
  if (stream.isHandle && !stream.canSeek) return kNotFound;
  std::uint32_t const size = SeekToEnd(stream);
  std::uint32_t const limit = std::min(kLongestSearch, size);
  if (limit <= 4) return kNotFound;
  std::unique_ptr<BYTE[]> const window(new (std::nothrow) BYTE[kSearchWindow]);
  if (window == nullptr) return kNotFound;

  // Deliberate: Only the last 1028 bytes are searched. Expected: a search through the longest comment, 65535 bytes.
  // Test: ZipReaderTest.ACommentOf1006BytesIsTheLongestThatIsFound
  std::uint32_t const readSize = std::min(kSearchWindow, limit);
  std::uint32_t const readPosition = size - readSize;
  if (lufseek(stream, readPosition) != 0) return kNotFound;
  if (lufread(window.get(), readSize, 1, stream) != 1) return kNotFound;
  std::uint32_t const index = LastEndSignature(window.get(), readSize);
  return index == kNotFound ? kNotFound : readPosition + index;
}

/// Reads the end record into the reader.
int ReadEndRecord(ZipArchiveReader& reader) {
  FieldReader fields(*reader.stream);
  reader.endRecordPosition = FindEndRecord(*reader.stream);
  if (reader.endRecordPosition == kNotFound) fields.Fail();
  // Deliberate: Without an end record its fields are still read, from the stream's position; the archive is refused
  // after that. Expected: an end here.
  // Test: ExtractionTest.WithoutAnEndRecordItsFieldsAreReadAllTheSame
  if (lufseek(*reader.stream, reader.endRecordPosition) != 0) fields.Fail();
  // Deliberate: The end record's signature is not compared again, although the seek before it proves nothing. Expected:
  // a comparison.
  // Test: ExtractionTest.TheEndRecordsSignatureIsNotLookedAtAgain
  (void)fields.U32();
  std::uint32_t const thisDisk = fields.U16();
  std::uint32_t const directoryDisk = fields.U16();
  // Deliberate: The number of entries is not compared with the directory's size. Expected: a comparison.
  // Test: HangTest.AnEndRecordThatClaimsTwoEntriesTooManyHangsAtTheSecondOne
  reader.numberOfEntries = fields.U16();
  std::uint32_t const totalEntries = fields.U16();
  fields.Require(totalEntries == reader.numberOfEntries && thisDisk == 0 && directoryDisk == 0);
  reader.centralDirectorySize = fields.U32();
  reader.centralDirectoryOffset = fields.U32();
  reader.commentSize = fields.U16();
  return fields.code();
}

void BreakDownDosTime(ZipCentralEntryInfo& info) {
  std::uint32_t const d = info.dosDateTime;
  info.seconds = (d & 31) * 2;
  info.minutes = (d >> 5) & 63;
  info.hours = (d >> 11) & 31;
  info.day = (d >> 16) & 31;
  info.month = ((d >> 21) & 15) - 1;
  info.year = (d >> 25) + 1980;
}

/// A name is read as items of one byte, so that an empty name is a complete read.
void ReadName(FieldReader& fields, ZipInputStream& stream, std::uint32_t nameLength, char* name,
              std::uint32_t nameSize) {
  std::uint32_t const stored = std::min(nameLength, nameSize);
  // Deliberate: A name that fills the buffer has no terminator. Expected: a terminator in the last byte.
  // Test: ZipReaderTest.ANameOf260BytesFillsTheBufferWithoutATerminator
  if (nameLength < nameSize) name[nameLength] = 0;
  if (lufread(name, 1, stored, stream) != stored) fields.Fail();
}

/// Parses the current central header into the cursor's own record.
int ParseCurrentEntry(ZipArchiveReader& reader) {
  return GetCurrentEntryInfo(&reader, &reader.currentEntry, &reader.currentLocalHeaderOffset, nullptr, 0);
}

}  // namespace

std::unique_ptr<ZipArchiveReader> OpenZipArchive(std::unique_ptr<ZipInputStream> stream) {
  if (stream == nullptr) return nullptr;
  std::unique_ptr<ZipArchiveReader> reader(new (std::nothrow) ZipArchiveReader);
  if (reader == nullptr) return nullptr;
  reader->stream = std::move(stream);
  if (ReadEndRecord(*reader) != ZIP_OK) return nullptr;

  std::uint32_t const endRecord = reader->stream->initialOffset + reader->endRecordPosition;
  std::uint32_t const directoryEnd = reader->centralDirectoryOffset + reader->centralDirectorySize;
  if (endRecord < directoryEnd) return nullptr;
  reader->byteBeforeTheArchive = endRecord - directoryEnd;
  reader->stream->initialOffset = 0;  // included in byteBeforeTheArchive now

  // Deliberate: An archive opens even if its first central header fails to parse. Expected: a refusal.
  // Test: ZipReaderTest.AnArchiveWhoseFirstCentralHeaderIsBadStillOpens
  (void)GoToFirstEntry(reader.get());
  return reader;
}

int GoToFirstEntry(ZipArchiveReader* reader) {
  if (reader == nullptr) return ZIP_BAD_PARAMETER;
  reader->currentCentralPosition = reader->centralDirectoryOffset;
  reader->currentEntryNumber = 0;
  int const code = ParseCurrentEntry(*reader);
  reader->currentEntryOk = code == ZIP_OK;
  return code;
}

void GoToNextEntry(ZipArchiveReader* reader) {
  // Deliberate: The cursor never advances past a header that failed to parse, and does not report it. Expected: an
  // error.
  // Test: HangTest.AnEntryBehindABadCentralHeaderIsNeverReached
  if (reader == nullptr || !reader->currentEntryOk) return;
  if (reader->currentEntryNumber + 1 == reader->numberOfEntries) return;
  ZipCentralEntryInfo const& current = reader->currentEntry;
  reader->currentCentralPosition +=
      kCentralHeaderSize + current.nameLength + current.extraLength + current.commentLength;
  reader->currentEntryNumber += 1;
  reader->currentEntryOk = ParseCurrentEntry(*reader) == ZIP_OK;
}

int GetCurrentEntryInfo(const ZipArchiveReader* reader, ZipCentralEntryInfo* info, std::uint32_t* localHeaderOffset,
                        char* name, std::uint32_t nameSize) {
  if (reader == nullptr) return ZIP_BAD_PARAMETER;
  ZipInputStream& stream = *reader->stream;
  if (lufseek(stream, reader->byteBeforeTheArchive + reader->currentCentralPosition) != 0) return ZIP_STREAM_FAILED;

  FieldReader fields(stream);
  fields.Require(fields.U32() == kCentralHeaderSignature);
  ZipCentralEntryInfo read;
  read.versionMadeBy = fields.U16();
  read.versionNeeded = fields.U16();
  read.flags = fields.U16();
  read.compressionMethod = fields.U16();
  read.dosDateTime = fields.U32();
  BreakDownDosTime(read);
  read.crc32 = fields.U32();
  read.compressedSize = fields.U32();
  read.uncompressedSize = fields.U32();
  read.nameLength = fields.U16();
  read.extraLength = fields.U16();
  read.commentLength = fields.U16();
  read.diskNumberStart = fields.U16();
  read.internalAttributes = fields.U16();
  read.externalAttributes = fields.U32();
  std::uint32_t const offset = fields.U32();
  if (name != nullptr) ReadName(fields, stream, read.nameLength, name, nameSize);

  // A header with another signature is stored too: the cursor uses its fields.
  if (info != nullptr) *info = read;
  if (localHeaderOffset != nullptr) *localHeaderOffset = offset;
  return fields.code();
}

int CheckLocalHeader(const ZipArchiveReader* reader, ZipLocalHeaderInfo& local) {
  local = {};
  if (reader == nullptr) return ZIP_BAD_PARAMETER;
  ZipInputStream& stream = *reader->stream;
  ZipCentralEntryInfo const& central = reader->currentEntry;
  if (lufseek(stream, reader->currentLocalHeaderOffset + reader->byteBeforeTheArchive) != 0) return ZIP_STREAM_FAILED;

  FieldReader fields(stream);
  fields.Require(fields.U32() == kLocalHeaderSignature);
  // Deliberate: The version needed, the time and the name are not compared. Expected: a comparison of all fields.
  // Test: ZipReaderTest.VersionTimeAndNameOfTheLocalHeaderMayDiffer
  [[maybe_unused]] std::uint32_t const versionNeeded = fields.U16();
  std::uint32_t const flags = fields.U16();
  std::uint32_t const method = fields.U16();
  fields.Require(method == central.compressionMethod && (method & ~ZIP_METHOD_DEFLATED) == ZIP_METHOD_STORED);
  [[maybe_unused]] std::uint32_t const dosDateTime = fields.U32();
  bool const declaredLater = (flags & ZIP_FLAG_DATA_DESCRIPTOR) != 0;
  std::uint32_t const crc32 = fields.U32();
  std::uint32_t const compressedSize = fields.U32();
  std::uint32_t const uncompressedSize = fields.U32();
  fields.Require(declaredLater || crc32 == central.crc32);
  fields.Require(declaredLater || compressedSize == central.compressedSize);
  fields.Require(declaredLater || uncompressedSize == central.uncompressedSize);
  std::uint32_t const nameLength = fields.U16();
  fields.Require(nameLength == central.nameLength);
  std::uint32_t const extraLength = fields.U16();

  local.nameAndExtraLength = nameLength + extraLength;
  local.extraOffset = reader->currentLocalHeaderOffset + ZIP_LOCAL_HEADER_SIZE + nameLength;
  local.extraSize = extraLength;
  return fields.code();
}

void CloseZipArchive(std::unique_ptr<ZipArchiveReader> reader) { reader.reset(); }
