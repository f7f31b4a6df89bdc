// The modem's control device. The service asks only whether it is there and can be opened.
#pragma once

#include "sim/tablet/devices/device_bus.h"

namespace tablet {

/// One opened handle on the modem. It knows no request: each fails with kInvalidFunction.
class ModemDevice : public DeviceFile {
 public:
  WinError Control(std::uint32_t code, std::span<const std::uint8_t> in, std::span<std::uint8_t> out,
                   std::uint32_t& returned) override;
};

/// The modem's device interface under one of its links, to arrive on the bus.
DeviceInterface MakeModemInterface(std::u16string link);

}  // namespace tablet
