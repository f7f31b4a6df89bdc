#include "cli/archive/driver_images.h"

#include <optional>

#include "sim/tablet/base/text.h"

namespace cli {

namespace {

constexpr std::u16string_view kModemClass =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e97d-e325-11ce-bfc1-08002be10318}";
constexpr std::u16string_view kFirmwarePath = u"\\SystemRoot\\System32\\qcdsp1v2850.mbn";
constexpr std::u16string_view kSoftwarePath = u"\\SystemRoot\\System32\\qcdsp2850.mbn";
constexpr std::u16string_view kSystemRoot = u"\\SystemRoot\\";

/// The file that a driver's path means.
std::u16string FileOf(std::u16string_view path) {
  if (tablet::EqualIgnoringCase(path.substr(0, kSystemRoot.size()), kSystemRoot)) {
    return u"C:\\Windows\\" + std::u16string(path.substr(kSystemRoot.size()));
  }
  if (path.starts_with(u"\\??\\")) path.remove_prefix(4);
  return std::u16string(path);
}

DriverImage Image(std::u16string_view value, std::u16string_view path) {
  return {tablet::ToUtf8(value), tablet::ToUtf8(path), tablet::ToUtf8(FileOf(path))};
}

}  // namespace

std::vector<DriverImage> DriverImages(const tablet::Registry& registry) {
  std::u16string software(kSoftwarePath);
  for (const std::u16string& name : registry.SubKeyNames(kModemClass)) {
    std::u16string const key = std::u16string(kModemClass) + u"\\" + name;
    std::optional<std::u16string> const firmware = registry.GetText(key, u"AmssFwImagePath");
    if (!firmware) continue;
    if (!tablet::EqualIgnoringCase(*firmware, kFirmwarePath)) break;
    software = registry.GetText(key, u"AmssSwImagePath").value_or(software);
    break;
  }
  return {Image(u"AmssFwImagePath", kFirmwarePath), Image(u"AmssSwImagePath", software)};
}

}  // namespace cli
