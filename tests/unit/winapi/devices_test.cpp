// How callers of the Windows API find devices and send them requests.
#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include <cstddef>
#include <string>
#include <vector>

#include "tests/testing/tablet_fixture.h"

namespace {

constexpr DWORD kInvalidUserBuffer = 1784;
GUID g_modem = {0xD49F5C0E, 0xE540, 0x4DBE, {0xBF, 0x78, 0x97, 0xED, 0x9B, 0xD9, 0x87, 0xA4}};
GUID g_nobody = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr DWORD kPresentInterfaces = DIGCF_PRESENT | DIGCF_DEVICEINTERFACE;

class DeviceListTest : public testing_support::TabletTest {
 protected:
  DeviceListTest() {
    PowerOn(With([](auto& description) { description.modem_links = {u"\\\\?\\a", u"\\\\?\\bc"}; }));
  }
};

TEST_F(DeviceListTest, ListsEachLinkTerminatedAndAFinalTerminator) {
  ULONG length = 0;
  EXPECT_EQ(CM_Get_Device_Interface_List_SizeW(&length, &g_modem, nullptr, 0), CR_SUCCESS);
  EXPECT_EQ(length, 6u + 7u + 1u);
  std::u16string list(length, u'x');
  EXPECT_EQ(CM_Get_Device_Interface_ListW(&g_modem, nullptr, list.data(), length, 0), CR_SUCCESS);
  EXPECT_EQ(list, std::u16string(u"\\\\?\\a\0\\\\?\\bc\0\0", 14));
}

TEST_F(DeviceListTest, TheListOfAClassWithoutDevicesIsOneTerminator) {
  ULONG length = 0;
  EXPECT_EQ(CM_Get_Device_Interface_List_SizeW(&length, &g_nobody, nullptr, 0), CR_SUCCESS);
  EXPECT_EQ(length, 1u);
  WCHAR list[2] = {u'x', u'y'};
  EXPECT_EQ(CM_Get_Device_Interface_ListW(&g_nobody, nullptr, list, 1, 0), CR_SUCCESS);
  EXPECT_EQ(list[0], 0);
  EXPECT_EQ(list[1], u'y');
}

TEST_F(DeviceListTest, AListThatHasGrownDoesNotFit) {
  WCHAR list[13] = {};
  EXPECT_EQ(CM_Get_Device_Interface_ListW(&g_modem, nullptr, list, 13, 0), CR_BUFFER_SMALL);
}

TEST_F(DeviceListTest, TheConfigurationManagerRefusesNullPointersAndLeavesTheLastErrorAlone) {
  SetLastError(7);
  ULONG length = 0;
  WCHAR list[1] = {};
  EXPECT_EQ(CM_Get_Device_Interface_List_SizeW(nullptr, &g_modem, nullptr, 0), CR_INVALID_POINTER);
  EXPECT_EQ(CM_Get_Device_Interface_List_SizeW(&length, nullptr, nullptr, 0), CR_INVALID_POINTER);
  EXPECT_EQ(CM_Get_Device_Interface_ListW(&g_modem, nullptr, nullptr, 1, 0), CR_INVALID_POINTER);
  EXPECT_EQ(CM_Get_Device_Interface_ListW(&g_modem, nullptr, list, 0, 0), CR_INVALID_POINTER);
  EXPECT_EQ(GetLastError(), 7u);
}

TEST_F(DeviceListTest, AnInjectedErrorIsTheConfigurationManagersAnswer) {
  Inject("CM_Get_Device_Interface_List_SizeW", 0x13, 1, 1);
  ULONG length = 77;
  EXPECT_EQ(CM_Get_Device_Interface_List_SizeW(&length, &g_modem, nullptr, 0), 0x13u);
  EXPECT_EQ(length, 77u);
}

class DeviceSetTest : public DeviceListTest {
 protected:
  DeviceSetTest() : set_(SetupDiGetClassDevsW(&g_modem, nullptr, nullptr, kPresentInterfaces)) {}

  SP_DEVICE_INTERFACE_DATA Member(DWORD index) {
    SP_DEVICE_INTERFACE_DATA data = {};
    data.cbSize = sizeof(data);
    EXPECT_TRUE(SetupDiEnumDeviceInterfaces(set_, nullptr, &g_modem, index, &data));
    return data;
  }

  HDEVINFO set_;
};

TEST_F(DeviceSetTest, GivesThePathOfAMemberAfterAskingForItsSize) {
  SP_DEVICE_INTERFACE_DATA data = Member(1);
  EXPECT_TRUE(IsEqualGUID(data.InterfaceClassGuid, g_modem));
  DWORD size = 0;
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(set_, &data, nullptr, 0, &size, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(size, 4u + 7u * 2u);
  alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_W) BYTE memory[64] = {};
  auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(memory);
  detail->cbSize = 8;
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(set_, &data, detail, size - 1, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_TRUE(SetupDiGetDeviceInterfaceDetailW(set_, &data, detail, size, nullptr, nullptr));
  EXPECT_EQ(std::u16string(reinterpret_cast<const WCHAR*>(memory + 4)), u"\\\\?\\bc");
}

TEST_F(DeviceSetTest, EndsBehindItsLastMember) {
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof(data);
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set_, nullptr, &g_modem, 2, &data));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set_, nullptr, &g_nobody, 0, &data));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
}

TEST_F(DeviceSetTest, IsEmptyForAClassWithoutDevices) {
  HDEVINFO const set = SetupDiGetClassDevsW(&g_nobody, nullptr, nullptr, kPresentInterfaces);
  ASSERT_NE(set, INVALID_HANDLE_VALUE);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof(data);
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set, nullptr, &g_nobody, 0, &data));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
}

TEST_F(DeviceSetTest, RefusesRecordsWithAnotherSizeField) {
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = 28;
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set_, nullptr, &g_modem, 0, &data));
  EXPECT_EQ(GetLastError(), kInvalidUserBuffer);
  data = Member(0);
  alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_W) BYTE memory[64] = {};
  auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(memory);
  detail->cbSize = 6;
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(set_, &data, detail, 64, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), kInvalidUserBuffer);
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(set_, &data, nullptr, 64, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), kInvalidUserBuffer);
}

TEST_F(DeviceSetTest, ARecordThatNoEnumerationFilledNamesNoMember) {
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof(data);
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(set_, &data, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(DeviceSetTest, IsAHandleUntilItIsDestroyed) {
  EXPECT_THAT(machine().handles().OpenKinds(0), ElementsAre("device set"));
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(set_));
  EXPECT_THAT(machine().handles().OpenKinds(0), IsEmpty());
  EXPECT_FALSE(SetupDiDestroyDeviceInfoList(set_));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof(data);
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set_, nullptr, &g_modem, 0, &data));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(DeviceSetTest, AnInjectedErrorGivesNoSet) {
  Inject("SetupDiGetClassDevsW", 13, 1, 1);
  EXPECT_EQ(SetupDiGetClassDevsW(&g_modem, nullptr, nullptr, kPresentInterfaces), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 13u);
}

/// Answers the number of bytes it was sent, and fails when it was sent none.
class EchoDevice : public tablet::DeviceFile {
 public:
  tablet::WinError Control(std::uint32_t code, std::span<const std::uint8_t> in, std::span<std::uint8_t> out,
                           std::uint32_t& returned) override {
    if (in.empty()) return tablet::kIoDevice;
    out[0] = static_cast<std::uint8_t>(in.size());
    out[1] = static_cast<std::uint8_t>(code);
    returned = 2;
    return tablet::kSuccess;
  }
};

class NoDevice : public tablet::Object {
 public:
  std::string_view kind() const override { return "file"; }
};

class DeviceRequestTest : public testing_support::TabletTest {
 protected:
  HANDLE Add(std::shared_ptr<tablet::Object> object) {
    return reinterpret_cast<HANDLE>(machine().handles().Add(std::move(object)));
  }
};

TEST_F(DeviceRequestTest, ReachesTheDriverAndBringsItsAnswerBack) {
  BYTE in[3] = {};
  BYTE out[4] = {};
  DWORD returned = 99;
  EXPECT_TRUE(DeviceIoControl(Add(std::make_shared<EchoDevice>()), 0x42, in, 3, out, 4, &returned, nullptr));
  EXPECT_THAT(out, ElementsAre(3, 0x42, 0, 0));
  EXPECT_EQ(returned, 2u);
}

TEST_F(DeviceRequestTest, TheCountOfReturnedBytesMayBeLeftOut) {
  BYTE in[3] = {};
  BYTE out[4] = {};
  EXPECT_TRUE(DeviceIoControl(Add(std::make_shared<EchoDevice>()), 0x42, in, 3, out, 4, nullptr, nullptr));
}

TEST_F(DeviceRequestTest, AFailedRequestGivesTheDriversErrorAndNoBytes) {
  DWORD returned = 99;
  EXPECT_FALSE(DeviceIoControl(Add(std::make_shared<EchoDevice>()), 1, nullptr, 0, nullptr, 0, &returned, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_IO_DEVICE});
  EXPECT_EQ(returned, 0u);
}

TEST_F(DeviceRequestTest, OnlyDevicesTakeRequests) {
  EXPECT_FALSE(DeviceIoControl(Add(std::make_shared<NoDevice>()), 1, nullptr, 0, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_FUNCTION});
  EXPECT_FALSE(DeviceIoControl(INVALID_HANDLE_VALUE, 1, nullptr, 0, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(DeviceRequestTest, AnOverlappedRequestStopsTheRunByName) {
  machine().scheduler().Start(1, "caller", [&] {
    OVERLAPPED overlapped = {};
    DeviceIoControl(Add(std::make_shared<EchoDevice>()), 1, nullptr, 0, nullptr, 0, nullptr, &overlapped);
  });
  machine().scheduler().WaitFor(tablet::Millis{1}, [] { return false; });
  ASSERT_TRUE(machine().scheduler().halted().has_value());
  EXPECT_THAT(machine().scheduler().halted()->message, testing::HasSubstr("DeviceIoControl: not modelled"));
}

}  // namespace
