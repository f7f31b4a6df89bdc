// Device-interface and power-setting notifications.
#include <windows.h>

#include <cfgmgr32.h>
#include <powrprof.h>

#include <cstring>

#include "sim/winapi/call.h"

using win32::Call;
using win32::Machine;
using win32::Number;
using win32::RefuseUnmodelled;
using win32::ShowHandle;

namespace {

constexpr CONFIGRET kFailure = 0x13;      // CR_FAILURE
constexpr CONFIGRET kInvalidData = 0x1F;  // CR_INVALID_DATA

tablet::Guid FromGuid(const GUID& guid) {
  tablet::Guid copy;
  std::memcpy(copy.bytes.data(), &guid, sizeof(guid));
  return copy;
}

/// The record that a callback gets: the fixed part, then the link with its terminator.
std::vector<BYTE> MakeEventData(const tablet::Guid& interfaceClass, const std::u16string& link) {
  constexpr std::size_t kLinkOffset = offsetof(CM_NOTIFY_EVENT_DATA, u.DeviceInterface.SymbolicLink);
  std::vector<BYTE> record(std::max(sizeof(CM_NOTIFY_EVENT_DATA), kLinkOffset + (link.size() + 1) * sizeof(WCHAR)));
  auto* const data = reinterpret_cast<CM_NOTIFY_EVENT_DATA*>(record.data());
  data->FilterType = CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE;
  std::memcpy(&data->u.DeviceInterface.ClassGuid, interfaceClass.bytes.data(), sizeof(GUID));
  std::memcpy(record.data() + kLinkOffset, link.c_str(), (link.size() + 1) * sizeof(WCHAR));
  return record;
}

}  // namespace

extern "C" {

CONFIGRET WINAPI CM_Register_Notification(PCM_NOTIFY_FILTER filter, PVOID context, PCM_NOTIFY_CALLBACK callback,
                                          PHCMNOTIFICATION notification) {
  auto describe = [&] { return FromGuid(filter->u.DeviceInterface.ClassGuid).ToString(); };
  Call call("CM_Register_Notification", describe);
  if (call.fault() != 0) return call.Done(CONFIGRET{call.fault()});
  if (filter->cbSize != sizeof(*filter)) return call.Done(kInvalidData);
  if (filter->FilterType != CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE || filter->Flags != 0) {
    RefuseUnmodelled("CM_Register_Notification", "a filter other than one device-interface class");
  }
  // The callback gets the notification's handle, which is known only after the registration.
  auto const deliver = [callback, context, notification](DWORD action, const tablet::Guid& interfaceClass,
                                                         const std::u16string& link) {
    std::vector<BYTE> record = MakeEventData(interfaceClass, link);
    HCMNOTIFICATION const handle = *notification;
    auto* const data = reinterpret_cast<PCM_NOTIFY_EVENT_DATA>(record.data());
    DWORD answer = ERROR_SUCCESS;
    {
      tablet::InsideProduct const inside;
      answer =
          callback(handle, context, static_cast<CM_NOTIFY_ACTION>(action), data, static_cast<DWORD>(record.size()));
    }
    if (answer != ERROR_SUCCESS) RefuseUnmodelled("CM_Register_Notification", "a callback that returns an error");
  };
  tablet::Guid const interfaceClass = FromGuid(filter->u.DeviceInterface.ClassGuid);
  *notification = win32::ToHandle<HCMNOTIFICATION>(Machine().notifications().RegisterDevice(interfaceClass, deliver));
  return call.Done(CONFIGRET{CR_SUCCESS});
}

CONFIGRET WINAPI CM_Unregister_Notification(HCMNOTIFICATION notification) {
  auto describe = [&] { return ShowHandle(notification); };
  Call call("CM_Unregister_Notification", describe);
  if (call.fault() != 0) return call.Done(CONFIGRET{call.fault()});
  bool const known = Machine().notifications().UnregisterDevice(Number(notification));
  return call.Done(known ? CONFIGRET{CR_SUCCESS} : kFailure);
}

DWORD WINAPI PowerSettingRegisterNotification(LPCGUID setting, DWORD flags, HANDLE recipient,
                                              PHPOWERNOTIFY registration) {
  auto describe = [&] { return FromGuid(*setting).ToString(); };
  Call call("PowerSettingRegisterNotification", describe);
  if (flags != DEVICE_NOTIFY_SERVICE_HANDLE) {
    RefuseUnmodelled("PowerSettingRegisterNotification", "a recipient that is not a service");
  }
  if (call.fault() != 0) return call.Done(call.fault());
  if (!Machine().handles().Find(Number(recipient))) return call.Done(DWORD{ERROR_INVALID_HANDLE});
  *registration = win32::ToHandle(Machine().notifications().RegisterPower(FromGuid(*setting)));
  return call.Done(DWORD{ERROR_SUCCESS});
}

DWORD WINAPI PowerSettingUnregisterNotification(HPOWERNOTIFY registration) {
  auto describe = [&] { return ShowHandle(registration); };
  Call call("PowerSettingUnregisterNotification", describe);
  if (call.fault() != 0) return call.Done(call.fault());
  bool const known = Machine().notifications().UnregisterPower(Number(registration));
  return call.Done(known ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_INVALID_HANDLE});
}
}
