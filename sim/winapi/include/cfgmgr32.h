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

struct HCMNOTIFICATION__;
using HCMNOTIFICATION = HCMNOTIFICATION__*;
using PHCMNOTIFICATION = HCMNOTIFICATION*;

#define MAX_DEVICE_ID_LEN 200

enum CM_NOTIFY_FILTER_TYPE {
  CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE = 0,
  CM_NOTIFY_FILTER_TYPE_DEVICEHANDLE,
  CM_NOTIFY_FILTER_TYPE_DEVICEINSTANCE,
};

struct CM_NOTIFY_FILTER {
  DWORD cbSize;
  DWORD Flags;
  CM_NOTIFY_FILTER_TYPE FilterType;
  DWORD Reserved;
  union {
    struct {
      GUID ClassGuid;
    } DeviceInterface;
    struct {
      HANDLE hTarget;
    } DeviceHandle;
    struct {
      WCHAR InstanceId[MAX_DEVICE_ID_LEN];
    } DeviceInstance;
  } u;
};
using PCM_NOTIFY_FILTER = CM_NOTIFY_FILTER*;
static_assert(sizeof(CM_NOTIFY_FILTER) == 416);

// Of any number: the configuration manager may send actions that are younger than this list.
enum CM_NOTIFY_ACTION : int {
  CM_NOTIFY_ACTION_DEVICEINTERFACEARRIVAL = 0,
  CM_NOTIFY_ACTION_DEVICEINTERFACEREMOVAL,
};

struct CM_NOTIFY_EVENT_DATA {
  CM_NOTIFY_FILTER_TYPE FilterType;
  DWORD Reserved;
  union {
    struct {
      GUID ClassGuid;
      WCHAR SymbolicLink[ANYSIZE_ARRAY];
    } DeviceInterface;
    struct {
      GUID EventGuid;
      LONG NameOffset;
      DWORD DataSize;
      BYTE Data[ANYSIZE_ARRAY];
    } DeviceHandle;
    struct {
      WCHAR InstanceId[ANYSIZE_ARRAY];
    } DeviceInstance;
  } u;
};
using PCM_NOTIFY_EVENT_DATA = CM_NOTIFY_EVENT_DATA*;
static_assert(offsetof(CM_NOTIFY_EVENT_DATA, u.DeviceInterface.SymbolicLink) == 24);

using PCM_NOTIFY_CALLBACK = DWORD(CALLBACK*)(HCMNOTIFICATION notification, PVOID context, CM_NOTIFY_ACTION action,
                                             PCM_NOTIFY_EVENT_DATA data, DWORD dataSize);

extern "C" {
CONFIGRET WINAPI CM_Register_Notification(PCM_NOTIFY_FILTER filter, PVOID context, PCM_NOTIFY_CALLBACK callback,
                                          PHCMNOTIFICATION notification);
/// Waits for callbacks that still run.
CONFIGRET WINAPI CM_Unregister_Notification(HCMNOTIFICATION notification);
/// Length in characters of the multi-string, its final terminator included; 1 for an empty list.
CONFIGRET WINAPI CM_Get_Device_Interface_List_SizeW(PULONG length, LPGUID interfaceClass, DEVINSTID_W device,
                                                    ULONG flags);
CONFIGRET WINAPI CM_Get_Device_Interface_ListW(LPGUID interfaceClass, DEVINSTID_W device, PWSTR buffer, ULONG length,
                                               ULONG flags);
}
