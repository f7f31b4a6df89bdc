// The basic types of the Windows API, at Windows' own widths: a 32-bit DWORD and LONG, a 16-bit WCHAR.
#pragma once

#include <cstddef>
#include <cstdint>

#if !defined(UNICODE)
#error "Vantord is built with UNICODE defined, as every build of it is"
#endif

#define WINAPI
#define CALLBACK
#define APIENTRY WINAPI
#define CONST const

#define FALSE 0
#define TRUE 1
#define MAX_PATH 260

using BOOL = std::int32_t;
using BYTE = std::uint8_t;
using UCHAR = std::uint8_t;
using BOOLEAN = std::uint8_t;
using CHAR = char;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORD64 = std::uint64_t;
using ULONG64 = std::uint64_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using UINT_PTR = std::uintptr_t;
using DWORD_PTR = ULONG_PTR;
using SIZE_T = std::size_t;
using WCHAR = char16_t;
using HRESULT = LONG;
using LSTATUS = LONG;

using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using PBOOL = BOOL*;
using LPBOOL = BOOL*;
using PBYTE = BYTE*;
using LPBYTE = BYTE*;
using PUCHAR = UCHAR*;
using PUINT = UINT*;
using PLONG = LONG*;
using LPLONG = LONG*;
using PULONG = ULONG*;
using PDWORD = DWORD*;
using LPDWORD = DWORD*;
using PSTR = char*;
using LPSTR = char*;
using PCSTR = const char*;
using LPCSTR = const char*;
using PWSTR = WCHAR*;
using LPWSTR = WCHAR*;
using PCWSTR = const WCHAR*;
using LPCWSTR = const WCHAR*;
using LPCCH = const char*;
using LPWCH = WCHAR*;

using HANDLE = void*;
using PHANDLE = HANDLE*;
using HLOCAL = HANDLE;

struct HINSTANCE__;
using HMODULE = HINSTANCE__*;

// The registry's handles are a type of their own, as under STRICT.
struct HKEY__;
using HKEY = HKEY__*;
using PHKEY = HKEY*;

struct FILETIME {
  DWORD dwLowDateTime;  ///< low half of a count of 100 ns steps since 1601-01-01 UTC
  DWORD dwHighDateTime;
};
using PFILETIME = FILETIME*;
using LPFILETIME = FILETIME*;

static_assert(sizeof(WCHAR) == 2 && sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(BOOL) == 4);
static_assert(sizeof(HANDLE) == 8, "only 64-bit builds exist");
static_assert(sizeof(FILETIME) == 8);

#define LOWORD(l) (static_cast<WORD>(static_cast<DWORD_PTR>(l) & 0xffff))
#define HIWORD(l) (static_cast<WORD>((static_cast<DWORD_PTR>(l) >> 16) & 0xffff))
