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

// Kept on purpose: the handle stays open, where one would expect it to be closed here; it ends with the process
// (ModemCtrlDevice.TheHandleOutlivesTheObject).
CModemCtrlDevice::~CModemCtrlDevice() = default;

HANDLE CModemCtrlDevice::Open() {
  FunctionScope const scope("CModemCtrlDevice::Open");
  m_hDevice = m_pInterface->Open();
  return m_hDevice;
}
