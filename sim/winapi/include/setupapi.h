// Device-interface enumeration.
#pragma once

#ifndef VANTORD_WINDOWS_H
#error "include <windows.h> first, as for Windows' own header"
#endif

using HDEVINFO = PVOID;
struct HWND__;
using HWND = HWND__*;

#define DIGCF_PRESENT 0x00000002u
#define DIGCF_DEVICEINTERFACE 0x00000010u

struct SP_DEVINFO_DATA;
using PSP_DEVINFO_DATA = SP_DEVINFO_DATA*;

struct SP_DEVICE_INTERFACE_DATA {
  DWORD cbSize;
  GUID InterfaceClassGuid;
  DWORD Flags;
  ULONG_PTR Reserved;
};
using PSP_DEVICE_INTERFACE_DATA = SP_DEVICE_INTERFACE_DATA*;
static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == 32);

struct SP_DEVICE_INTERFACE_DETAIL_DATA_W {
  DWORD cbSize;  ///< 8 on 64-bit Windows: the fixed part of the record, not the allocation
  WCHAR DevicePath[ANYSIZE_ARRAY];
};
using PSP_DEVICE_INTERFACE_DETAIL_DATA_W = SP_DEVICE_INTERFACE_DETAIL_DATA_W*;
static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W) == 8);

extern "C" {
HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, LPCWSTR enumerator, HWND parent, DWORD flags);
BOOL WINAPI SetupDiEnumDeviceInterfaces(HDEVINFO set, PSP_DEVINFO_DATA device, const GUID* interfaceClass, DWORD index,
                                        PSP_DEVICE_INTERFACE_DATA data);
BOOL WINAPI SetupDiGetDeviceInterfaceDetailW(HDEVINFO set, PSP_DEVICE_INTERFACE_DATA data,
                                             PSP_DEVICE_INTERFACE_DETAIL_DATA_W detail, DWORD detailSize,
                                             PDWORD requiredSize, PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set);
}
