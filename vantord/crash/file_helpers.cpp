#include "vantord/crash/file_helpers.h"

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/wide_format.h"

namespace {

/// A failure shows in the log only.
/// Kept on purpose: one would expect a file that is there already to be replaced, and a move to another volume to copy.
/// Neither happens; such a file stays where it is. Pinned by the tests
/// FileHelpersTest.AFileThatIsThereAlreadyIsNotReplacedAndTheRestIsMoved and AnotherVolumeIsOutOfReach.
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
  // Kept on purpose: one would expect a folder that cannot be made to end it; every move then fails on its own. Pinned
  // by the test FileHelpersTest.WithoutADestinationEveryFileStays.
  ::CreateDirectoryW(lpDestPath, nullptr);

  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) MoveEntry(lpSrcPath, lpDestPath, entry.cFileName);
  } while (::FindNextFileW(search.get(), &entry) != FALSE);

  // Kept on purpose: one would expect a listing that broke off to be a failure of the whole; it is logged and
  // forgotten. Pinned by the test FileHelpersTest.AListingThatBreaksOffIsStillASuccess.
  DWORD const error = ::GetLastError();
  if (error != ERROR_NO_MORE_FILES) {
    HelperDebugPrint(TEXT("%S:%d : FindNextFile error(%d)"), "CopyMoveFiles", 1894, error);
  }
  return S_OK;
}

bool CreateDirectoryFull(const WCHAR* path) {
  // Before anything else: it tells why the caller's attempt has failed.
  DWORD const error = ::GetLastError();
  if (error == ERROR_ALREADY_EXISTS) return true;
  if (error != ERROR_PATH_NOT_FOUND) {
    HelperDebugPrint(TEXT("%S:%d : Create Directory Failed: Err=%d path[%s]"), "CreateDirectoryFull", 4323, error,
                     path);
    return false;
  }
  HelperDebugPrint(TEXT("%S:%d : Creating Dir [%s]"), "CreateDirectoryFull", 4302, path);

  // Kept on purpose: one would expect the path to be cleaned once; a single backslash at its end counts for nothing in
  // the search for the parent, and the folder itself is then made of the path as it came. Pinned by the tests
  // FileHelpersTest.AWholeChainIsMadeOfAPathThatEndsInABackslash and OnlyOneBackslashAtTheEndIsPassedOver.
  WCHAR parent[MAX_PATH] = {};
  CopyWide(parent, MAX_PATH, path);
  std::size_t const length = wcslen(parent);
  if (length != 0 && parent[length - 1] == TEXT('\\')) parent[length - 1] = 0;

  // Kept on purpose: one would expect a failure, since nothing is made. Pinned by the test
  // FileHelpersTest.APathWithoutABackslashIsCalledMadeAndIsNot.
  WCHAR* const backslash = wcsrchr(parent, TEXT('\\'));
  if (backslash == nullptr) return true;
  *backslash = 0;
  if (::CreateDirectoryW(parent, nullptr) == FALSE && !CreateDirectoryFull(parent)) return false;

  // Kept on purpose: one would expect a folder that somebody else has made meanwhile to be welcome; it counts as a
  // failure. Pinned by the test FileHelpersTest.AFolderThatAppearsAtTheLastMomentIsAFailure.
  if (::CreateDirectoryW(path, nullptr) != FALSE) return true;
  HelperDebugPrint(TEXT("%S:%d : Create Directory Failed: Err=%d path[%s]"), "CreateDirectoryFull", 4315,
                   ::GetLastError(), path);
  return false;
}
