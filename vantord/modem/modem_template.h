// The modem object: the service's single model of the cellular modem. CModemTemplate is what the service sees.
#pragma once

#include <windows.h>

#include <memory>

#include "vantord/device/modem_ctrl_device.h"

/// Slot order is fixed: another modem specialisation may react to the events that CModemQC leaves empty.
class CModemTemplate {
 public:
  CModemTemplate(const CModemTemplate&) = delete;
  CModemTemplate& operator=(const CModemTemplate&) = delete;

  virtual DWORD Init() = 0;             ///< the start-up work, on the worker thread; its result carries no meaning
  virtual void Deinit(DWORD flag) = 0;  ///< 1: stop, 0: preshutdown; on the control thread
  virtual void OnSuspend() = 0;
  virtual void OnResume() = 0;
  virtual void OnDeviceRemoved(const WCHAR* symbolicLink) = 0;
  virtual void OnDeviceArrival(const WCHAR* symbolicLink) = 0;
  virtual void OnModemOn() = 0;
  virtual void OnModemOff() = 0;
  virtual void OnDssRemoved() = 0;
  virtual void OnRilAbort() = 0;

  /// Whether this device has a modem: opens the control device, which takes 20 s where there is none.
  [[nodiscard]] bool ExistModemCtrl();

  /// Logs the versions of the package and of the two services' executables.
  void ReadMobileBroadBandPackageVer();

 protected:
  CModemTemplate();
  /// Kept on purpose: not virtual; CModemQC adds the virtual destructor. Whoever owns a modem object owns it as the
  /// class it was made as (pinned by the assertion at the head of the modem's tests).
  ~CModemTemplate() = default;

  // The order of the fields is fixed.
  std::unique_ptr<CModemCtrlDevice> m_pModemCtrl;  ///< null when there was no memory for it
  /// Kept on purpose: cleared, never used (pinned by ModemQc.TheModemStateIsClearedAndStaysSo).
  DWORD m_modemState[2];

 public:
  /// Set by the service's power-event handling: 1 display on, 0 off. Kept on purpose: no modem class reads it (pinned
  /// by ModemQc.TheDisplayMakesNoDifference).
  DWORD m_bDisplayOn;
};
