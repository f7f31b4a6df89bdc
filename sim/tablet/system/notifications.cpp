#include "sim/tablet/system/notifications.h"

#include <algorithm>

#include <fmt/format.h>

#include "sim/tablet/base/text.h"

namespace tablet {

std::uint64_t Notifications::RegisterDevice(const Guid& interface_class, DeviceCallback callback) {
  auto device = std::make_shared<Device>();
  device->handle = next_handle_++;
  device->process = scheduler_.current_process();
  device->interface_class = interface_class;
  device->callback = std::move(callback);
  devices_.push_back(device);
  HappensBefore(device.get());
  return device->handle;
}

bool Notifications::UnregisterDevice(std::uint64_t handle) {
  auto const found = std::find_if(devices_.begin(), devices_.end(),
                                  [&](const std::shared_ptr<Device>& device) { return device->handle == handle; });
  if (found == devices_.end()) return false;
  std::shared_ptr<Device> const device = *found;
  devices_.erase(found);
  scheduler_.Wait(kForever, [device] { return device->running == 0; });
  HappensAfter(device.get());
  return true;
}

std::uint64_t Notifications::RegisterPower(const Guid& setting) {
  powers_.push_back({next_handle_++, scheduler_.current_process(), setting});
  return powers_.back().handle;
}

bool Notifications::UnregisterPower(std::uint64_t handle) {
  return std::erase_if(powers_, [&](const Power& power) { return power.handle == handle; }) != 0;
}

void Notifications::AnnounceDevice(std::uint32_t action, const Guid& interface_class, const std::u16string& link) {
  static constexpr const char* kWords[] = {"arrives", "is removed"};
  journal_.Note(action < 2 ? fmt::format("device {} {}", ToUtf8(link), kWords[action])
                           : fmt::format("device {}: action {}", ToUtf8(link), action));
  for (const std::shared_ptr<Device>& device : devices_) {
    if (device->interface_class != interface_class) continue;
    ++device->running;
    scheduler_.Start(device->process, "configuration manager", [device, action, interface_class, link] {
      OutsideProduct const outside;
      HappensAfter(device.get());
      device->callback(action, interface_class, link);
      HappensBefore(device.get());
      --device->running;
    });
  }
}

bool Notifications::WantsPower(const Guid& setting) const {
  return std::any_of(powers_.begin(), powers_.end(), [&](const Power& power) { return power.setting == setting; });
}

void Notifications::DropAllOf(ProcessId process) {
  std::erase_if(devices_, [&](const std::shared_ptr<Device>& device) { return device->process == process; });
  std::erase_if(powers_, [&](const Power& power) { return power.process == process; });
}

}  // namespace tablet
