#include "cli/archive/driver_images.h"

#include <utility>

#include "cli/base/service_facts.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

constexpr std::u16string_view kModemClass = service_facts::kModemClass;
constexpr std::u16string_view kFirmwarePath = u"\\SystemRoot\\System32\\qcdsp1v2850.mbn";
constexpr std::u16string_view kSoftwarePath = u"\\SystemRoot\\System32\\qcdsp2850.mbn";
constexpr std::u16string_view kFirmwareValue = u"AmssFwImagePath";
constexpr std::u16string_view kSoftwareValue = u"AmssSwImagePath";
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

std::optional<DriverInstance> FindDriverInstance(const tablet::Registry& registry) {
  for (const std::u16string& name : registry.SubKeyNames(kModemClass)) {
    std::u16string key = std::u16string(kModemClass) + u"\\" + name;
    std::optional<std::u16string> firmware = registry.GetText(key, kFirmwareValue);
    if (!firmware) continue;
    bool const ours = tablet::EqualIgnoringCase(*firmware, kFirmwarePath);
    return DriverInstance{std::move(key), *std::move(firmware), ours};
  }
  return std::nullopt;
}

std::vector<DriverImage> DriverImages(const tablet::Registry& registry) {
  std::u16string software(kSoftwarePath);
  std::optional<DriverInstance> const instance = FindDriverInstance(registry);
  if (instance && instance->points_at_service) {
    software = registry.GetText(instance->key, kSoftwareValue).value_or(software);
  }
  return {Image(kFirmwareValue, kFirmwarePath), Image(kSoftwareValue, software)};
}

}  // namespace cli
