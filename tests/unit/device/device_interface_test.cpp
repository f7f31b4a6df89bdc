// Finding and opening the modem's control device.
#include "vantord/device/device_interface.h"

#include <windows.h>

#include <optional>

#include "sim/tablet/machine/modem_device.h"
#include "tests/testing/tablet_fixture.h"
#include "vantord/common/diagnostic_log.h"

namespace {

constexpr const char16_t* kLink = u"\\\\?\\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}";
constexpr GUID kModem = {0xD49F5C0E, 0xE540, 0x4DBE, {0xBF, 0x78, 0x97, 0xED, 0x9B, 0xD9, 0x87, 0xA4}};

class DeviceTest : public testing_support::TabletTest {
 protected:
  DeviceTest() { OpenLog(); }

  /// Powers on a tablet whose modem has these interfaces.
  void PowerOnWithLinks(std::vector<std::u16string> links) {
    PowerOn(With([&](auto& description) { description.modem_links = std::move(links); }));
    OpenLog();
  }
  std::size_t Count(const char* call) { return machine().journal().Calls(call).size(); }
  std::size_t Lookups() { return Count("CM_Get_Device_Interface_List_SizeW"); }
  std::size_t Opens() { return Count("CreateFileW"); }
  std::size_t Sleeps() { return Count("Sleep"); }
  std::string LastOpen() { return machine().journal().Calls("CreateFileW").back().args; }
};

class DeviceInterface : public DeviceTest {
 protected:
  HANDLE Open() {
    DeviceInterfaceFunc device(&kModem);
    return device.Open();
  }
};

TEST_F(DeviceInterface, APresentDeviceTakesOneLookupOneOpenAndNoSleep) {
  EXPECT_NE(Open(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(Lookups(), 1u);
  EXPECT_EQ(Opens(), 1u);
  EXPECT_EQ(Sleeps(), 0u);
  EXPECT_THAT(machine().handles().OpenKinds(0), ElementsAre("device"));
  EXPECT_THAT(machine().heap().LiveBlocks(0), IsEmpty());
}

TEST_F(DeviceInterface, ADeviceThatArrivesLateIsLookedUpUntilItIsThere) {
  PowerOnWithLinks({});
  machine().scheduler().At(Millis{4'900}, [this] { machine().devices().Arrive(tablet::MakeModemInterface(kLink)); });
  EXPECT_NE(Open(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(Now(), Millis{5'000});
  EXPECT_EQ(Lookups(), 11u);
  EXPECT_EQ(Opens(), 11u);
  EXPECT_EQ(Sleeps(), 10u);
  EXPECT_EQ(TimesLogged("GetFirstInterface:1973 : DeviceName : "), 10u) << "an empty list is a list";
}

TEST_F(DeviceInterface, WithoutTheDeviceItGivesUpAfterFortyAttempts) {
  PowerOnWithLinks({});
  EXPECT_EQ(Open(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(Lookups(), 40u);
  EXPECT_EQ(Opens(), 40u);
  EXPECT_EQ(Sleeps(), 40u);
  EXPECT_EQ(Now(), Millis{20'000}) << "the pause after the last attempt counts too";
  EXPECT_EQ(TimesLogged("DeviceInterfaceFunc::OpenDeviceHandle:76 : Failed to open DeviceInterfaceFunc, error - 3"),
            40u);
  EXPECT_EQ(TimesLogged("DeviceInterfaceFunc::Open:36 : DeviceInterfaceFunc::Open failed"), 1u);
  EXPECT_EQ(messages().back(), "DeviceInterfaceFunc::Open: (-)");
  EXPECT_THAT(machine().heap().LiveBlocks(0), IsEmpty());
}

TEST_F(DeviceInterface, OfTwoDevicesOnlyTheFirstIsUsed) {
  PowerOnWithLinks({u"\\\\?\\first", u"\\\\?\\second"});
  Inject("CreateFileW", 5, 1, 1);
  EXPECT_NE(Open(), INVALID_HANDLE_VALUE);
  for (const tablet::CallEvent& open : machine().journal().Calls("CreateFileW")) {
    EXPECT_THAT(open.args, HasSubstr("first"));
  }
  EXPECT_THAT(messages(), Contains("GetFirstInterface:1973 : DeviceName : \\\\?\\first"));
}

TEST_F(DeviceInterface, APathOnceFoundIsNeverLookedUpAgain) {
  machine().scheduler().At(Millis{100}, [this] { machine().devices().Remove(kLink); });
  Inject("CreateFileW", 5, 1, 1);
  EXPECT_EQ(Open(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(Lookups(), 1u);
  EXPECT_EQ(Opens(), 40u);
  std::string const cached =
      "DeviceInterfaceFunc::GetDevicePathInternal:48 : DeviceInterfaceFunc GetDevicePathInternal = "
      "(\\\\?\\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4})";
  EXPECT_EQ(TimesLogged(cached), 39u);
  EXPECT_EQ(TimesLogged("DeviceInterfaceFunc::OpenDeviceHandle:76 : Failed to open DeviceInterfaceFunc, error - 5"),
            1u);
  EXPECT_EQ(TimesLogged("DeviceInterfaceFunc::OpenDeviceHandle:76 : Failed to open DeviceInterfaceFunc, error - 2"),
            39u);
}

TEST_F(DeviceInterface, ASecondOpenReusesThePathOfTheFirst) {
  DeviceInterfaceFunc device(&kModem);
  HANDLE const first = device.Open();
  HANDLE const second = device.Open();
  EXPECT_NE(second, INVALID_HANDLE_VALUE);
  EXPECT_NE(second, first);
  EXPECT_EQ(Lookups(), 1u);
}

TEST_F(DeviceInterface, ErrorsOfTheOpenAreLoggedInHexadecimal) {
  Inject("CreateFileW", 32, 1, 1);
  Open();
  EXPECT_THAT(messages(),
              Contains("DeviceInterfaceFunc::OpenDeviceHandle:76 : Failed to open DeviceInterfaceFunc, error - 20"));
}

TEST_F(DeviceInterface, AFailedLookupStillOpensTheEmptyPath) {
  Inject("CM_Get_Device_Interface_List_SizeW", 0x13, 1, 1);
  EXPECT_NE(Open(), INVALID_HANDLE_VALUE);
  EXPECT_THAT(machine().journal().Calls("CreateFileW").front().args, StartsWith("\"\""));
  EXPECT_EQ(Opens(), 2u);
  EXPECT_EQ(TimesLogged("GetDevicePath:1989 : CM_Get_Device_Interface_List_Size failed : 13"), 1u);
  EXPECT_EQ(Count("CM_Get_Device_Interface_ListW"), 1u) << "without a size no list is asked for";
}

TEST_F(DeviceInterface, AListWithoutMemoryIsTriedAgainOnTheNextAttempt) {
  Inject("HeapAlloc", 8, 1, 1);
  EXPECT_NE(Open(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(TimesLogged("GetDevicePath:1996 : HeapAlloc failed"), 1u);
  EXPECT_EQ(Count("CM_Get_Device_Interface_ListW"), 1u);
}

TEST_F(DeviceInterface, AListThatCannotBeFetchedIsTriedAgainAndItsMemoryFreed) {
  Inject("CM_Get_Device_Interface_ListW", 0x1A, 1, 1);
  EXPECT_NE(Open(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(TimesLogged("GetDevicePath:2007 : CM_Get_Device_Interface_List failed : 1a"), 1u);
  EXPECT_THAT(machine().heap().LiveBlocks(0), IsEmpty());
}

TEST_F(DeviceInterface, OpensForOverlappedWorkWithBareImpersonationBits) {
  Open();
  EXPECT_EQ(LastOpen(),
            "\"\\\\?\\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}\", 0xc0000000, 0x3, 3, "
            "0x40020000");
}

TEST_F(DeviceInterface, APathOf519CharactersIsUsedWhole) {
  PowerOnWithLinks({u"\\\\?\\" + std::u16string(515, u'x')});
  EXPECT_NE(Open(), INVALID_HANDLE_VALUE);
}

TEST_F(DeviceInterface, ALongerPathIsCutAt519Characters) {
  PowerOnWithLinks({u"\\\\?\\" + std::u16string(515, u'x') + u"y"});
  EXPECT_EQ(Open(), INVALID_HANDLE_VALUE);
  EXPECT_THAT(LastOpen(), AllOf(HasSubstr(std::string(515, 'x') + "\""), Not(HasSubstr("y"))));
}

TEST_F(DeviceInterface, TheLookupIsLoggedWhateverTheZoneMask) {
  g_ulZoneMask = 0;
  Open();
  EXPECT_THAT(messages(), ElementsAre(StartsWith("GetFirstInterface:1973 : DeviceName : ")));
}

TEST_F(DeviceInterface, TheLookupLogsUnderTheHelpersGuidAndTheOpenUnderTheServices) {
  Open();
  std::optional<std::string> lookup;
  std::optional<std::string> open;
  for (const tablet::Event& event : machine().journal().events()) {
    const auto* const trace = std::get_if<tablet::TraceEvent>(&event.what);
    if (trace == nullptr) continue;
    if (trace->line == 1973) lookup = trace->guid;
    if (trace->line == 82) open = trace->guid;
  }
  ASSERT_TRUE(lookup && open);
  EXPECT_NE(*lookup, *open);
}

}  // namespace
