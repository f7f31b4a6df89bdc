// Registrations for device interfaces and power settings.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sim/tablet/base/guid.h"
#include "sim/tablet/base/win_error.h"
#include "sim/tablet/kernel/journal.h"
#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

class Notifications {
 public:
  /// `action` as the configuration manager numbers it: 0 arrival, 1 removal, others as they are.
  using DeviceCallback = std::function<void(std::uint32_t action, const Guid& interface_class, std::u16string link)>;

  Notifications(Scheduler& scheduler, Journal& journal) : scheduler_(scheduler), journal_(journal) {}

  // The service process's side. Handles are never 0.
  std::uint64_t RegisterDevice(const Guid& interface_class, DeviceCallback callback);
  /// Waits for a callback that still runs. False for an unknown handle.
  bool UnregisterDevice(std::uint64_t handle);
  std::uint64_t RegisterPower(const Guid& setting);
  bool UnregisterPower(std::uint64_t handle);

  // The machine's side.
  /// Calls every registration of the class, each on a thread of the configuration manager.
  void AnnounceDevice(std::uint32_t action, const Guid& interface_class, const std::u16string& link);
  bool WantsPower(const Guid& setting) const;
  std::size_t device_registrations() const { return devices_.size(); }
  std::size_t power_registrations() const { return powers_.size(); }
  /// Registrations end with their process.
  void DropAllOf(ProcessId process);

 private:
  struct Device {
    std::uint64_t handle;
    ProcessId process;
    Guid interface_class;
    DeviceCallback callback;
    std::uint32_t running = 0;  ///< callbacks on their way
  };
  struct Power {
    std::uint64_t handle;
    ProcessId process;
    Guid setting;
  };

  Scheduler& scheduler_;
  Journal& journal_;
  std::uint64_t next_handle_ = 0x100;
  std::vector<std::shared_ptr<Device>> devices_;
  std::vector<Power> powers_;
};

}  // namespace tablet
