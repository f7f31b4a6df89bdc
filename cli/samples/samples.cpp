#include "cli/samples/samples.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string>
#include <vector>

#include "cli/base/work_folder.h"
#include "cli/samples/crash_samples.h"
#include "cli/samples/sample_archive.h"
#include "cli/samples/variant_samples.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/nearest.h"
#include "sim/tablet/drive/pe_version.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

constexpr std::array<Sample, 8> kFirstSamples{
    Sample{"fresh", "a modem tablet straight from the factory line: its firmware was never deployed"},
    Sample{"wifi-only", "a tablet without a modem"},
    Sample{"already-deployed", "a modem tablet whose firmware was deployed at an earlier start"},
    Sample{"crashed-modem", "the modem has crashed and left dumps; a user is logged on"},
    Sample{"crashed-nobody-logged-on", "the modem has crashed and left dumps; no user is logged on"},
    Sample{"crashed-two-sessions", "the modem has crashed; two users are logged on, one of them is at the screen"},
    Sample{"oobe-then-desktop", "a tablet from the factory line in first-boot setup, which ends after 12 seconds"},
    Sample{"no-amss-driver", "a tablet from the factory line without the driver that resets the modem"},
};

constexpr std::uint64_t kKilo = 1024;
constexpr std::uint64_t kMega = 1024 * kKilo;
constexpr std::int64_t kImageDay = 1'534'404'000;  // 2018-08-16 07:20:00 UTC

// What every image of the device brings along. The first instance of the modem class is another device: it has no
// firmware of its own and is to be passed over.
constexpr std::string_view kRegistryOfAll = R"(Windows Registry Editor Version 5.00

; The service and its parameters
[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord]
"Type"=dword:00000010
"Start"=dword:00000002
"ImagePath"="C:\\Windows\\System32\\Vantord.exe"
"Version"="1.0.25.0"

[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord\Parameters]

; Which archive a sales code gets
[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord\Parameters\CSC]
"ATT"="ATT.bin"
"KOR"="KOR.bin"
"VZW"="VZW.bin"

; Which archive a modem image ID gets
[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord\Parameters\ImageID]
"ATT"="ATT.bin"
"KOR"="KOR.bin"
"VZW"="VZW.bin"

[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Setup\State]
"ImageState"="IMAGE_STATE_COMPLETE"

[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\CrashControl]
"CrashDumpEnabled"=dword:00000000
)";

constexpr std::string_view kModemClass = R"(Windows Registry Editor Version 5.00

; The modem class: first a device without firmware of its own, then the modem
[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Class\{{4d36e97d-e325-11ce-bfc1-08002be10318}}]
"Class"="System"

[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Class\{{4d36e97d-e325-11ce-bfc1-08002be10318}}\0000]
"DriverDesc"="Plug and Play Software Device Enumerator"

[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Class\{{4d36e97d-e325-11ce-bfc1-08002be10318}}\0001]
"DriverDesc"="Modem Subsystem Device"
"AmssFwImagePath"="{0}"
"AmssSwImagePath"="{1}"
)";

constexpr std::string_view kDescription = R"({{
  "schema": 1,
  "name": "{0}: {1}",
  "clock": {{ "start": "2026-03-02T08:00:00Z", "utc_offset_minutes": 60 }},
  "modem": {2},
  "firmware_driver": {4},
  "registry": {{ "denied": [], "read_only": [] }},
  "trace": {{ "collect": true }},
{3}  "timeline": []
}}
)";

/// The sample whose registry and drive a sample has.
std::string_view BaseOf(std::string_view sample) {
  if (const CrashSample* const crash = FindCrashSample(sample)) return crash->base;
  if (const VariantSample* const variant = FindVariantSample(sample)) return variant->base;
  return sample;
}

constexpr std::u16string_view kSystem32 = u"C:\\Windows\\System32\\";
constexpr std::u16string_view kArchives = u"C:\\Windows\\System32\\modem_core";

/// A file's size in the small variant: the same files, a thousandth of the bytes.
std::uint64_t Scale(std::uint64_t size, bool small) { return small ? std::max<std::uint64_t>(size / 1024, 96) : size; }

std::vector<ArchiveEntry> ModemEntries(bool small) {
  std::vector<ArchiveEntry> entries{
      {"qcdsp1v2850.mbn", 44 * kMega, false, false, kImageDay},
      {"qcdsp2850.mbn", 14 * kMega, true, false, kImageDay + 60},
      {"modem_fw/", 0, false, false, kImageDay + 120},
      {"modem_fw/partition.bin", 4 * kMega, false, true, kImageDay + 180},
      {"modem_fw/release.txt", 2 * kKilo, true, false, kImageDay + 240},
      {"modem_fw/config/", 0, false, false, kImageDay + 300},
  };
  for (int i = 0; i < (small ? 2 : 16); ++i) {
    entries.push_back(
        {fmt::format("modem_fw/config/carrier{:02}.mbn", i), 192 * kKilo, i % 2 == 1, i % 3 == 0, kImageDay + 360 + i});
  }
  for (ArchiveEntry& entry : entries) entry.size = entry.size == 0 ? 0 : Scale(entry.size, small);
  return entries;
}

std::vector<ArchiveEntry> OtherCarrierEntries(const std::string& carrier, bool small) {
  return {{"qcdsp1v2850.mbn", Scale(600 * kKilo, small), false, false, kImageDay},
          {"qcdsp2850.mbn", Scale(200 * kKilo, small), true, false, kImageDay},
          {"modem_fw/", 0, false, false, kImageDay},
          {"modem_fw/" + carrier + ".txt", 128, false, true, kImageDay}};
}

std::vector<ArchiveEntry> ToastEntries() {
  return {{"Images/", 0, false, false, kImageDay},
          {"Images/notice.png", 6 * kKilo, false, true, kImageDay},
          {"Strings/", 0, false, false, kImageDay},
          {"Strings/en-US.txt", 700, false, false, kImageDay},
          {"Strings/ko-KR.txt", 700, true, false, kImageDay}};
}

void PutProgram(tablet::Drive& drive, std::u16string_view name, std::array<std::uint16_t, 4> version) {
  drive.Put(std::u16string(kSystem32) + std::u16string(name),
            tablet::MakeExecutableWithVersion(version[0], version[1], version[2], version[3]));
}

/// What an earlier start of the service has left.
void PutDeployedFirmware(tablet::Drive& drive, bool small) {
  for (const ArchiveEntry& entry : ModemEntries(small)) {
    std::u16string path = std::u16string(kSystem32) + tablet::ToUtf16(entry.name);
    std::replace(path.begin(), path.end(), u'/', u'\\');
    if (path.back() == u'\\') {
      drive.PutFolder(path.substr(0, path.size() - 1));
    } else {
      std::uint32_t const attributes = tablet::kAttributeArchive | (entry.read_only ? tablet::kAttributeReadOnly : 0);
      drive.Put(path, FirmwareContent(entry.name, entry.size), attributes);
    }
  }
}

void FillDrive(tablet::Drive& drive, std::string_view sample, bool small, const OnArchive& on_archive) {
  bool const deployed = BaseOf(sample) == "already-deployed";
  std::uint32_t const hidden = deployed ? tablet::kAttributeHidden : 0;
  PutProgram(drive, u"Vantord.exe", {1, 0, 25, 0});
  PutProgram(drive, u"PeltService.exe", {1, 0, 12, 3});
  drive.PutFolder(u"C:\\Windows\\ToastGenerator");
  drive.PutFolder(u"C:\\Users\\Public\\Documents");
  if (sample == "wifi-only") return;

  drive.Put(u"C:\\Windows\\ToastGenerator\\ToastResource_20180816.zip", MakeArchive(ToastEntries()));
  drive.PutFolder(kArchives, tablet::kAttributeDirectory | hidden);
  auto put = [&, done = std::uint64_t{0}](std::u16string_view name, const std::vector<ArchiveEntry>& entries) mutable {
    constexpr std::uint64_t kWhole = 3;
    if (on_archive) on_archive(tablet::ToUtf8(name), done++, kWhole);
    drive.Put(std::u16string(kArchives) + u"\\" + std::u16string(name), MakeArchive(entries),
              tablet::kAttributeArchive | hidden);
  };
  put(u"VZW.bin", ModemEntries(small));
  put(u"KOR.bin", OtherCarrierEntries("KOR", small));
  put(u"ATT.bin", OtherCarrierEntries("ATT", small));
  if (deployed) PutDeployedFirmware(drive, small);
  if (const CrashSample* crash = FindCrashSample(sample)) PutCrash(*crash, small, drive);
  if (const VariantSample* variant = FindVariantSample(sample)) PutSpecialFiles(*variant, small, drive);
}

void WriteText(const fs::path& file, std::string_view text) {
  std::ofstream out(file, std::ios::binary);
  out << text;
  out.close();
  if (!out) throw tablet::InputError(file.string(), "cannot be written", "check the folder's rights and space");
}

void WriteTablet(const Sample& sample, bool small, const fs::path& folder, const OnArchive& on_archive) {
  static constexpr VariantSample kNoVariant{.sample = {}, .base = {}};
  bool const modem = sample.name != "wifi-only";
  const VariantSample* const found = FindVariantSample(sample.name);
  const VariantSample& variant = found == nullptr ? kNoVariant : *found;
  const CrashSample* const crash = FindCrashSample(sample.name);
  fs::create_directories(folder / "registry");
  fs::create_directories(folder / "efi");
  WriteText(folder / "tablet.json",
            fmt::format(kDescription, sample.name, sample.shows, modem ? variant.modem : R"({ "present": false })",
                        crash == nullptr ? "" : crash->keys, variant.driver));
  WriteText(folder / "registry" / "10-image.reg", kRegistryOfAll);
  if (crash != nullptr) WriteText(folder / "registry" / "30-crash.reg", CrashRegistry(*crash));
  if (!variant.registry.empty()) {
    WriteText(folder / "registry" / "30-device.reg",
              fmt::format("Windows Registry Editor Version 5.00\n{}", variant.registry));
  }
  if (modem) {
    bool const deployed = BaseOf(sample.name) == "already-deployed";
    WriteText(
        folder / "registry" / "20-modem-class.reg",
        fmt::format(kModemClass,
                    deployed ? R"(\\SystemRoot\\System32\\qcdsp1v2850.mbn)" : R"(\\SystemRoot\\System32\\qcdsp1v2.mbn)",
                    deployed ? R"(\\SystemRoot\\System32\\qcdsp2850.mbn)" : R"(\\SystemRoot\\System32\\qcdsp2.mbn)"));
  }
  tablet::Tablet machine(tablet::ReadDescription(folder / "tablet.json"), folder);
  if (modem) PutFirmware(variant, machine.firmware());
  machine.firmware().Save(folder / "efi");
  FillDrive(machine.drive(), sample.name, small, on_archive);
  machine.drive().SaveSideFile();
}

}  // namespace

std::span<const Sample> Samples() {
  static const std::vector<Sample> all = [] {
    std::vector<Sample> samples(kFirstSamples.begin(), kFirstSamples.end());
    for (const VariantSample& variant : VariantSamples()) samples.push_back(variant.sample);
    return samples;
  }();
  return all;
}

void MakeSample(std::string_view name, bool small, const fs::path& wanted, const OnArchive& on_archive) {
  fs::path folder = fs::absolute(wanted).lexically_normal();
  if (!folder.has_filename()) folder = folder.parent_path();
  auto const samples = Samples();
  auto const sample = std::ranges::find(samples, name, &Sample::name);
  if (sample == samples.end()) {
    std::vector<std::string_view> names;
    for (const Sample& known : samples) names.push_back(known.name);
    throw tablet::InputError("--sample", fmt::format("unknown sample \"{}\"", name), tablet::SuggestOneOf(name, names));
  }
  if (fs::exists(folder) && !(fs::is_directory(folder) && fs::is_empty(folder))) {
    throw tablet::InputError(wanted.string(), "exists already", "name a folder that does not exist or is empty");
  }
  // Made aside and renamed when whole: an interrupted init leaves no half tablet under the wanted name.
  std::error_code failure;
  fs::create_directories(folder.parent_path(), failure);
  if (failure)
    throw tablet::InputError(wanted.string(), "cannot be made: " + failure.message(),
                             "name a folder that can be written");
  WorkFolder making = WorkFolder::Beside(folder);
  WriteTablet(*sample, small, making.path(), on_archive);
  making.KeepAs(folder);
}

}  // namespace cli
