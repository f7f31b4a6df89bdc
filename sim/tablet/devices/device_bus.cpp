#include "sim/tablet/devices/device_bus.h"

#include <algorithm>

#include "sim/tablet/base/text.h"

namespace tablet {

void DeviceBus::Arrive(DeviceInterface device) { present_.push_back(std::move(device)); }

void DeviceBus::Remove(std::u16string_view link) {
  std::erase_if(present_, [&](const DeviceInterface& device) { return EqualIgnoringCase(device.link, link); });
}

std::vector<std::u16string> DeviceBus::Links(const Guid& interface_class) const {
  std::vector<std::u16string> links;
  for (const DeviceInterface& device : present_) {
    if (device.interface_class == interface_class) links.push_back(device.link);
  }
  return links;
}

WinError DeviceBus::Open(std::u16string_view link, std::shared_ptr<DeviceFile>& out) const {
  auto const device = std::find_if(present_.begin(), present_.end(), [&](const DeviceInterface& candidate) {
    return EqualIgnoringCase(candidate.link, link);
  });
  if (device == present_.end()) return kFileNotFound;
  return device->open(out);
}

}  // namespace tablet
