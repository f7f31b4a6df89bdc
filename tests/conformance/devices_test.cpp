// How devices are found and asked. Both worlds have the modem's interface, the firmware driver with the variable
// SALES_CODE, and the modem's statistics driver.
#include "tests/conformance/world.h"

// These need <windows.h> before them.
#include <cfgmgr32.h>
#include <setupapi.h>

#include <cstring>
#include <vector>

namespace {

using conformance::Error;
using conformance::Text;
using testing_support::Handle;

GUID g_modem = {0xD49F5C0E, 0xE540, 0x4DBE, {0xBF, 0x78, 0x97, 0xED, 0x9B, 0xD9, 0x87, 0xA4}};
GUID g_firmware = {0xFD9FF848, 0x46D1, 0x4CE7, {0x89, 0x40, 0x6D, 0xF2, 0xF1, 0xE6, 0xEF, 0xF6}};
GUID g_nobody = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

constexpr DWORD kSafiRead = 0x68922006;
constexpr DWORD kSafiSize = 0x6892200A;
constexpr DWORD kModemReset = 0x9CA30C00;
constexpr std::size_t kSafiHeader = 1040;
constexpr std::size_t kSafiNamespaceAt = 520;

class Devices : public conformance::World {
 protected:
  static HDEVINFO SetOf(GUID& interfaceClass) {
    return ::SetupDiGetClassDevsW(&interfaceClass, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
  }
  static SP_DEVICE_INTERFACE_DATA EmptyMember() {
    SP_DEVICE_INTERFACE_DATA data = {};
    data.cbSize = sizeof(data);
    return data;
  }

  /// The path of the only interface of a class, as SetupDi gives it.
  static Text PathOf(GUID& interfaceClass) {
    HDEVINFO const set = SetOf(interfaceClass);
    SP_DEVICE_INTERFACE_DATA data = EmptyMember();
    EXPECT_TRUE(::SetupDiEnumDeviceInterfaces(set, nullptr, &interfaceClass, 0, &data));
    alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_W) BYTE memory[1024] = {};
    auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(memory);
    detail->cbSize = sizeof(*detail);
    EXPECT_TRUE(::SetupDiGetDeviceInterfaceDetailW(set, &data, detail, sizeof(memory), nullptr, nullptr));
    ::SetupDiDestroyDeviceInfoList(set);
    return detail->DevicePath;
  }

  static HANDLE OpenDevice(const Text& path) {
    return ::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  }

  static std::vector<BYTE> VariableRequest(const Text& name, std::size_t bytes) {
    std::vector<BYTE> request(bytes);
    Text const key = TEXT("{9806d87d-b4fb-4d02-97d2-8597337abc83}") + name;
    std::memcpy(request.data(), key.data(), key.size() * sizeof(WCHAR));
    std::memcpy(request.data() + kSafiNamespaceAt, TEXT("OEM"), 3 * sizeof(WCHAR));
    return request;
  }

  struct Reply {
    DWORD error;
    std::vector<BYTE> bytes;
    DWORD Number(std::size_t at) const {
      DWORD number = 0;
      std::memcpy(&number, bytes.data() + at, sizeof(number));
      return number;
    }
  };
  static Reply Ask(HANDLE device, DWORD code, std::vector<BYTE> request, std::size_t replyBytes) {
    Reply reply = {0, std::vector<BYTE>(replyBytes)};
    DWORD returned = 0;
    reply.error = Error(::DeviceIoControl(device, code, request.data(), static_cast<DWORD>(request.size()),
                                          reply.bytes.data(), static_cast<DWORD>(replyBytes), &returned, nullptr));
    return reply;
  }
};

TEST_F(Devices, TheListHoldsEachLinkTerminatedAndAFinalTerminator) {
  Text const path = PathOf(g_modem);
  ULONG length = 0;
  ASSERT_EQ(::CM_Get_Device_Interface_List_SizeW(&length, &g_modem, nullptr, 0), DWORD{CR_SUCCESS});
  EXPECT_EQ(length, path.size() + 2);
  Text list(length, TEXT('~'));
  ASSERT_EQ(::CM_Get_Device_Interface_ListW(&g_modem, nullptr, list.data(), length, 0), DWORD{CR_SUCCESS});
  EXPECT_EQ(list, path + Text(2, TEXT('\0')));
  EXPECT_EQ(::CM_Get_Device_Interface_ListW(&g_modem, nullptr, list.data(), length - 1, 0), DWORD{CR_BUFFER_SMALL});
}

TEST_F(Devices, TheListOfAClassWithoutDevicesIsOneTerminator) {
  ULONG length = 0;
  EXPECT_EQ(::CM_Get_Device_Interface_List_SizeW(&length, &g_nobody, nullptr, 0), DWORD{CR_SUCCESS});
  EXPECT_EQ(length, 1u);
}

TEST_F(Devices, ASetEndsBehindItsLastMember) {
  HDEVINFO const set = SetOf(g_modem);
  ASSERT_NE(set, INVALID_HANDLE_VALUE);
  SP_DEVICE_INTERFACE_DATA data = EmptyMember();
  EXPECT_TRUE(::SetupDiEnumDeviceInterfaces(set, nullptr, &g_modem, 0, &data));
  EXPECT_TRUE(IsEqualGUID(data.InterfaceClassGuid, g_modem));
  EXPECT_EQ(Error(::SetupDiEnumDeviceInterfaces(set, nullptr, &g_modem, 1, &data)), 259u);
  EXPECT_EQ(Error(::SetupDiEnumDeviceInterfaces(set, nullptr, &g_nobody, 0, &data)), 259u);
  EXPECT_TRUE(::SetupDiDestroyDeviceInfoList(set));
}

TEST_F(Devices, ASetOfAClassWithoutDevicesIsEmpty) {
  HDEVINFO const set = SetOf(g_nobody);
  ASSERT_NE(set, INVALID_HANDLE_VALUE);
  SP_DEVICE_INTERFACE_DATA data = EmptyMember();
  EXPECT_EQ(Error(::SetupDiEnumDeviceInterfaces(set, nullptr, &g_nobody, 0, &data)), 259u);
  EXPECT_TRUE(::SetupDiDestroyDeviceInfoList(set));
}

TEST_F(Devices, AskingForAPathWithoutABufferGivesItsSize) {
  Text const path = PathOf(g_modem);
  HDEVINFO const set = SetOf(g_modem);
  SP_DEVICE_INTERFACE_DATA data = EmptyMember();
  ASSERT_TRUE(::SetupDiEnumDeviceInterfaces(set, nullptr, &g_modem, 0, &data));
  DWORD size = 0;
  EXPECT_EQ(Error(::SetupDiGetDeviceInterfaceDetailW(set, &data, nullptr, 0, &size, nullptr)), 122u);
  EXPECT_EQ(size, 4u + (path.size() + 1) * sizeof(WCHAR));
  ::SetupDiDestroyDeviceInfoList(set);
}

TEST_F(Devices, RecordsWithAnotherSizeFieldAreRefused) {
  HDEVINFO const set = SetOf(g_modem);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = 28;
  EXPECT_EQ(Error(::SetupDiEnumDeviceInterfaces(set, nullptr, &g_modem, 0, &data)),
            conformance::Differs("device-record-size", 1784u, 87u));
  ::SetupDiDestroyDeviceInfoList(set);
}

TEST_F(Devices, AnInterfaceIsOpenedByItsPathInAnyLetterCase) {
  Text path = PathOf(g_modem);
  { EXPECT_TRUE(Handle(OpenDevice(path)).valid()); }
  for (WCHAR& character : path) {
    if (character >= TEXT('a') && character <= TEXT('z')) character = static_cast<WCHAR>(character - 32);
  }
  EXPECT_TRUE(Handle(OpenDevice(path)).valid());
  Handle const missing(OpenDevice(TEXT("\\\\.\\NoSuchDeviceAtAll")));
  EXPECT_FALSE(missing.valid());
  EXPECT_EQ(::GetLastError(), 2u);
}

TEST_F(Devices, TheModemKnowsNoRequest) {
  Handle const modem(OpenDevice(PathOf(g_modem)));
  EXPECT_EQ(Ask(modem, 0x222000, std::vector<BYTE>(4), 4).error, 1u);
}

TEST_F(Devices, TheFirmwareDriverTellsAVariablesSizeAndData) {
  Handle const driver(OpenDevice(PathOf(g_firmware)));
  Reply const size = Ask(driver, kSafiSize, VariableRequest(TEXT("SALES_CODE"), kSafiHeader), 8);
  ASSERT_EQ(size.error, 0u);
  EXPECT_EQ(size.Number(0), 0u);
  EXPECT_EQ(size.Number(4), 3u);
  std::vector<BYTE> request = VariableRequest(TEXT("SALES_CODE"), kSafiHeader + 4);
  request[kSafiHeader] = 3;
  Reply const data = Ask(driver, kSafiRead, request, 3 + 5);
  ASSERT_EQ(data.error, 0u);
  EXPECT_EQ(data.Number(0), 0u);
  EXPECT_EQ(std::memcmp(data.bytes.data() + 4, "VZW", 3), 0);
}

TEST_F(Devices, TheFirmwareDriverSaysThatAVariableIsMissing) {
  Handle const driver(OpenDevice(PathOf(g_firmware)));
  Reply const reply = Ask(driver, kSafiSize, VariableRequest(TEXT("NOT_THERE"), kSafiHeader), 8);
  EXPECT_EQ(reply.error, 0u);
  EXPECT_EQ(reply.Number(0), 203u);
}

TEST_F(Devices, TheFirmwareDriverRefusesRecordsOfAnotherLength) {
  Handle const driver(OpenDevice(PathOf(g_firmware)));
  EXPECT_EQ(Ask(driver, kSafiSize, VariableRequest(TEXT("SALES_CODE"), kSafiHeader - 1), 8).error, 87u);
}

TEST_F(Devices, TheStatisticsDriverTakesAResetWithoutAPlaceForReturnedBytes) {
  Handle const driver(
      ::CreateFileW(TEXT("\\\\.\\AMSSStats"), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(driver.valid());
  BYTE request[1042] = {};
  request[1040] = 1;
  EXPECT_EQ(Error(::DeviceIoControl(driver, kModemReset, request, sizeof(request), nullptr, 0, nullptr, nullptr)), 0u);
}

TEST_F(Devices, OnlyDevicesTakeRequests) {
  EXPECT_EQ(Ask(INVALID_HANDLE_VALUE, kSafiSize, std::vector<BYTE>(4), 4).error, 6u);
}

}  // namespace
