// Creation of the folders that an entry is extracted into.
#pragma once

#include <windows.h>

/// Creates `base`, when it is not null, and below it every missing folder of `folder`, from the top down. A base is
/// put in front of the folder as it stands, so it ends in a separator. Paths are cut at 259 characters. Failures are
/// ignored.
void EnsureDirectory(const WCHAR* base, const WCHAR* folder);
