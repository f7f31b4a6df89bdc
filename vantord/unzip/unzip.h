// Extraction of zip archives: open an archive by file name, describe an entry by index, extract an entry to a path.
// The archive format is PKWARE's APPNOTE.TXT (single disk, 32-bit sizes and offsets, stored and deflated entries).
#pragma once

#include <windows.h>

/// Codes of the operations below.
inline constexpr DWORD UNZIP_OK = 0;
inline constexpr DWORD UNZIP_FILE_FAILED = 0x00000200;   ///< archive unreadable, or output file not created
inline constexpr DWORD UNZIP_WRITE_FAILED = 0x00000400;  ///< the output file could not be written
inline constexpr DWORD UNZIP_BAD_HEADER = 0x00000700;    ///< local header disagrees, or method not supported
inline constexpr DWORD UNZIP_BAD_EXTRA = 0x00000800;     ///< local extra field could not be read
inline constexpr DWORD UNZIP_BAD_PASSWORD = 0x00001000;  ///< encrypted, and the check byte does not match
inline constexpr DWORD UNZIP_BAD_INDEX = 0x00010000;     ///< no such entry
inline constexpr DWORD UNZIP_BAD_HANDLE = 0x00080000;    ///< not an extraction handle
inline constexpr DWORD UNZIP_ALREADY_OPEN = 0x01000000;  ///< the object has an archive open
inline constexpr DWORD UNZIP_BAD_DATA = 0x05000000;      ///< data unreadable, or ended without an end; empty entries

/// One entry of an archive.
struct ZipEntry {
  INT index;              ///< entry number; for index -1 the number of entries
  WCHAR name[MAX_PATH];   ///< path inside the archive, cleaned; always terminated
  DWORD attributes;       ///< FILE_ATTRIBUTE_* bits: read-only, hidden, system, directory, archive
  FILETIME accessTime;    ///< UTC
  FILETIME creationTime;  ///< UTC
  FILETIME writeTime;     ///< UTC
  INT compressedSize;     ///< bytes
  INT uncompressedSize;   ///< bytes
};

class TUnzip;

/// An open archive. Made by OpenZipFile, released by CloseZipFile.
struct ZipHandle {
  DWORD kind;     ///< 1: an extraction handle; operations refuse any other
  TUnzip* unzip;  ///< owned
};

/// Code of the latest open, get or extract; 0 after a close. Process-wide, read by nothing in the service.
extern DWORD LastUnzipResult;

/// Opens an archive for extraction. Returns null if the file cannot be opened or is not a readable archive.
[[nodiscard]] ZipHandle* OpenZipFile(const WCHAR* archivePath);

/// Describes entry `index`; with index -1, `entry.index` is the number of entries. Does not return if a central header
/// before `index` failed to parse. `entry` is written on success only: callers zero it first.
DWORD GetZipEntry(ZipHandle* handle, INT index, ZipEntry& entry);

/// Extracts entry `index` to `destination` and creates missing folders. A folder entry creates a folder.
[[nodiscard]] DWORD UnzipZipEntry(ZipHandle* handle, INT index, const WCHAR* destination);

/// Releases the archive and the handle. Returns UNZIP_BAD_HANDLE for a handle of another kind, which stays.
DWORD CloseZipFile(ZipHandle* handle);
