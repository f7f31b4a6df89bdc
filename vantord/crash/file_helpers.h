// Folders and files for the collection of crash dumps. Paths have at most 259 characters; both log every step.
#pragma once

#include <windows.h>

/// Moves the files of `lpSrcPath` that match `lpFilter` ("*.*") into `lpDestPath`, which is created if it is missing.
/// Folders stay, and so does a file that exists in the destination or cannot be moved. Returns E_INVALIDARG if the
/// source cannot be listed, else S_OK.
[[nodiscard]] HRESULT CopyMoveFiles(const WCHAR* lpSrcPath, const WCHAR* lpFilter, const WCHAR* lpDestPath);

/// Creates a folder and its missing parents. Call right after CreateDirectoryW failed on `path`; its last error selects
/// the action. Returns true if the folder exists now, and for a path without a backslash.
[[nodiscard]] bool CreateDirectoryFull(const WCHAR* path);
