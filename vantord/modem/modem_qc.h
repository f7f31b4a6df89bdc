// The Qualcomm modem: the one concrete modem class.
#pragma once

#include "vantord/common/handles.h"
#include "vantord/modem/modem_template.h"

class CModemQC : public CModemTemplate {
 public:
  CModemQC();
  virtual ~CModemQC() = default;

  DWORD Init() override;
  void Deinit(DWORD flag) override;

  // Kept on purpose: this modem reacts to none of these (pinned by ModemQc.EventOperationsDoNothing).
  void OnSuspend() override {}
  void OnResume() override {}
  void OnDeviceRemoved(const WCHAR*) override {}
  void OnDeviceArrival(const WCHAR*) override {}
  void OnModemOn() override {}
  void OnModemOff() override {}
  void OnDssRemoved() override {}
  void OnRilAbort() override {}

 private:
  /// True when an instance of the modem class driver still points at other images; its key path is then kept.
  [[nodiscard]] bool CheckImageRegPath();
  /// Points the kept instance at the deployed images; does nothing without one.
  void UpdateImageRegPath();
  void DeployModemImage();

  WCHAR m_wcsClassDriverPath[128] = {};  ///< empty: nothing to update
  EventHandle m_hExitEvent;              ///< manual reset; set by Deinit
};
