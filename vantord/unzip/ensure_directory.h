// Creation of the folders that an entry is extracted into.
#pragma once

#include <windows.h>

/// Creates `base`, if it is not null, and below it every missing folder of `folder`, from the top down. The base ends
/// in a separator; the folder is appended to it. Paths are cut at 259 characters. Failures are ignored.
void EnsureDirectory(const WCHAR* base, const WCHAR* folder);
