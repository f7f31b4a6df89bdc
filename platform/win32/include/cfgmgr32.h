// The configuration manager's lists of device interfaces.
#pragma once

#ifndef VANTORD_WINDOWS_H
#error "include <windows.h> first, as for Windows' own header"
#endif

using CONFIGRET = DWORD;
using DEVINSTID_W = WCHAR*;
#define CR_SUCCESS 0x00000000u
#define CR_INVALID_POINTER 0x00000003u
#define CR_BUFFER_SMALL 0x0000001Au
#define CM_GET_DEVICE_INTERFACE_LIST_PRESENT 0x00000000u

extern "C" {
/// Length in characters of the multi-string, its final terminator included; 1 for an empty list.
CONFIGRET WINAPI CM_Get_Device_Interface_List_SizeW(PULONG length, LPGUID interfaceClass, DEVINSTID_W device,
                                                    ULONG flags);
CONFIGRET WINAPI CM_Get_Device_Interface_ListW(LPGUID interfaceClass, DEVINSTID_W device, PWSTR buffer, ULONG length,
                                               ULONG flags);
}
