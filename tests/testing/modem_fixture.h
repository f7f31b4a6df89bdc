// A tablet with a modem whose class driver still points at the images it was shipped with, and the service's log open.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/service_facts.h"
#include "tests/testing/tablet_fixture.h"
#include "tests/testing/zip_builder.h"
#include "vantord/common/diagnostic_log.h"

namespace modem_tests {

inline constexpr auto& kService = service_facts::kServiceKey;
inline constexpr auto& kParameters = service_facts::kParametersKey;
inline constexpr auto& kCscMap = service_facts::kWideCscMap;
inline constexpr auto& kImageIdMap = service_facts::kWideImageIdMap;
inline constexpr char16_t kModemClass[] =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E97D-E325-11CE-BFC1-08002BE10318}";
inline constexpr char16_t kSetupState[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State";

inline constexpr char16_t kFirmwarePath[] = u"\\SystemRoot\\System32\\qcdsp1v2850.mbn";
inline constexpr char16_t kSoftwarePath[] = u"\\SystemRoot\\System32\\qcdsp2850.mbn";
inline constexpr char16_t kShippedPath[] = u"\\SystemRoot\\System32\\shipped.mbn";

inline constexpr auto& kModemFolder = service_facts::kWideArchiveFolder;
inline constexpr char16_t kVzwArchive[] = u"c:\\windows\\system32\\modem_core\\VZW.bin";

using namespace testing_support;

/// ERROR_ACCESS_DENIED, for faults.
inline constexpr std::uint32_t kAccessDenied = 5;

/// A text as the registry stores it, terminator included.
tablet::RegistryValue TextValue(std::u16string_view text);

class ModemTest : public TabletTest {
 protected:
  ModemTest();

  /// Powers on another tablet, empty as the first was, with the service's log open.
  void PowerOnAgain(const tablet::Description& description);

  /// Key of an instance of the modem class: "0000", "0001".
  static std::u16string Instance(std::u16string_view name) { return std::u16string(kModemClass) + u"\\" + name.data(); }
  /// Gives the modem's class an instance with this firmware path.
  void PutInstance(std::u16string_view name, std::u16string_view firmware_path);

  void PutFirmware(const char16_t* name, const char* vendor, Bytes data);
  void PutSalesCode(std::string_view code);
  void PutFirmwareImageId(std::string_view id);
  /// The firmware's "ModemImageID" as it is now; empty when there is none.
  Bytes FirmwareImageId();

  void EnterAuditMode();

  /// Puts an archive under the default image's name, or another.
  void PutArchive(const ZipBuilder& archive, std::u16string_view path = kVzwArchive);
  /// Puts an archive of one file, "qcdsp1v2850.mbn", under the default image's name.
  void PutArchive();
  /// Whether that file has been extracted.
  bool IsDeployed();
};

}  // namespace modem_tests
