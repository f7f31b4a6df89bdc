#include "vantord/crash/file_helpers.h"

#include <cwchar>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/wide_format.h"

namespace {

/// A failure is only logged.
/// Deliberate: A file that exists in the destination is not replaced, and no file is copied to another volume; it stays
/// where it is. Expected: a replacement, and a copy.
/// Test: FileHelpersTest.AFileThatIsThereAlreadyIsNotReplacedAndTheRestIsMoved,
/// FileHelpersTest.AnotherVolumeIsOutOfReach
void MoveEntry(const WCHAR* sourceFolder, const WCHAR* destinationFolder, const WCHAR* name) {
  WCHAR source[MAX_PATH] = {};
  WCHAR destination[MAX_PATH] = {};
  FormatWideTo(source, TEXT("%s\\%s"), sourceFolder, name);
  FormatWideTo(destination, TEXT("%s\\%s"), destinationFolder, name);
  HelperDebugPrint(TEXT("%S:%d : Moving '%s' to '%s'"), "CopyMoveFiles", 1874, source, destination);
  if (::MoveFileExW(source, destination, 0) == FALSE) {
    HelperDebugPrint(TEXT("%S:%d : MoveFileEx error(%d)"), "CopyMoveFiles", 1877, ::GetLastError());
  }
}

}  // namespace

HRESULT CopyMoveFiles(const WCHAR* lpSrcPath, const WCHAR* lpFilter, const WCHAR* lpDestPath) {
  HelperDebugPrint(TEXT("%S:%d : lpSrcPath=%s, lpFilter=%s, lpDestPath=%s"), "CopyMoveFiles", 1841, lpSrcPath, lpFilter,
                   lpDestPath);
  WCHAR wcsSrcPath[MAX_PATH] = {};
  FormatWideTo(wcsSrcPath, TEXT("%s\\%s"), lpSrcPath, lpFilter);
  HelperDebugPrint(TEXT("%S:%d : wcsSrcPath=%s"), "CopyMoveFiles", 1842, wcsSrcPath);

  WIN32_FIND_DATAW entry = {};
  FindHandle const search(::FindFirstFileW(wcsSrcPath, &entry));
  if (!search) {
    HelperDebugPrint(TEXT("%S:%d : FindFirstFileW error(%d)"), "CopyMoveFiles", 1848, ::GetLastError());
    return E_INVALIDARG;
  }
  // Deliberate: A destination that could not be made does not end the function; every move then fails. Expected: a
  // failure at once.
  // Test: FileHelpersTest.WithoutADestinationEveryFileStays
  ::CreateDirectoryW(lpDestPath, nullptr);

  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) MoveEntry(lpSrcPath, lpDestPath, entry.cFileName);
  } while (::FindNextFileW(search.get(), &entry) != FALSE);

  // Deliberate: A listing that broke off is logged and still a success. Expected: a failure.
  // Test: FileHelpersTest.AListingThatBreaksOffIsStillASuccess
  DWORD const error = ::GetLastError();
  if (error != ERROR_NO_MORE_FILES) {
    HelperDebugPrint(TEXT("%S:%d : FindNextFile error(%d)"), "CopyMoveFiles", 1894, error);
  }
  return S_OK;
}

bool CreateDirectoryFull(const WCHAR* path) {
  // First of all: the reason why the caller's attempt failed.
  DWORD const error = ::GetLastError();
  if (error == ERROR_ALREADY_EXISTS) return true;
  if (error != ERROR_PATH_NOT_FOUND) {
    HelperDebugPrint(TEXT("%S:%d : Create Directory Failed: Err=%d path[%s]"), "CreateDirectoryFull", 4323, error,
                     path);
    return false;
  }
  HelperDebugPrint(TEXT("%S:%d : Creating Dir [%s]"), "CreateDirectoryFull", 4302, path);

  // Deliberate: One backslash at the path's end is ignored in the search for the parent; the folder itself is then
  // created by the path as given. Expected: one cleaned path for both.
  // Test: FileHelpersTest.AWholeChainIsMadeOfAPathThatEndsInABackslash,
  // FileHelpersTest.OnlyOneBackslashAtTheEndIsPassedOver
  WCHAR parent[MAX_PATH] = {};
  CopyWide(parent, MAX_PATH, path);
  std::size_t const length = wcslen(parent);
  if (length != 0 && parent[length - 1] == TEXT('\\')) parent[length - 1] = 0;

  // Deliberate: A path without a backslash returns true although nothing was created. Expected: a failure.
  // Test: FileHelpersTest.APathWithoutABackslashIsCalledMadeAndIsNot
  WCHAR* const backslash = wcsrchr(parent, TEXT('\\'));
  if (backslash == nullptr) return true;
  *backslash = 0;
  if (::CreateDirectoryW(parent, nullptr) == FALSE && !CreateDirectoryFull(parent)) return false;

  // Deliberate: A folder that another program creates meanwhile is a failure. Expected: a success.
  // Test: FileHelpersTest.AFolderThatAppearsAtTheLastMomentIsAFailure
  if (::CreateDirectoryW(path, nullptr) != FALSE) return true;
  HelperDebugPrint(TEXT("%S:%d : Create Directory Failed: Err=%d path[%s]"), "CreateDirectoryFull", 4315,
                   ::GetLastError(), path);
  return false;
}
