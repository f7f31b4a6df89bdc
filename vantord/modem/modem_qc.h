// The Qualcomm modem: the one concrete modem class.
#pragma once

#include "vantord/common/handles.h"
#include "vantord/modem/modem_template.h"

class CModemQC : public CModemTemplate {
 public:
  CModemQC();
  /// Runs when the service object is destroyed, on the process's first thread.
  virtual ~CModemQC() = default;

  DWORD Init() override;
  void Deinit(DWORD flag) override;

  // Deliberate: This modem ignores all of these events. Expected: a reaction to suspend and resume at least.
  // Test: ModemQc.EventOperationsDoNothing
  void OnSuspend() override {}
  void OnResume() override {}
  void OnDeviceRemoved(const WCHAR*) override {}
  void OnDeviceArrival(const WCHAR*) override {}
  void OnModemOn() override {}
  void OnModemOff() override {}
  void OnDssRemoved() override {}
  void OnRilAbort() override {}

 private:
  /// Returns true if an instance of the modem class driver still points to other images; its key path is then stored.
  [[nodiscard]] bool CheckImageRegPath();
  /// Points that instance to the deployed images; does nothing without one.
  void UpdateImageRegPath();
  void DeployModemImage();

  WCHAR m_wcsClassDriverPath[128] = {};  ///< empty: nothing to update
  EventHandle m_hExitEvent;              ///< manual reset; set by Deinit
};
