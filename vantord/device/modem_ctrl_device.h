// The modem object's handle on the modem control device.
#pragma once

#include <windows.h>

#include <memory>

#include "vantord/device/device_interface.h"

class CModemCtrlDevice {
 public:
  CModemCtrlDevice();
  virtual ~CModemCtrlDevice();
  CModemCtrlDevice(const CModemCtrlDevice&) = delete;
  CModemCtrlDevice& operator=(const CModemCtrlDevice&) = delete;

  /// Finds and opens the device, trying for about 20 s. INVALID_HANDLE_VALUE when there is none. The handle is kept
  /// and never closed here: it runs as long as the process (Kept on purpose; pinned by the tests of this folder).
  [[nodiscard]] HANDLE Open();

 private:
  HANDLE m_hDevice = INVALID_HANDLE_VALUE;
  std::shared_ptr<DeviceInterfaceFunc> m_pInterface;
};
