// Device and power notifications: registered by the start work, undone by stop and preshutdown.
#include <windows.h>

#include <cfgmgr32.h>
#include <dbt.h>
#include <objbase.h>
#include <powrprof.h>

#include "vantord/common/diagnostic_log.h"
#include "vantord/service/service_base.h"

namespace {

/// GUID_DEVINTERFACE_USB_DEVICE
constexpr GUID kUsbDeviceClass = {0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};

constexpr int kGuidTextCharacters = 50;

/// A GUID in registry form.
struct GuidText {
  explicit GuidText(const GUID& guid) { ::StringFromGUID2(guid, text, kGuidTextCharacters); }
  WCHAR text[kGuidTextCharacters] = {};
};

/// Runs on a thread of the configuration manager, concurrently with the control handler.
DWORD CALLBACK ServiceDeviceNotification(HCMNOTIFICATION, PVOID context, CM_NOTIFY_ACTION action,
                                         PCM_NOTIFY_EVENT_DATA data, DWORD) {
  auto* const service = static_cast<CServiceBase*>(context);
  switch (action) {
    case CM_NOTIFY_ACTION_DEVICEINTERFACEARRIVAL:
      service->OnDeviceEvent(DBT_DEVICEARRIVAL, data->u.DeviceInterface.SymbolicLink);
      break;
    case CM_NOTIFY_ACTION_DEVICEINTERFACEREMOVAL:
      service->OnDeviceEvent(DBT_DEVICEREMOVECOMPLETE, data->u.DeviceInterface.SymbolicLink);
      break;
    default:
      // Deliberate: Every unknown action is logged with the same text. Expected: the action's number.
      // Test: Notifications.AnUnknownActionIsLoggedInTheSameWords
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : MyCmInterfaceNotification : Arrival unknown action"),
                     "ServiceDeviceNotification", 46);
      break;
  }
  return ERROR_SUCCESS;
}

}  // namespace

void CServiceBase::RegisterDeviceEvent() {
  CM_NOTIFY_FILTER filter = {};
  filter.cbSize = sizeof(filter);
  filter.FilterType = CM_NOTIFY_FILTER_TYPE_DEVICEINTERFACE;
  filter.u.DeviceInterface.ClassGuid = kUsbDeviceClass;
  GuidText const guid(kUsbDeviceClass);
  CONFIGRET const result = ::CM_Register_Notification(&filter, this, ServiceDeviceNotification, &m_hCmNotify);
  if (result != CR_SUCCESS) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Failed to CM_Register_Notification - InterfaceGUID %s (%d)"),
                   "CServiceBase::RegisterDeviceEvent", 64, guid.text, result);
  } else {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Success to CM_Register_Notification - InterfaceGUID %s"),
                   "CServiceBase::RegisterDeviceEvent", 67, guid.text);
  }
}

void CServiceBase::RegisterPowerEvent() {
  GuidText const guid(kConsoleDisplayState);
  DWORD const result = ::PowerSettingRegisterNotification(&kConsoleDisplayState, DEVICE_NOTIFY_SERVICE_HANDLE,
                                                          m_statusHandle, &m_hPowerNotify);
  if (result != ERROR_SUCCESS) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Failed to PowerSettingRegisterNotification - InterfaceGUID %s (%x)"),
                   "CServiceBase::RegisterPowerEvent", 77, guid.text, result);
  } else {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Success to PowerSettingRegisterNotification - InterfaceGUID %s"),
                   "CServiceBase::RegisterPowerEvent", 80, guid.text);
  }
}

DWORD CServiceBase::UnregisterDeviceEvent() {
  if (m_hCmNotify == nullptr) return CR_SUCCESS;
  // Deliberate: The handle is cleared even if the unregistration failed. Expected: another attempt later.
  // Test: Notifications.AFailedUnregistrationIsNotTriedAgain
  CONFIGRET const result = ::CM_Unregister_Notification(m_hCmNotify);
  m_hCmNotify = nullptr;
  return result;
}

DWORD CServiceBase::UnregisterPowerEvent() {
  if (m_hPowerNotify == nullptr) return ERROR_SUCCESS;
  DWORD const result = ::PowerSettingUnregisterNotification(m_hPowerNotify);
  m_hPowerNotify = nullptr;
  return result;
}
