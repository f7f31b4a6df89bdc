// The modem's statistics driver, "\\.\AMSSStats": through it the modem is reset.
//
// One request, 0x9CA30C00, of 1042 bytes in and none out: a 1 at offset 1040 asks for a reset. A record of another
// length is error 87, an unknown request error 1.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/tablet/devices/device_bus.h"
#include "sim/tablet/kernel/crash_description.h"
#include "sim/tablet/kernel/journal.h"

namespace tablet {

class AmssDriver {
 public:
  AmssDriver(const AmssDescription& description, const Scheduler& scheduler, Journal& journal)
      : description_(description), scheduler_(scheduler), journal_(journal) {}
  AmssDriver(const AmssDriver&) = delete;
  AmssDriver& operator=(const AmssDriver&) = delete;

  /// The driver's device, to arrive on the bus; the driver outlives it. It has no interface class: it is known by its
  /// link alone.
  DeviceInterface Device();

  /// A requested reset.
  struct Request {
    Millis at{0};
    std::vector<std::uint8_t> record;
    WinError answer = 0;
  };
  const std::vector<Request>& requests() const { return requests_; }
  /// How often the modem was reset.
  std::size_t resets() const { return resets_; }

  WinError Control(std::uint32_t code, std::span<const std::uint8_t> in);

 private:
  AmssDescription description_;
  const Scheduler& scheduler_;
  Journal& journal_;
  std::vector<Request> requests_;
  std::size_t resets_ = 0;
};

}  // namespace tablet
