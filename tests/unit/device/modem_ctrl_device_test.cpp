// The modem object's handle on the modem control device.
#include "vantord/device/modem_ctrl_device.h"

#include <windows.h>

#include "tests/testing/tablet_fixture.h"

namespace {

class ModemCtrlDevice : public testing_support::TabletTest {
 protected:
  ModemCtrlDevice() { OpenLog(); }
};

TEST_F(ModemCtrlDevice, TellsItsStoryInOrder) {
  CModemCtrlDevice device;
  EXPECT_NE(device.Open(), INVALID_HANDLE_VALUE);
  EXPECT_THAT(messages(),
              ElementsAre("CModemCtrlDevice::CModemCtrlDevice: (+)",
                          "DeviceInterfaceFunc::DeviceInterfaceFunc:10 : for InterfaceGUID "
                          "{D49F5C0E-E540-4DBE-BF78-97ED9BD987A4}",
                          "CModemCtrlDevice::CModemCtrlDevice: (-)", "CModemCtrlDevice::Open: (+)",
                          "DeviceInterfaceFunc::Open: (+)",
                          "GetFirstInterface:1973 : DeviceName : "
                          "\\\\?\\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}",
                          "DeviceInterfaceFunc::OpenDeviceHandle:82 : Opened DeviceInterfaceFunc successfully.",
                          "DeviceInterfaceFunc::Open: (-)", "CModemCtrlDevice::Open: (-)"));
}

TEST_F(ModemCtrlDevice, AnswersNoHandleOnATabletWithoutModem) {
  PowerOn(With([](auto& description) { description.modem_links.clear(); }));
  EXPECT_EQ(CModemCtrlDevice().Open(), INVALID_HANDLE_VALUE);
  EXPECT_THAT(machine().handles().OpenKinds(0), IsEmpty());
}

TEST_F(ModemCtrlDevice, TheHandleOutlivesTheObject) {
  { EXPECT_NE(CModemCtrlDevice().Open(), INVALID_HANDLE_VALUE); }
  EXPECT_THAT(machine().handles().OpenKinds(0), ElementsAre("device"));
  EXPECT_THAT(machine().journal().Calls("CloseHandle"), IsEmpty());
}

}  // namespace
