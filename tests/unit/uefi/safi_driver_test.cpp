// Firmware variables through the SAFI driver: the requests, their failures, and what the debugger is told.
#include <windows.h>

#include "tests/unit/uefi/uefi_fixture.h"
#include "vantord/uefi/safi_driver.h"

namespace modem_tests {
namespace {

constexpr const char* kDeviceName = "DeviceName = (%S)\r\n";
constexpr const char* kOpened = "Opened the device successfully.\r\n";
constexpr const char* kNotOpened = "Failed to open the device, error - %d\r\n";
constexpr const char* kNoDriver = "Error :OpenSAFIDriver\n";
constexpr const char* kNoSet = "SetupDiGetClassDevs failed!\r\n";
constexpr const char* kNoInterface = "SetupDiEnumDeviceInterfaces failed: %s\r\n";
constexpr const char* kNoDetail = "Error in SetupDiGetDeviceInterfaceDetail: %s\r\n";
constexpr const char* kNoDetailMemory = "Failed to allocate memory.\r\n";
constexpr const char* kNoPayload = "Error : Invalid memory for input payload. Provisioning will not continue\n";
constexpr const char* kSizeRequestFailed = "Error : IOCTL call failed read size\n";
constexpr const char* kRequestFailed = "Error : IOCTL call failed\n";
constexpr const char* kStatus = "Error : Provisiong process failed: IoctlStatus->Pstatus: %d\n";

constexpr const char* kAskSize = "0x6892200a, 1040 in, 8 out";

class SafiDriver : public UefiTest {
 protected:
  SafiDriver() { PutSalesCode("VZW"); }

  DWORD Read(DWORD capacity = 4) { return SafiGetVariable(kSalesCodeName, kSalesCodeGuid, buffer_, capacity); }
  bool Write(std::string_view data) {
    SafiKey const key(kSalesCodeName, kSalesCodeGuid);
    return SafiWriteVariable(key.text(), data.data());
  }
  Bytes SalesCode() {
    return machine().firmware().Find({kSalesCodeName, *tablet::Guid::Parse(tablet::ToUtf8(kSalesCodeGuid))})->data;
  }
  /// Puts another driver in the place of the tablet's own.
  void Replace(std::u16string link, std::function<tablet::WinError(std::shared_ptr<tablet::DeviceFile>&)> open) {
    machine().devices().Remove(DefaultDescription().firmware_driver_link);
    machine().devices().Arrive({tablet::kSafiClass, std::move(link), std::move(open)});
  }

  char buffer_[16] = "untouched";
};

TEST_F(SafiDriver, AsksForTheSizeTwiceAndThenReads) {
  EXPECT_EQ(Read(), 3u);
  EXPECT_EQ(std::string_view(buffer_, 4), "VZWo") << "only the variable's bytes are written";
  EXPECT_THAT(Requests(), ElementsAre(kAskSize, kAskSize, "0x68922006, 1044 in, 8 out"));
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened, kDeviceName, kOpened, kDeviceName, kOpened));
}

TEST_F(SafiDriver, EveryRequestOpensTheDriverAndClosesIt) {
  Read();
  std::vector<tablet::CallEvent> const opens = machine().journal().Calls("CreateFileW");
  ASSERT_EQ(opens.size(), 3u);
  EXPECT_EQ(opens[0].args,
            "\"\\\\?\\ROOT#SAFI#0000#{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}\", 0xc0000000, 0x3, 3, 0x80");
  EXPECT_EQ(Count("CloseHandle"), 3u);
  EXPECT_EQ(Count("SetupDiDestroyDeviceInfoList"), 3u);
  ExpectAllReleased();
}

TEST_F(SafiDriver, DebuggerGetsTheBytesOfTheTextsAsTheyAre) {
  WriteDebugger("abc%d");
  EXPECT_THAT(machine().journal().DebuggerTexts(), ElementsAre(tablet::ToUtf8(u"\u6261\u2563\u0064")));
}

TEST_F(SafiDriver, AVariableLargerThanTheBufferIsNotRead) {
  PutSalesCode("VZWXY");
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_ENVIRONMENT});
  EXPECT_THAT(Requests(), ElementsAre(kAskSize));
  EXPECT_STREQ(buffer_, "untouched");
}

TEST_F(SafiDriver, AnEmptyVariableIsNotRead) {
  PutSalesCode("");
  EXPECT_EQ(Read(), 0u);
  EXPECT_THAT(Requests(), ElementsAre(kAskSize));
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened));
}

TEST_F(SafiDriver, TwoDifferentSizesFail) {
  trouble().sizes = {3, 4};
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_BLOCK});
  EXPECT_THAT(Requests(), ElementsAre(kAskSize, kAskSize));
}

TEST_F(SafiDriver, ASizeThatCannotBeHadASecondTimeFailsAsADifferentOne) {
  Inject("DeviceIoControl", ERROR_IO_DEVICE, 2, 1);
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_BLOCK});
}

TEST_F(SafiDriver, AVariableThatDoesNotExistFailsWithTheDriversError) {
  EXPECT_EQ(SafiGetVariable(u"NO_SUCH", kSalesCodeGuid, buffer_, 4), 0u);
  EXPECT_EQ(GetLastError(), tablet::kEnvironmentVariableNotFound);
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened, kStatus));
  ExpectAllReleased();
}

TEST_F(SafiDriver, TheReplysStatusBecomesTheLastErrorOfARead) {
  trouble().sizes = {2, 2};
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(Debugger().back(), kStatus);
  EXPECT_STREQ(buffer_, "untouched");
}

TEST_F(SafiDriver, AFailedRequestLeavesLastErrorOne) {
  Inject("DeviceIoControl", ERROR_IO_DEVICE, 1, 1);
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), 1u);
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened, kSizeRequestFailed, kStatus));
  ExpectAllReleased();
}

TEST_F(SafiDriver, AFailedReadRequestLeavesLastErrorOneToo) {
  Inject("DeviceIoControl", ERROR_IO_DEVICE, 3, 1);
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), 1u);
  EXPECT_THAT(Debugger(),
              ElementsAre(kDeviceName, kOpened, kDeviceName, kOpened, kDeviceName, kOpened, kRequestFailed, kStatus));
  ExpectAllReleased();
}

TEST_F(SafiDriver, AFailedRequestWithAStatusFromTheDriverLeavesThatStatus) {
  trouble() = {.status = 5, .request_error = 31};
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), 5u);
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened, kSizeRequestFailed, kStatus));
}

/// Fails every request, with a reply that says that all is well: a status of 0, then three bytes, were it a size.
class ContraryDriver : public tablet::DeviceFile {
 public:
  tablet::WinError Control(std::uint32_t, std::span<const std::uint8_t>, std::span<std::uint8_t> out,
                           std::uint32_t&) override {
    std::fill(out.begin(), out.end(), std::uint8_t{0});
    if (out.size() > 4) out[4] = 3;
    return tablet::kIoDevice;
  }
};

TEST_F(SafiDriver, AFailedRequestWithACleanStatusLeavesItsOwnError) {
  Replace(u"\\\\?\\contrary", [](std::shared_ptr<tablet::DeviceFile>& out) {
    out = std::make_shared<ContraryDriver>();
    return tablet::kSuccess;
  });
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_IO_DEVICE});
  EXPECT_FALSE(Write("0123456789"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_IO_DEVICE});
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened, kSizeRequestFailed, kDeviceName, kOpened, kRequestFailed));
}

TEST_F(SafiDriver, WithoutADeviceTheReadFailsWithTheErrorOfTheLookup) {
  PowerOnWithoutDriver();
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
  EXPECT_THAT(Debugger(), ElementsAre(kNoInterface, kNoDriver));
  ExpectAllReleased();
}

TEST_F(SafiDriver, AFailedLookupWithoutASystemTextIsNotReported) {
  PowerOnWithoutDriver();
  Inject("FormatMessageW", 317);
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
  EXPECT_THAT(Debugger(), ElementsAre(kNoDriver));
}

TEST_F(SafiDriver, WithoutADeviceSetTheReadFailsWithItsError) {
  Inject("SetupDiGetClassDevsW", 13);
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), 13u);
  EXPECT_THAT(Debugger(), ElementsAre(kNoSet, kNoDriver));
  EXPECT_EQ(Count("SetupDiDestroyDeviceInfoList"), 0u);
}

TEST_F(SafiDriver, AnInterfaceWithoutItsDetailIsReported) {
  for (std::uint32_t const call : {1u, 2u}) {
    std::size_t const before = Debugger().size();
    machine().faults().Clear();
    Inject("SetupDiGetDeviceInterfaceDetailW", 31, call, 1);
    EXPECT_EQ(Read(), 0u);
    EXPECT_EQ(GetLastError(), 31u);
    std::vector<std::string> const texts = Debugger();
    EXPECT_THAT(std::vector<std::string>(texts.begin() + static_cast<std::ptrdiff_t>(before), texts.end()),
                ElementsAre(kNoDetail, kNoDriver));
    ExpectAllReleased();
  }
}

TEST_F(SafiDriver, ADriverThatCannotBeOpenedIsReported) {
  Inject("CreateFileW", ERROR_ACCESS_DENIED);
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kNotOpened, kNoDriver));
  ExpectAllReleased();
}

TEST_F(SafiDriver, APathThatDoesNotEndWithin512CharactersFails) {
  auto const open = [this](std::shared_ptr<tablet::DeviceFile>& out) {
    machine().devices().Open(u"\\\\?\\own", out);
    return tablet::kSuccess;
  };
  machine().devices().Arrive({tablet::kModemControlClass, u"\\\\?\\own", [](std::shared_ptr<tablet::DeviceFile>& out) {
                                out = std::make_shared<ContraryDriver>();
                                return tablet::kSuccess;
                              }});
  std::u16string const longest = u"\\\\?\\" + std::u16string(507, u'x');
  Replace(longest, open);
  Read();
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened, kSizeRequestFailed));

  machine().devices().Remove(longest);
  Replace(longest + u"x", open);
  EXPECT_EQ(Read(), 0u);
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened, kSizeRequestFailed, kNoDriver));
  EXPECT_EQ(Count("CreateFileW"), 1u);
}

TEST_F(SafiDriver, OnlyTheFirst130CharactersOfTheKeyReachTheDriver) {
  tablet::Guid const vendor = *tablet::Guid::Parse(tablet::ToUtf8(kSalesCodeGuid));
  machine().firmware().Put({std::u16string(92, u'n'), vendor}, ToBytes("cut"));
  machine().firmware().Put({std::u16string(93, u'n'), vendor}, ToBytes("all"));
  EXPECT_EQ(SafiGetVariable(std::u16string(93, u'n').c_str(), kSalesCodeGuid, buffer_, 4), 3u);
  EXPECT_EQ(std::string_view(buffer_, 3), "cut");
}

TEST_F(SafiDriver, AKeyEndsWithItsBuffer) {
  SafiKey const key(std::u16string(300, u'n').c_str(), kSalesCodeGuid);
  EXPECT_EQ(std::u16string(key.text()), kSalesCodeGuid + std::u16string(221, u'n'));
}

TEST_F(SafiDriver, AReadWithoutOneOfItsArgumentsIsRefused) {
  for (DWORD const size :
       {SafiGetVariable(nullptr, kSalesCodeGuid, buffer_, 4), SafiGetVariable(kSalesCodeName, nullptr, buffer_, 4),
        SafiGetVariable(kSalesCodeName, kSalesCodeGuid, nullptr, 4), Read(0)}) {
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_BLOCK});
  }
  EXPECT_THAT(Requests(), IsEmpty());
}

struct MemoryCase {
  std::uint32_t allocation;  ///< of the read: key, request, reply, device path
  std::vector<std::string> texts;
};

TEST_F(SafiDriver, AReadWithoutMemoryFailsWhereverItRunsOut) {
  const MemoryCase cases[] = {{1, {}}, {2, {kNoPayload}}, {3, {kNoPayload}}, {4, {kNoDetailMemory, kNoDriver}}};
  for (const MemoryCase& memory : cases) {
    PowerOnAgain(DefaultDescription());
    PutSalesCode("VZW");
    Inject("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY, memory.allocation, 1);
    EXPECT_EQ(Read(), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(Debugger(), memory.texts) << "allocation " << memory.allocation;
    ExpectAllReleased();
  }
}

TEST_F(SafiDriver, AReadRequestWithoutMemoryFails) {
  for (std::uint32_t const allocation : {8u, 9u}) {
    PowerOnAgain(DefaultDescription());
    PutSalesCode("VZW");
    Inject("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY, allocation, 1);
    EXPECT_EQ(Read(), 0u);
    EXPECT_THAT(Requests(), ElementsAre(kAskSize, kAskSize));
    EXPECT_EQ(Debugger().back(), kNoPayload);
    ExpectAllReleased();
  }
}

TEST_F(SafiDriver, AWriteIsAlwaysTenBytes) {
  EXPECT_TRUE(Write("0123456789and more"));
  EXPECT_EQ(SalesCode(), ToBytes("0123456789"));
  EXPECT_THAT(Requests(), ElementsAre("0x68922002, 1055 in, 4 out"));
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened));
  ExpectAllReleased();
}

TEST_F(SafiDriver, AWriteWithoutKeyOrDataIsRefused) {
  SafiKey const key(kSalesCodeName, kSalesCodeGuid);
  EXPECT_FALSE(SafiWriteVariable(key.text(), nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_BLOCK});
  SetLastError(0);
  EXPECT_FALSE(SafiWriteVariable(nullptr, buffer_));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_BLOCK});
  EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(SafiDriver, AWriteFailsAsAReadDoes) {
  trouble() = {.status = 19, .count = 1};
  EXPECT_FALSE(Write("0123456789"));
  EXPECT_EQ(GetLastError(), 19u);
  Inject("DeviceIoControl", ERROR_IO_DEVICE, 1, 1);
  EXPECT_FALSE(Write("0123456789"));
  EXPECT_EQ(GetLastError(), 1u);
  Inject("CreateFileW", ERROR_ACCESS_DENIED, 1, 1);
  EXPECT_FALSE(Write("0123456789"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_THAT(Debugger(), ElementsAre(kDeviceName, kOpened, kStatus,                  //
                                      kDeviceName, kOpened, kRequestFailed, kStatus,  //
                                      kDeviceName, kNotOpened, kNoDriver));
  EXPECT_EQ(SalesCode(), ToBytes("VZW"));
  ExpectAllReleased();
}

TEST_F(SafiDriver, AWriteWithoutMemoryFails) {
  for (std::uint32_t const allocation : {2u, 3u}) {
    PowerOnAgain(DefaultDescription());
    Inject("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY, allocation, 1);
    EXPECT_FALSE(Write("0123456789"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_THAT(Debugger(), ElementsAre(kNoPayload));
    ExpectAllReleased();
  }
}

TEST_F(SafiDriver, CleanUpThatFailsLeavesTheLastErrorAlone) {
  for (const char* const call : {"CloseHandle", "SetupDiDestroyDeviceInfoList", "LocalFree"}) Inject(call, 6);
  trouble() = {.status = 5};
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(GetLastError(), 5u);
}

}  // namespace
}  // namespace modem_tests
