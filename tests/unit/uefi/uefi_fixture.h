// A tablet whose firmware driver a test can make fail, and what the service told the debugger about it.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/testing/modem_fixture.h"

namespace modem_tests {

inline constexpr const char16_t* kSalesCodeName = u"SALES_CODE";
inline constexpr const char16_t* kSalesCodeGuid = u"{9806d87d-b4fb-4d02-97d2-8597337abc83}";

class UefiTest : public ModemTest {
 protected:
  tablet::FirmwareTrouble& trouble() { return machine().firmware().trouble(); }
  std::size_t Count(const char* call) { return machine().journal().Calls(call).size(); }

  /// Powers on a tablet without the firmware driver.
  void PowerOnWithoutDriver() {
    PowerOnAgain(With([](auto& description) { description.firmware_driver_present = false; }));
  }

  /// Each request to the driver: its code and the lengths of its buffers.
  std::vector<std::string> Requests() {
    std::vector<std::string> requests = ArgumentsOf("DeviceIoControl");
    for (std::string& request : requests) request.erase(0, request.find(", ") + 2);
    return requests;
  }

  /// The texts written to the debugger, taken apart into the bytes that they are made of.
  std::vector<std::string> Debugger() {
    std::vector<std::string> texts;
    for (const std::string& text : machine().journal().DebuggerTexts()) {
      std::string bytes;
      for (char16_t const pair : tablet::ToUtf16(text)) {
        bytes += static_cast<char>(pair);
        if (pair > 0xFF) bytes += static_cast<char>(pair >> 8);
      }
      texts.push_back(bytes);
    }
    return texts;
  }

  /// Neither handles nor memory are held.
  void ExpectAllReleased() {
    EXPECT_THAT(machine().handles().OpenKinds(0), testing::IsEmpty());
    EXPECT_THAT(machine().heap().LiveBlocks(0), testing::IsEmpty());
  }
};

}  // namespace modem_tests
