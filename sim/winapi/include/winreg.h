// Registry calls. Each returns its Windows error code and leaves the last error alone.
#pragma once

#include <winbase.h>

#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG_PTR>(-2147483646))))

using REGSAM = DWORD;

extern "C" {
LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR classText, DWORD options, REGSAM access,
                               const LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition);
LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result);
LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR valueName, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                LPDWORD dataBytes);
LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR valueName, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD dataBytes);
LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR valueName);
LSTATUS WINAPI RegQueryInfoKeyW(HKEY key, LPWSTR classText, LPDWORD classLength, LPDWORD reserved, LPDWORD subKeys,
                                LPDWORD longestSubKey, LPDWORD longestClass, LPDWORD values, LPDWORD longestValueName,
                                LPDWORD longestValueData, LPDWORD securityBytes, PFILETIME lastWrite);
LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved, LPWSTR classText,
                             LPDWORD classLength, PFILETIME lastWrite);
LSTATUS WINAPI RegCloseKey(HKEY key);
}
