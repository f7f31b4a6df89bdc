// Power events, device events and custom controls: CVantord logs them and passes them to the modem object.
#include <windows.h>

#include <dbt.h>

#include "vantord/common/diagnostic_log.h"
#include "vantord/service/vantord.h"

namespace {

constexpr DWORD SERVICE_CONTROL_MODEM_ON = 130;
constexpr DWORD SERVICE_CONTROL_MODEM_OFF = 131;
constexpr DWORD SERVICE_CONTROL_DSS_REMOVED = 132;
constexpr DWORD SERVICE_CONTROL_RIL_ABORT = 133;
/// Sent to the partner service; ignored here.
constexpr DWORD SERVICE_CONTROL_SUSPEND_NOTICE = 134;

constexpr UCHAR kDisplayOn = 1;

}  // namespace

void CVantord::OnPowerEvent(DWORD eventType, LPVOID eventData) {
  FunctionScope const scope("CVantord::OnPowerEvent");
  switch (eventType) {
    case PBT_POWERSETTINGCHANGE:
      DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : SERVICE_CONTROL_POWEREVENT Type = PBT_POWERSETTINGCHANGE"),
                     "CVantord::OnPowerEvent", 31);
      OnDisplayState(static_cast<const POWERBROADCAST_SETTING*>(eventData));
      break;
    case PBT_APMSUSPEND:
      DebugPrintZone(ZONE_INFO, TEXT("%S:%d : SERVICE_CONTROL_POWEREVENT Type = PBT_APMSUSPEND"),
                     "CVantord::OnPowerEvent", 36);
      // Deliberate: The partner is notified of a suspend before the modem. Expected: the modem first.
      // Test: ControlHandling.ASuspendIsToldToThePartnerBeforeTheModem
      SendModemControlMessage(SERVICE_CONTROL_SUSPEND_NOTICE);
      if (m_pModem) m_pModem->OnSuspend();
      break;
    case PBT_APMRESUMEAUTOMATIC:
      DebugPrintZone(ZONE_INFO, TEXT("%S:%d : SERVICE_CONTROL_POWEREVENT Type = PBT_APMRESUMEAUTOMATIC"),
                     "CVantord::OnPowerEvent", 43);
      if (m_pModem) m_pModem->OnResume();
      break;
    default:
      break;
  }
}

void CVantord::OnDisplayState(const POWERBROADCAST_SETTING* setting) {
  if (setting == nullptr || !IsEqualGUID(setting->PowerSetting, kConsoleDisplayState)) return;
  UCHAR const state = setting->Data[0];
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Power Data=0x%x"), "CVantord::OnPowerEvent", 54, state);
  // Deliberate: A dimmed display (2) leaves the flag unchanged, and no modem operation is called for any state.
  // Expected: a call of the modem object.
  // Test: ControlHandling.ADimmedDisplayLeavesTheFlagUnchanged
  if (state > kDisplayOn) return;
  if (m_pModem) m_pModem->m_bDisplayOn = state == kDisplayOn ? 1 : 0;
}

void CVantord::OnDeviceEvent(DWORD eventType, LPVOID eventData) {
  FunctionScope const scope("CVantord::OnDeviceEvent");
  const auto* const link = static_cast<const WCHAR*>(eventData);
  switch (eventType) {
    case DBT_DEVICEARRIVAL:
      DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : DBT_DEVICEARRIVAL, (%s)"), "CVantord::OnDeviceEvent", 66, link);
      if (m_pModem) m_pModem->OnDeviceArrival(link);
      break;
    case DBT_DEVICEREMOVECOMPLETE:
      DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : DBT_DEVICEREMOVECOMPLETE, (%s)"), "CVantord::OnDeviceEvent", 70, link);
      if (m_pModem) m_pModem->OnDeviceRemoved(link);
      break;
    default:
      break;
  }
}

void CVantord::OnDefaultControl(DWORD control) {
  FunctionScope const scope("CVantord::OnDefaultControl");
  switch (control) {
    case SERVICE_CONTROL_MODEM_ON:
      DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : SERVICE_CONTROL_MODEM_ON"), "CVantord::OnDefaultControl", 81);
      if (m_pModem) m_pModem->OnModemOn();
      break;
    case SERVICE_CONTROL_MODEM_OFF:
      DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : SERVICE_CONTROL_MODEM_OFF"), "CVantord::OnDefaultControl", 85);
      if (m_pModem) m_pModem->OnModemOff();
      break;
    case SERVICE_CONTROL_DSS_REMOVED:
      DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : SERVICE_CONTROL_DSS_REMOVED"), "CVantord::OnDefaultControl", 89);
      if (m_pModem) m_pModem->OnDssRemoved();
      break;
    case SERVICE_CONTROL_RIL_ABORT:
      DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : SERVICE_CONTROL_RIL_ABORT"), "CVantord::OnDefaultControl", 93);
      if (m_pModem) m_pModem->OnRilAbort();
      break;
    // Deliberate: Other controls are ignored without a message, also the suspend notice that this service sends.
    // Expected: a message.
    // Test: ControlHandling.AllOtherControlsAreIgnoredTheSuspendNoticeAmongThem
    default:
      break;
  }
}
