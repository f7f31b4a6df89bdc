#include "cli/samples/variant_samples.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "cli/base/service_facts.h"
#include "cli/samples/sample_archive.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/pe_version.h"

namespace cli {

namespace {

using Drive = VariantSample::Drive;

constexpr std::string_view kRegisteredAtt = R"(
; The modem image ID that the device's image has set
[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord]
"ModemImageID"="ATT"
)";

constexpr std::string_view kKoreanMap = R"(
; This region's own map
[-HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord\Parameters\CSC]

[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord\Parameters\CSC]
"KOR"="KOR.bin"
"KO2"="KOR.bin"
)";

constexpr std::string_view kRedistribute = R"(
; A request to deploy the firmware once more
[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord\Parameters]
"Distribute"=dword:00000001
)";

constexpr std::string_view kAudit = R"(
[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Setup\State]
"ImageState"="IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT"

; The modem image ID that the factory has set
[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord]
"ModemImageID"="VZW"
)";

constexpr std::string_view kSetup = R"(
[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Setup\State]
"ImageState"="IMAGE_STATE_UNDEPLOYABLE"

[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord]
"ModemImageID"="VZW"
)";

constexpr std::array<VariantSample, 15> kSamples{{
    {.sample = {"korean", "a tablet of another region: its own sales code, map and archive"},
     .base = "fresh",
     .registry = kKoreanMap,
     .sales_code = "KOR"},
    {.sample = {"by-image-id", "no sales code: the registry's modem image ID names the archive"},
     .base = "fresh",
     .registry = kRegisteredAtt,
     .sales_code = {}},
    {.sample = {"by-firmware-id", "no sales code: the firmware's modem image ID names the archive"},
     .base = "fresh",
     .sales_code = {},
     .image_id = "KOR"},
    {.sample = {"default-image", "nothing names an archive: the service's default is taken"},
     .base = "fresh",
     .sales_code = {}},
    {.sample = {"redistribute", "firmware that is deployed, and a request to deploy it once more"},
     .base = "already-deployed",
     .registry = kRedistribute},
    {.sample = {"late-modem", "the modem's control device arrives 5 seconds after power-on"},
     .base = "fresh",
     .modem = R"({ "present": true, "arrives_at_ms": 5000 })"},
    {.sample = {"factory-audit", "audit mode in the factory: a trace session, and the image ID goes to firmware"},
     .base = "fresh",
     .registry = kAudit},
    {.sample = {"oobe", "first-boot setup that does not end"}, .base = "fresh", .registry = kSetup},
    {.sample = {"oobe-factory", "first-boot setup in the factory: a library marks the place"},
     .base = "fresh",
     .registry = kSetup,
     .drive = Drive::kMarker},
    {.sample = {"corrupt-archive", "one broken entry among many good ones in the modem's archive"},
     .base = "fresh",
     .drive = Drive::kCorruptArchive},
    {.sample = {"missing-archive", "the archive that the sales code names is not there"},
     .base = "fresh",
     .drive = Drive::kMissingArchive},
    {.sample = {"no-firmware-driver", "without the driver of firmware variables"},
     .base = "fresh",
     .driver = R"({ "present": false })"},
    {.sample = {"firmware-io-errors", "the firmware returns I/O errors a hundred times, then its values"},
     .base = "fresh",
     .driver = R"({ "present": true, "status": 1117, "status_count": 100 })"},
    {.sample = {"firmware-io-errors-for-ever", "the firmware returns nothing but I/O errors"},
     .base = "fresh",
     .driver = R"({ "present": true, "status": 1117, "status_count": "always" })"},
    {.sample = {"read-only-leftovers", "read-only files of an earlier deployment stand in the way"},
     .base = "fresh",
     .drive = Drive::kLeftovers},
}};

constexpr std::u16string_view kModemArchive = u"C:\\Windows\\System32\\modem_core\\VZW.bin";

/// The offset of an entry's data: after its local header, name and extra field.
std::size_t DataOf(const std::vector<std::uint8_t>& archive, std::string_view name) {
  static constexpr std::array<std::uint8_t, 4> kSignature{'P', 'K', 3, 4};
  constexpr std::size_t kHeader = 30;
  auto const number = [&](std::size_t at) { return std::size_t{archive[at]} | std::size_t{archive[at + 1]} << 8; };
  for (auto at = archive.begin();; ++at) {
    at = std::search(at, archive.end(), kSignature.begin(), kSignature.end());
    if (at == archive.end()) throw std::logic_error("the archive has no such entry");
    auto const header = static_cast<std::size_t>(at - archive.begin());
    std::size_t const length = number(header + 26);
    if (length == name.size() && std::equal(name.begin(), name.end(), at + kHeader)) {
      return header + kHeader + length + number(header + 28);
    }
  }
}

/// Many good entries, and in their middle one whose deflate stream begins with a block of the type that none has.
std::vector<std::uint8_t> MakeCorruptArchive(bool small) {
  constexpr std::int64_t kDay = 1'534'404'000;
  constexpr int kEntries = 24;
  std::vector<ArchiveEntry> entries;
  for (int i = 0; i < kEntries; ++i) {
    entries.push_back({.name = fmt::format("modem_fw/part{:02}.mbn", i),
                       .size = small ? 300u : 300u << 10,
                       .read_only = i % 4 == 3,
                       .written_at = kDay + i});
  }
  std::vector<std::uint8_t> archive = MakeArchive(entries);
  archive[DataOf(archive, "modem_fw/part11.mbn")] = 0x07;
  return archive;
}

void PutLeftovers(bool small, tablet::Drive& drive) {
  constexpr std::uint32_t kReadOnly = tablet::kAttributeReadOnly | tablet::kAttributeArchive;
  auto const put = [&](std::string_view name, std::uint64_t size) {
    drive.Put(u"C:\\Windows\\System32\\" + tablet::ToUtf16(name), FirmwareContent("older " + std::string(name), size),
              kReadOnly);
  };
  put("qcdsp1v2850.mbn", small ? 50'000 : 50'000'000);
  put("qcdsp2850.mbn", small ? 9'000 : 9'000'000);
  put("modem_fw\\release.txt", 2'000);
  put("modem_fw\\config\\carrier00.mbn", 150);
}

}  // namespace

std::span<const VariantSample> VariantSamples() { return kSamples; }

const VariantSample* FindVariantSample(std::string_view name) {
  auto const found =
      std::ranges::find_if(kSamples, [&](const VariantSample& known) { return known.sample.name == name; });
  return found == kSamples.end() ? nullptr : &*found;
}

void PutFirmware(const VariantSample& sample, tablet::Firmware& firmware) {
  if (!sample.sales_code.empty()) {
    firmware.Put({u"SALES_CODE", *tablet::Guid::Parse(service_facts::kSalesCodeVendor)},
                 {sample.sales_code.begin(), sample.sales_code.end()});
  }
  if (!sample.image_id.empty()) {
    firmware.Put({u"ModemImageID", *tablet::Guid::Parse(service_facts::kImageIdVendor)},
                 {sample.image_id.begin(), sample.image_id.end()});
  }
}

void PutSpecialFiles(const VariantSample& sample, bool small, tablet::Drive& drive) {
  switch (sample.drive) {
    case Drive::kAsBase:
      break;
    case Drive::kMarker:
      drive.Put(u"C:\\MfgDiag\\Dlls\\RILRouter.dll", tablet::MakeExecutableWithVersion(1, 0, 0, 1));
      break;
    case Drive::kCorruptArchive:
      drive.PutFolder(u"C:\\Windows\\System32\\modem_fw");
      drive.Put(kModemArchive, MakeCorruptArchive(small));
      break;
    case Drive::kMissingArchive:
      drive.Remove(kModemArchive);
      break;
    case Drive::kLeftovers:
      PutLeftovers(small, drive);
      break;
  }
}

}  // namespace cli
