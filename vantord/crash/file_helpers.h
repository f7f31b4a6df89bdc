// Folders and files for the collection of crash dumps. Paths have at most 259 characters; both log every step.
#pragma once

#include <windows.h>

/// Moves the files of `lpSrcPath` that match `lpFilter` ("*.*") into `lpDestPath`, which is made when it is missing.
/// Folders stay, files that exist in the destination are not replaced, and a file that cannot be moved stays where it
/// is. E_INVALIDARG when the source cannot be listed, else S_OK, whatever became of the files.
[[nodiscard]] HRESULT CopyMoveFiles(const WCHAR* lpSrcPath, const WCHAR* lpFilter, const WCHAR* lpDestPath);

/// Makes a folder and its missing parents. To be called directly behind a CreateDirectoryW of the same path that has
/// failed: the thread's last error, which nothing may change in between, decides what there is to do. True when the
/// folder is there now, and for a path without a backslash.
[[nodiscard]] bool CreateDirectoryFull(const WCHAR* path);
