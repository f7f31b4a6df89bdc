// The registry under HKEY_LOCAL_MACHINE. Every call opens and closes its own key; key paths are relative to the hive.
// Each returns true on success and logs its own failure, whatever the zones are.
#pragma once

#include <windows.h>

#include <vector>

#include "vantord/common/wide_string.h"

/// Reads a 4-byte value. The type is not checked; a value of any other size is a failure. `value` is written on success
/// only. A missing key is created, empty.
bool SGetRegistryDWORD(const WCHAR* keyPath, const WCHAR* valueName, DWORD& value);

/// Writes a REG_DWORD; creates a missing key.
[[nodiscard]] bool SSetRegistryDWORD(const WCHAR* keyPath, const WCHAR* valueName, DWORD value);

/// Reads a text into `buffer` of `bufferBytes` bytes, at least 2. The buffer's last character becomes 0, after a failed
/// read too; a value larger than the buffer is a failure. The caller zeroes the buffer first. A missing key is created,
/// empty. If the key cannot be opened, the buffer is unchanged and nothing is logged.
[[nodiscard]] bool SGetRegistrySZ(const WCHAR* keyPath, const WCHAR* valueName, WCHAR* buffer, DWORD bufferBytes);

/// Writes a REG_SZ with its terminator; creates a missing key.
[[nodiscard]] bool SSetRegistrySZ(const WCHAR* keyPath, const WCHAR* valueName, const WCHAR* text);

/// Deletes a value of an existing key.
[[nodiscard]] bool SRegistryDeleteValue(const WCHAR* keyPath, const WCHAR* valueName);

/// Appends the names of an existing key's sub-keys to `names`, which is not cleared. No sub-keys and no memory are
/// failures; names appended before a failure stay.
[[nodiscard]] bool SRegistrySubKeys(const WCHAR* keyPath, std::vector<WideString>& names);
