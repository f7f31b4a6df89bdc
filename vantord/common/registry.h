// The registry under HKEY_LOCAL_MACHINE. Every call opens and closes its own key; key paths are relative to the hive.
// All answer true on success and log their own failure, always (no zone gates them).
#pragma once

#include <windows.h>

#include <vector>

#include "vantord/common/wide_string.h"

/// Reads a 4-byte value. Its type is neither asked for nor checked; a value of any other size is a failure.
/// `value` is written on success only. A missing key is created, empty.
bool SGetRegistryDWORD(const WCHAR* keyPath, const WCHAR* valueName, DWORD& value);

/// Writes a REG_DWORD; creates the key when it is missing.
[[nodiscard]] bool SSetRegistryDWORD(const WCHAR* keyPath, const WCHAR* valueName, DWORD value);

/// Reads a text into `buffer` of `bufferBytes` bytes, at least 2. The buffer's last character is forced to 0, whatever
/// was read, also when the read fails; a value larger than the buffer is a failure. The caller zeroes the buffer
/// beforehand. A missing key is created, empty. A key that cannot be opened leaves the buffer alone and logs nothing.
[[nodiscard]] bool SGetRegistrySZ(const WCHAR* keyPath, const WCHAR* valueName, WCHAR* buffer, DWORD bufferBytes);

/// Writes a REG_SZ with its terminator; creates the key when it is missing.
[[nodiscard]] bool SSetRegistrySZ(const WCHAR* keyPath, const WCHAR* valueName, const WCHAR* text);

/// Deletes a value of an existing key.
[[nodiscard]] bool SRegistryDeleteValue(const WCHAR* keyPath, const WCHAR* valueName);

/// Appends the names of an existing key's sub-keys to `names`, which is never cleared. No sub-keys is a failure, and
/// so is a lack of memory; the names before it stay appended.
[[nodiscard]] bool SRegistrySubKeys(const WCHAR* keyPath, std::vector<WideString>& names);
