// Version information of executables.
#pragma once

#include <winbase.h>

struct VS_FIXEDFILEINFO {
  DWORD dwSignature;  ///< 0xFEEF04BD
  DWORD dwStrucVersion;
  DWORD dwFileVersionMS;
  DWORD dwFileVersionLS;
  DWORD dwProductVersionMS;
  DWORD dwProductVersionLS;
  DWORD dwFileFlagsMask;
  DWORD dwFileFlags;
  DWORD dwFileOS;
  DWORD dwFileType;
  DWORD dwFileSubtype;
  DWORD dwFileDateMS;
  DWORD dwFileDateLS;
};
static_assert(sizeof(VS_FIXEDFILEINFO) == 52);

extern "C" {
DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR fileName, LPDWORD ignored);
BOOL WINAPI GetFileVersionInfoW(LPCWSTR fileName, DWORD ignored, DWORD bytes, LPVOID data);
BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* buffer, PUINT length);
}
