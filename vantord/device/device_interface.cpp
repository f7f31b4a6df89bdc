#include "vantord/device/device_interface.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <objbase.h>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/wide_format.h"

namespace {

constexpr int kAttempts = 40;
constexpr DWORD kRetryDelayMs = 500;

/// Copies the first text of a multi-string; an empty list gives an empty path.
/// Deliberate: The path may have 519 characters. Expected: a limit of MAX_PATH.
/// Test: DeviceInterface.APathOf519CharactersIsUsedWhole
void GetFirstInterface(const WCHAR* list, WCHAR* path, DWORD pathCharacters) {
  HelperDebugPrint(TEXT("%S:%d : DeviceName : %s"), "GetFirstInterface", 1973, list);
  CopyWide(path, pathCharacters, list);
}

/// Stores the path of the first present interface of a class; `path` is unchanged if the list cannot be read.
void GetDevicePath(const GUID* interfaceClass, WCHAR* path, DWORD pathCharacters) {
  GUID guid = *interfaceClass;  // the calls take no pointer to const
  ULONG length = 0;
  CONFIGRET result =
      ::CM_Get_Device_Interface_List_SizeW(&length, &guid, nullptr, CM_GET_DEVICE_INTERFACE_LIST_PRESENT);
  if (result != CR_SUCCESS) {
    HelperDebugPrint(TEXT("%S:%d : CM_Get_Device_Interface_List_Size failed : %x"), "GetDevicePath", 1989, result);
    return;
  }
  HeapMemory const list = AllocateHeap(SIZE_T{length} * sizeof(WCHAR));
  if (!list) {
    HelperDebugPrint(TEXT("%S:%d : HeapAlloc failed"), "GetDevicePath", 1996);
    return;
  }
  result =
      ::CM_Get_Device_Interface_ListW(&guid, nullptr, list.As<WCHAR>(), length, CM_GET_DEVICE_INTERFACE_LIST_PRESENT);
  if (result == CR_SUCCESS) {
    GetFirstInterface(list.As<WCHAR>(), path, pathCharacters);
  } else {
    HelperDebugPrint(TEXT("%S:%d : CM_Get_Device_Interface_List failed : %x"), "GetDevicePath", 2007, result);
  }
}

}  // namespace

DeviceInterfaceFunc::DeviceInterfaceFunc(const GUID* interfaceClass) : m_pInterfaceClass(interfaceClass) {
  WCHAR text[50] = {};
  ::StringFromGUID2(*interfaceClass, text, 50);
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : for InterfaceGUID %s"), "DeviceInterfaceFunc::DeviceInterfaceFunc", 10,
                 text);
}

HANDLE DeviceInterfaceFunc::Open() {
  FunctionScope const scope("DeviceInterfaceFunc::Open");
  // Deliberate: Without the device the search takes the whole 20 s, the pause after the last attempt included.
  // Expected: an end at the first empty list.
  // Test: DeviceInterface.WithoutTheDeviceItGivesUpAfterFortyAttempts
  for (int attempts = kAttempts; attempts >= 1; --attempts) {
    GetDevicePathInternal();
    HANDLE const device = OpenDeviceHandle();
    if (device != INVALID_HANDLE_VALUE) return device;
    ::Sleep(kRetryDelayMs);
  }
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : DeviceInterfaceFunc::Open failed"), "DeviceInterfaceFunc::Open", 36);
  return INVALID_HANDLE_VALUE;
}

int DeviceInterfaceFunc::GetDevicePathInternal() {
  // Deliberate: A path that was found once is not looked up again, even if it cannot be opened. Expected: a new lookup.
  // Test: DeviceInterface.APathOnceFoundIsNeverLookedUpAgain
  if (m_szDevicePath[0] != 0) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : DeviceInterfaceFunc GetDevicePathInternal = (%s)"),
                   "DeviceInterfaceFunc::GetDevicePathInternal", 48, m_szDevicePath);
    return 1;
  }
  GetDevicePath(m_pInterfaceClass, m_szDevicePath, kDevicePathCharacters);
  // Deliberate: The result is 1 even if the lookup failed, so an empty path is opened. Expected: no attempt to open.
  // Test: DeviceInterface.AFailedLookupStillOpensTheEmptyPath
  return 1;
}

HANDLE DeviceInterfaceFunc::OpenDeviceHandle() {
  // Deliberate: The impersonation bits lack SECURITY_SQOS_PRESENT, without which Windows ignores them. Expected: both
  // or neither.
  // Test: DeviceInterface.OpensForOverlappedWorkWithBareImpersonationBits
  DWORD const flags = m_bSynchronous != FALSE ? FILE_ATTRIBUTE_NORMAL | SECURITY_IMPERSONATION
                                              : FILE_FLAG_OVERLAPPED | SECURITY_IMPERSONATION;
  m_hDevice = ::CreateFileW(m_szDevicePath, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, flags, nullptr);
  if (m_hDevice == INVALID_HANDLE_VALUE) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Failed to open DeviceInterfaceFunc, error - %x"),
                   "DeviceInterfaceFunc::OpenDeviceHandle", 76, ::GetLastError());
    return INVALID_HANDLE_VALUE;
  }
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Opened DeviceInterfaceFunc successfully."),
                 "DeviceInterfaceFunc::OpenDeviceHandle", 82);
  return m_hDevice;
}
