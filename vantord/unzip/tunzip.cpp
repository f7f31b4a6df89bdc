#include "vantord/unzip/tunzip.h"

#include <cstring>
#include <cwchar>
#include <new>
#include <utility>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/wide_format.h"
#include "vantord/unzip/ensure_directory.h"
#include "vantord/unzip/entry_facts.h"
#include "vantord/unzip/entry_name.h"

namespace {

constexpr std::uint32_t kExtractionBufferSize = 16384;
constexpr std::uint32_t kNarrowNameSize = 260;

/// Converts and cleans an entry's narrow name, which has kNarrowNameSize bytes and one more that is 0.
void StoreName(const char* narrow, WCHAR (&name)[MAX_PATH]) {
  // The terminator is converted too, and no byte makes more than one character: the text always fits.
  // Deliberate: The name is read as UTF-8 whatever the archive's flags say. Expected: code page 437 without flag bit
  // 11.
  // Test: ExtractionTest.NamesAreUtf8WhateverTheFlagsSay
  WCHAR wide[kNarrowNameSize + 1] = {};
  int const bytes = static_cast<int>(std::strlen(narrow)) + 1;
  ::MultiByteToWideChar(CP_UTF8, 0, narrow, bytes, wide, kNarrowNameSize + 1);
  CopyWide(name, MAX_PATH, CleanEntryName(wide));
}

/// The target of a file: its folder, relative to `base` unless that is null, and the whole path.
struct Target {
  const WCHAR* base;
  WCHAR folder[MAX_PATH];  ///< ends in a separator, or is empty
  WCHAR path[MAX_PATH];
};

void SplitDestination(const WCHAR* root, const WCHAR* destination, Target& target) {
  const WCHAR* const separator = LastSeparator(destination);
  const WCHAR* const name = separator == nullptr ? destination : separator + 1;
  CopyWide(target.folder, MAX_PATH, destination);
  auto const cut = static_cast<std::size_t>(name - destination);
  if (cut < MAX_PATH) target.folder[cut] = 0;

  if (separator != nullptr && IsAbsolutePath(target.folder)) {
    target.base = nullptr;
    FormatWideTo(target.path, TEXT("%s%s"), target.folder, name);
  } else {
    target.base = root;
    FormatWideTo(target.path, TEXT("%s%s%s"), root, target.folder, name);
  }
}

}  // namespace

TUnzip::~TUnzip() {
  if (m_reader == nullptr) return;
  if (m_openEntryIndex != -1) ReleaseEntryReadState(m_reader.get());
  m_openEntryIndex = -1;
  if (m_reader->entryReadState != nullptr) (void)CloseCurrentEntry(m_reader.get());
  CloseZipArchive(std::move(m_reader));
}

DWORD TUnzip::Open(const WCHAR* archivePath) {
  if (m_reader != nullptr || m_openEntryIndex != -1) return UNZIP_ALREADY_OPEN;
  ::GetCurrentDirectoryW(MAX_PATH, m_rootDirectory);
  std::size_t const length = wcslen(m_rootDirectory);
  bool const ended = length != 0 && IsSeparator(m_rootDirectory[length - 1]);
  if (!ended && length + 1 < MAX_PATH) CopyWide(m_rootDirectory + length, MAX_PATH - length, TEXT("\\"));

  std::unique_ptr<ZipInputStream> stream = lufopen(archivePath);
  if (stream == nullptr) return UNZIP_FILE_FAILED;
  m_reader = OpenZipArchive(std::move(stream));
  return m_reader == nullptr ? UNZIP_FILE_FAILED : UNZIP_OK;
}

DWORD TUnzip::Get(INT index, ZipEntry& entry) {
  if (index != -1 && !HasEntry(index)) return UNZIP_BAD_INDEX;
  CloseOpenEntry();
  if (index == m_cachedIndex && index != -1) {
    entry = m_cachedEntry;
    return UNZIP_OK;
  }
  if (index == -1) {
    entry = {};
    entry.index = static_cast<INT>(m_reader->numberOfEntries);
    return UNZIP_OK;
  }
  MoveTo(index);
  ZipEntry described = {};
  DWORD const result = Describe(index, described);
  if (result != UNZIP_OK) return result;
  entry = described;
  m_cachedEntry = described;
  m_cachedIndex = index;
  return UNZIP_OK;
}

DWORD TUnzip::Unzip(INT index, const WCHAR* destination) {
  CloseOpenEntry();
  if (!HasEntry(index)) return UNZIP_BAD_INDEX;
  // Get may use its cache and leave the cursor elsewhere.
  MoveTo(index);
  // Deliberate: An entry that cannot be described is extracted without attributes, and fails after its file has been
  // created. Expected: an end here.
  // Test: ExtractionTest.AnEntryThatCannotBeDescribedStillCreatesItsFile
  ZipEntry entry = {};
  (void)Get(index, entry);
  if ((entry.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    EnsureDirectory(IsAbsolutePath(destination) ? nullptr : m_rootDirectory, destination);
    return UNZIP_OK;
  }

  Target target = {};
  SplitDestination(m_rootDirectory, destination, target);
  EnsureDirectory(target.base, target.folder);
  // Deliberate: Progress is logged in the error zone. Expected: the detail zone.
  // Test: ExtractionTest.AnExtractionLogsItsProgressInTheErrorZone
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : %d (%s)"), "TUnzip::Unzip", 4189, 4189, target.path);
  // All access, share mode 0, the entry's own attributes.
  // Deliberate: The file is created, and an existing one emptied, before the entry is opened or checked. Expected: the
  // check first.
  // Test: ExtractionTest.AFailedExtractionHasAlreadyEmptiedTheFile
  FileHandle file(::CreateFileW(target.path, GENERIC_ALL, 0, nullptr, CREATE_ALWAYS, entry.attributes, nullptr));
  // Deliberate: Message 4193 appears even if the file could not be created. Expected: the message after a success only.
  // Test: ExtractionTest.TheLineBehindTheCreationComesAlsoWhenItFailed
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : %d"), "TUnzip::Unzip", 4193, 4193);
  if (!file) return UNZIP_FILE_FAILED;
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : %d"), "TUnzip::Unzip", 4195, 4195);
  DWORD const result = ExtractTo(file.get(), entry);
  // Deliberate: What was written of a failed entry stays. Expected: the removal of the file.
  // Test: ExtractionTest.AFileThatFailsPartWayStaysAsFarAsItWasWritten
  file.Close();
  // Deliberate: The CRC-32 is not checked. Expected: a failure if it differs.
  // Test: ExtractionTest.AStoredEntryWithAWrongCrcIsExtracted
  ReleaseEntryReadState(m_reader.get());
  return result;
}

bool TUnzip::HasEntry(INT index) const {
  // Signed: -1 must not become the largest index.
  return index >= 0 && index < static_cast<INT>(m_reader->numberOfEntries);
}

void TUnzip::CloseOpenEntry() {
  (void)CloseCurrentEntry(m_reader.get());  // its checksum is not looked at
  m_openEntryIndex = -1;
}

void TUnzip::MoveTo(INT index) {
  auto const wanted = static_cast<std::uint32_t>(index);
  if (wanted < m_reader->currentEntryNumber) (void)GoToFirstEntry(m_reader.get());
  // The number is read as volatile: a compiler may assume that any other loop ends.
  // Deliberate: The move to an entry never ends if the cursor has stopped at a central header that failed to parse.
  // Expected: an error.
  // Test: HangTest.AnEntryBehindABadCentralHeaderIsNeverReached
  std::uint32_t const volatile& current = m_reader->currentEntryNumber;
  while (current < wanted) GoToNextEntry(m_reader.get());
}

DWORD TUnzip::Describe(INT index, ZipEntry& entry) {
  char narrow[kNarrowNameSize + 1] = {};
  ZipCentralEntryInfo info;
  // Deliberate: An entry whose central header cannot be read again is described with what was read. Expected: a
  // failure.
  // Test: ExtractionTest.ABadLastCentralHeaderIsStillDescribed
  (void)GetCurrentEntryInfo(m_reader.get(), &info, nullptr, narrow, kNarrowNameSize);
  ZipLocalHeaderInfo local;
  if (CheckLocalHeader(m_reader.get(), local) != ZIP_OK) return UNZIP_BAD_HEADER;
  ZipInputStream& stream = *m_reader->stream;
  if (lufseek(stream, local.extraOffset + m_reader->byteBeforeTheArchive) != 0) return UNZIP_BAD_EXTRA;
  std::unique_ptr<BYTE[]> const extra(new (std::nothrow) BYTE[local.extraSize]);
  if (extra == nullptr) return UNZIP_BAD_EXTRA;
  if (lufread(extra.get(), 1, local.extraSize, stream) != local.extraSize) return UNZIP_BAD_EXTRA;

  entry.index = index;
  StoreName(narrow, entry.name);
  entry.attributes = EntryAttributes(info.versionMadeBy, info.externalAttributes);
  entry.compressedSize = static_cast<INT>(info.compressedSize);
  entry.uncompressedSize = static_cast<INT>(info.uncompressedSize);
  entry.accessTime = entry.creationTime = entry.writeTime = FileTimeFromDos(info.dosDateTime);
  ReadExtendedTimestamps(extra.get(), local.extraSize, entry.writeTime, entry.accessTime, entry.creationTime);
  return UNZIP_OK;
}

DWORD TUnzip::ExtractTo(HANDLE file, const ZipEntry& entry) {
  // Deliberate: A failed opening of the entry is ignored; the first read then fails. Expected: the code of the failed
  // opening.
  // Test: ExtractionTest.AnEntryThatCannotBeOpenedIsBadData
  (void)OpenCurrentEntry(m_reader.get(), m_password.get());
  if (m_extractionBuffer == nullptr) m_extractionBuffer.reset(new (std::nothrow) BYTE[kExtractionBufferSize]);
  if (m_extractionBuffer == nullptr) return UNZIP_BAD_DATA;
  return CopyEntry(file, entry);
}

DWORD TUnzip::CopyEntry(HANDLE file, const ZipEntry& entry) {
  for (;;) {
    bool endOfEntry = false;
    int const n = ReadCurrentEntry(m_reader.get(), m_extractionBuffer.get(), kExtractionBufferSize, &endOfEntry);
    if (n == ZIP_PASSWORD_MISMATCH) return UNZIP_BAD_PASSWORD;
    if (n < 0) return UNZIP_BAD_DATA;
    if (n > 0) {
      DWORD written = 0;
      if (!::WriteFile(file, m_extractionBuffer.get(), static_cast<DWORD>(n), &written, nullptr)) {
        return UNZIP_WRITE_FAILED;
      }
    }
    if (endOfEntry) {
      ::SetFileTime(file, &entry.creationTime, &entry.accessTime, &entry.writeTime);
      return UNZIP_OK;
    }
    // Deliberate: An empty entry never reports its end and fails here. Expected: a success.
    // Test: ExtractionTest.AnEmptyFileIsCreatedWithoutTimesAndFails
    if (n == 0) return UNZIP_BAD_DATA;
  }
}
