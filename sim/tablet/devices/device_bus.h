// Devices: interfaces that appear and disappear, and what opening and controlling them does.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/base/guid.h"
#include "sim/tablet/base/win_error.h"
#include "sim/tablet/kernel/handles.h"

namespace tablet {

/// An opened device. DeviceIoControl uses it, on the thread that calls.
class DeviceFile : public Object {
 public:
  std::string_view kind() const override { return "device"; }
  /// One I/O control request. `out` is the caller's buffer; `returned` the bytes the driver put there.
  virtual WinError Control(std::uint32_t code, std::span<const std::uint8_t> in, std::span<std::uint8_t> out,
                           std::uint32_t& returned) = 0;
};

/// A driver's device interface, reachable by its symbolic link while it is present.
struct DeviceInterface {
  Guid interface_class;
  std::u16string link;  ///< "\\?\..."
  std::function<WinError(std::shared_ptr<DeviceFile>& out)> open;
};

class DeviceBus {
 public:
  /// Interfaces are listed in the order they arrived.
  void Arrive(DeviceInterface device);
  void Remove(std::u16string_view link);
  /// Links of the present interfaces of a class.
  std::vector<std::u16string> Links(const Guid& interface_class) const;
  /// Opens an interface by link (case ignored); kFileNotFound when it is not present.
  WinError Open(std::u16string_view link, std::shared_ptr<DeviceFile>& out) const;

 private:
  std::vector<DeviceInterface> present_;
};

}  // namespace tablet
