// The path under which an entry is extracted.
#pragma once

#include <windows.h>

/// Returns the part of an entry's name that is used: without drive prefix, leading separators and everything up to the
/// last "..". The result points into `name`. "C:\x\y.bin" is "x\y.bin", "/etc/z" is "etc/z", "a/../b" is "b"; a leading
/// "../" and a trailing "\.." stay.
[[nodiscard]] const WCHAR* CleanEntryName(const WCHAR* name);

inline bool IsSeparator(WCHAR character) { return character == TEXT('\\') || character == TEXT('/'); }

/// True if the path begins with a separator or a drive.
[[nodiscard]] bool IsAbsolutePath(const WCHAR* path);

/// The last separator of a path, or null.
[[nodiscard]] const WCHAR* LastSeparator(const WCHAR* path);
