#include "vantord/device/modem_ctrl_device.h"

#include <windows.h>

#include "vantord/common/diagnostic_log.h"

namespace {
constexpr GUID kModemControlInterfaceClass = {
    0xD49F5C0E, 0xE540, 0x4DBE, {0xBF, 0x78, 0x97, 0xED, 0x9B, 0xD9, 0x87, 0xA4}};
}  // namespace

CModemCtrlDevice::CModemCtrlDevice() {
  FunctionScope const scope("CModemCtrlDevice::CModemCtrlDevice");
  m_pInterface = std::make_shared<DeviceInterfaceFunc>(&kModemControlInterfaceClass);
}

// Deliberate: The device's handle is not closed; it ends with the process. Expected: a close here.
// Test: ModemCtrlDevice.TheHandleOutlivesTheObject
CModemCtrlDevice::~CModemCtrlDevice() = default;

HANDLE CModemCtrlDevice::Open() {
  FunctionScope const scope("CModemCtrlDevice::Open");
  m_hDevice = m_pInterface->Open();
  return m_hDevice;
}
