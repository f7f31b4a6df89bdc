// The configuration manager's calls about device interfaces.
#include "tests/windows/supply/supply.h"

// Need <windows.h> before them.
#include <cfgmgr32.h>
#include <dbt.h>
#include <setupapi.h>

#include <algorithm>
#include <vector>

namespace {

/// The paths of all present interfaces, each null-terminated, and one more null.
std::vector<WCHAR> MultiString(const GUID& interfaceClass) {
  std::vector<WCHAR> list;
  HDEVINFO const set = ::SetupDiGetClassDevsW(&interfaceClass, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof(data);
  for (DWORD i = 0; ::SetupDiEnumDeviceInterfaces(set, nullptr, &interfaceClass, i, &data); ++i) {
    alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_W) BYTE buffer[2048] = {};
    auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer);
    detail->cbSize = sizeof(*detail);
    if (!::SetupDiGetDeviceInterfaceDetailW(set, &data, detail, sizeof(buffer), nullptr, nullptr)) continue;
    const WCHAR* const path = detail->DevicePath;
    list.insert(list.end(), path, path + wcslen(path) + 1);
  }
  ::SetupDiDestroyDeviceInfoList(set);
  list.push_back(0);
  return list;
}

// The parameters of Wine's sechost.dll: callback, context, and events.
struct NotificationDetails {
  DWORD(CALLBACK* onEvent)(HANDLE handle, DWORD event, DEV_BROADCAST_HDR* header);
  HANDLE handle;
  DEV_BROADCAST_DEVICEINTERFACE_W filter;
};
static_assert(sizeof(NotificationDetails) == 48);
using RegisterWithSechost = HDEVNOTIFY(WINAPI*)(NotificationDetails*, void*, DWORD);
using UnregisterWithSechost = BOOL(WINAPI*)(HDEVNOTIFY);

struct Registration {
  PCM_NOTIFY_CALLBACK callback;
  void* context;
  HDEVNOTIFY handle;
};

template <typename Function>
Function FromSechost(const char* name) {
  HMODULE const library = ::LoadLibraryW(L"sechost.dll");
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library, name)));
}

DWORD CALLBACK Deliver(HANDLE handle, DWORD event, DEV_BROADCAST_HDR* header) {
  auto* const registration = static_cast<Registration*>(handle);
  if (event != DBT_DEVICEARRIVAL && event != DBT_DEVICEREMOVECOMPLETE) return 0;
  auto const* const news = reinterpret_cast<const DEV_BROADCAST_DEVICEINTERFACE_W*>(header);
  const std::size_t characters = wcslen(news->dbcc_name) + 1;
  std::vector<BYTE> memory(sizeof(CM_NOTIFY_EVENT_DATA) + characters * sizeof(WCHAR));
  auto* const data = reinterpret_cast<CM_NOTIFY_EVENT_DATA*>(memory.data());
  data->FilterType = CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE;
  data->u.DeviceInterface.ClassGuid = news->dbcc_classguid;
  std::copy_n(news->dbcc_name, characters, data->u.DeviceInterface.SymbolicLink);
  CM_NOTIFY_ACTION const action =
      event == DBT_DEVICEARRIVAL ? CM_NOTIFY_ACTION_DEVICEINTERFACEARRIVAL : CM_NOTIFY_ACTION_DEVICEINTERFACEREMOVAL;
  registration->callback(reinterpret_cast<HCMNOTIFICATION>(registration), registration->context, action, data,
                         static_cast<DWORD>(memory.size()));
  return 0;
}

}  // namespace

extern "C" {

CONFIGRET WINAPI GetInterfaceListSize(PULONG length, LPGUID interfaceClass, DEVINSTID_W, ULONG) {
  *length = static_cast<ULONG>(MultiString(*interfaceClass).size());
  return CR_SUCCESS;
}

CONFIGRET WINAPI GetInterfaceList(LPGUID interfaceClass, DEVINSTID_W, PZZWSTR buffer, ULONG length, ULONG) {
  std::vector<WCHAR> const list = MultiString(*interfaceClass);
  if (list.size() > length) return CR_BUFFER_SMALL;
  std::copy(list.begin(), list.end(), buffer);
  return CR_SUCCESS;
}

CONFIGRET WINAPI RegisterNotification(PCM_NOTIFY_FILTER filter, PVOID context, PCM_NOTIFY_CALLBACK callback,
                                      PHCMNOTIFICATION notification) {
  if (filter->cbSize != sizeof(*filter) || filter->FilterType != CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE) {
    return CR_INVALID_DATA;
  }
  auto const attach = FromSechost<RegisterWithSechost>("I_ScRegisterDeviceNotification");
  if (attach == nullptr) return CR_CALL_NOT_IMPLEMENTED;
  auto* const registration = new Registration{callback, context, nullptr};
  NotificationDetails details = {&Deliver, registration, {}};
  details.filter.dbcc_size = sizeof(details.filter);
  details.filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
  details.filter.dbcc_classguid = filter->u.DeviceInterface.ClassGuid;
  registration->handle = attach(&details, &details.filter, 0);
  if (registration->handle == nullptr) {
    delete registration;
    return CR_FAILURE;
  }
  *notification = reinterpret_cast<HCMNOTIFICATION>(registration);
  return CR_SUCCESS;
}

// The registration's memory is not freed: an event may be pending on Wine's thread.
CONFIGRET WINAPI UnregisterNotification(HCMNOTIFICATION notification) {
  auto const detach = FromSechost<UnregisterWithSechost>("I_ScUnregisterDeviceNotification");
  if (detach == nullptr) return CR_CALL_NOT_IMPLEMENTED;
  return detach(reinterpret_cast<Registration*>(notification)->handle) ? CR_SUCCESS : CR_INVALID_POINTER;
}
}
