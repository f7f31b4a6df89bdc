// One archive that is open for extraction; what stands behind a ZipHandle.
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

  /// Opens an archive file. UNZIP_ALREADY_OPEN when the object has one; UNZIP_FILE_FAILED. The other operations need
  /// an open archive.
  [[nodiscard]] DWORD Open(const WCHAR* archivePath);

  /// Describes entry `index`, or with -1 the archive. The entry of the latest call is answered again without a look
  /// at the archive. `entry` is written on success only. Does not return when a central header before `index` does not
  /// parse.
  [[nodiscard]] DWORD Get(INT index, ZipEntry& entry);

  /// Extracts entry `index`. A destination without root or drive is taken from the directory that was current at Open.
  [[nodiscard]] DWORD Unzip(INT index, const WCHAR* destination);

 private:
  [[nodiscard]] bool HasEntry(INT index) const;
  void CloseOpenEntry();
  void MoveTo(INT index);
  [[nodiscard]] DWORD Describe(INT index, ZipEntry& entry);
  [[nodiscard]] DWORD ExtractTo(HANDLE file, const ZipEntry& entry);
  [[nodiscard]] DWORD CopyEntry(HANDLE file, const ZipEntry& entry);

  std::unique_ptr<ZipArchiveReader> m_reader;
  INT m_openEntryIndex = -1;  ///< always -1 between calls: each closes what it opened
  ZipEntry m_cachedEntry = {};
  INT m_cachedIndex = -1;  ///< -1: nothing cached
  /// Kept on purpose: nobody sets one, so that encrypted entries fail; one would expect an operation for it. Pinned by
  /// ExtractionTest.AnEncryptedEntryFailsForWantOfAPassword.
  std::unique_ptr<char[]> m_password;
  std::unique_ptr<BYTE[]> m_extractionBuffer;  ///< made by the first extraction
  WCHAR m_rootDirectory[MAX_PATH] = {};        ///< current directory at Open, ends in a separator
};
