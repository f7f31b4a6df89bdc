// The modem object's handle on the modem control device.
#pragma once

#include <windows.h>

#include <memory>

#include "vantord/device/device_interface.h"

class CModemCtrlDevice {
 public:
  CModemCtrlDevice();
  /// Runs with the modem object's destruction.
  virtual ~CModemCtrlDevice();
  CModemCtrlDevice(const CModemCtrlDevice&) = delete;
  CModemCtrlDevice& operator=(const CModemCtrlDevice&) = delete;

  /// Finds and opens the device, trying for about 20 s. Returns INVALID_HANDLE_VALUE if there is none. The handle stays
  /// open until the process ends.
  [[nodiscard]] HANDLE Open();

 private:
  HANDLE m_hDevice = INVALID_HANDLE_VALUE;
  std::shared_ptr<DeviceInterfaceFunc> m_pInterface;
};
