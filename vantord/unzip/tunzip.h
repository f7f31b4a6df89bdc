// One archive that is open for extraction; the object of a ZipHandle.
#pragma once

#include <windows.h>

#include <memory>

#include "vantord/unzip/unzip.h"
#include "vantord/unzip/zip_reader.h"

class TUnzip {
 public:
  TUnzip() = default;
  ~TUnzip();
  TUnzip(const TUnzip&) = delete;
  TUnzip& operator=(const TUnzip&) = delete;

  /// Opens an archive file. Returns UNZIP_ALREADY_OPEN if one is open, UNZIP_FILE_FAILED on failure. The other
  /// operations need an open archive.
  [[nodiscard]] DWORD Open(const WCHAR* archivePath);

  /// Describes entry `index`, or with -1 the archive. The entry of the last call is cached. `entry` is written on
  /// success only. Does not return if a central header before `index` failed to parse.
  [[nodiscard]] DWORD Get(INT index, ZipEntry& entry);

  /// Extracts entry `index`. A relative destination is resolved against the current directory at Open.
  [[nodiscard]] DWORD Unzip(INT index, const WCHAR* destination);

 private:
  [[nodiscard]] bool HasEntry(INT index) const;
  void CloseOpenEntry();
  void MoveTo(INT index);
  [[nodiscard]] DWORD Describe(INT index, ZipEntry& entry);
  [[nodiscard]] DWORD ExtractTo(HANDLE file, const ZipEntry& entry);
  [[nodiscard]] DWORD CopyEntry(HANDLE file, const ZipEntry& entry);

  std::unique_ptr<ZipArchiveReader> m_reader;
  INT m_openEntryIndex = -1;  ///< always -1 between calls: each closes its entry
  ZipEntry m_cachedEntry = {};
  INT m_cachedIndex = -1;  ///< -1: none
  /// Deliberate: No operation sets a password, so encrypted entries fail. Expected: such an operation.
  /// Test: ExtractionTest.AnEncryptedEntryFailsForWantOfAPassword
  std::unique_ptr<char[]> m_password;
  std::unique_ptr<BYTE[]> m_extractionBuffer;  ///< made by the first extraction
  WCHAR m_rootDirectory[MAX_PATH] = {};        ///< current directory at Open, ends in a separator
};
