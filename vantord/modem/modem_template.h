// The modem object: the service's model of the cellular modem. The service uses it as a CModemTemplate.
#pragma once

#include <windows.h>

#include <memory>

#include "vantord/device/modem_ctrl_device.h"

/// The order of the virtual operations is fixed: another specialisation may react to events that CModemQC ignores.
/// CVantord calls Init on its worker thread and the others on the control thread; arrival and removal also on a thread
/// of the configuration manager.
class CModemTemplate {
 public:
  CModemTemplate(const CModemTemplate&) = delete;
  CModemTemplate& operator=(const CModemTemplate&) = delete;

  virtual DWORD Init() = 0;             ///< the start-up work; its result has no meaning
  virtual void Deinit(DWORD flag) = 0;  ///< 1: stop, 0: preshutdown
  virtual void OnSuspend() = 0;
  virtual void OnResume() = 0;
  virtual void OnDeviceRemoved(const WCHAR* symbolicLink) = 0;
  virtual void OnDeviceArrival(const WCHAR* symbolicLink) = 0;
  virtual void OnModemOn() = 0;
  virtual void OnModemOff() = 0;
  virtual void OnDssRemoved() = 0;
  virtual void OnRilAbort() = 0;

  /// Opens the control device; false if this device has no modem, which takes 20 s to find out.
  [[nodiscard]] bool ExistModemCtrl();

  /// Logs the versions of the package and of the two services' executables.
  void ReadMobileBroadBandPackageVer();

 protected:
  CModemTemplate();
  /// Deliberate: The destructor is not virtual; CModemQC adds the virtual one. Expected: a virtual destructor here.
  /// Test: ModemTemplate.OnlyTheConcreteClassHasAVirtualDestructor
  ~CModemTemplate() = default;

  // The order of the fields is fixed.
  std::unique_ptr<CModemCtrlDevice> m_pModemCtrl;  ///< null without memory
  /// Deliberate: The state words are cleared and never used. Expected: no such field.
  /// Test: ModemQc.TheModemStateIsClearedAndStaysSo
  DWORD m_modemState[2];

 public:
  /// Set by the service's power-event handling: 1 display on, 0 off.
  /// Deliberate: No modem class reads the flag. Expected: a reader.
  /// Test: ModemQc.TheDisplayMakesNoDifference
  DWORD m_bDisplayOn;
};
