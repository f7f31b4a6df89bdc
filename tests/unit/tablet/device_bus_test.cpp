// Device interfaces that come and go.
#include "sim/tablet/devices/device_bus.h"

#include "sim/tablet/machine/modem_device.h"
#include "tests/testing/tablet_fixture.h"

namespace {

class DeviceBusTest : public testing_support::TabletTest {
 protected:
  tablet::DeviceBus& bus() { return machine().devices(); }
};

TEST_F(DeviceBusTest, ATabletHasTheDevicesOfItsDescription) {
  PowerOn(With([](auto& description) { description.modem_links = {u"\\\\?\\modem#0", u"\\\\?\\modem#1"}; }));
  EXPECT_THAT(bus().Links(tablet::kModemControlClass), ElementsAre(u"\\\\?\\modem#0", u"\\\\?\\modem#1"));
  EXPECT_THAT(bus().Links(tablet::kSafiClass), ElementsAre(DefaultDescription().firmware_driver_link));
}

TEST_F(DeviceBusTest, ADescriptionWithoutModemAndDriverMakesNone) {
  tablet::Description description = DefaultDescription();
  description.modem_present = false;
  description.firmware_driver_present = false;
  PowerOn(description);
  EXPECT_THAT(bus().Links(tablet::kModemControlClass), IsEmpty());
  EXPECT_THAT(bus().Links(tablet::kSafiClass), IsEmpty());
}

TEST_F(DeviceBusTest, TheClassesHaveTheirPublishedNumbers) {
  EXPECT_EQ(tablet::kModemControlClass.ToString(), "{D49F5C0E-E540-4DBE-BF78-97ED9BD987A4}");
  EXPECT_EQ(tablet::kSafiClass.ToString(), "{FD9FF848-46D1-4CE7-8940-6DF2F1E6EFF6}");
}

TEST_F(DeviceBusTest, ALinkOpensInAnyCaseAndNoMoreOnceItsDeviceIsGone) {
  bus().Arrive(tablet::MakeModemInterface(u"\\\\?\\Late#1"));
  std::shared_ptr<tablet::DeviceFile> file;
  EXPECT_EQ(bus().Open(u"\\\\?\\lATE#1", file), tablet::kSuccess);
  ASSERT_NE(file, nullptr);
  bus().Remove(u"\\\\?\\LATE#1");
  EXPECT_EQ(bus().Open(u"\\\\?\\Late#1", file), tablet::kFileNotFound);
}

TEST_F(DeviceBusTest, TheModemKnowsNoRequest) {
  std::shared_ptr<tablet::DeviceFile> file;
  ASSERT_EQ(bus().Open(DefaultDescription().modem_links[0], file), tablet::kSuccess);
  std::uint32_t returned = 0;
  EXPECT_EQ(file->Control(0x9CA30C00, {}, {}, returned), tablet::kInvalidFunction);
}

}  // namespace
