// The SAFI driver: firmware variables by three I/O control requests.
//
// Every request begins with a header of 1040 bytes: the variable's key (520 bytes: braced GUID text directly followed
// by the name, UTF-16, terminated) and the namespace (520 bytes: "OEM"). All numbers are little-endian, nothing is
// padded.
//
//   0x6892200A size   in 1040: header                          out 8: status, size of the data
//   0x68922006 read   in 1044: header, size                    out size + 5: status, data, a spare byte
//   0x68922002 write  in 1055: header, 10, 10 bytes, a spare   out 4: status
//
// The status is 0 or a Windows error: 203 for a variable that does not exist, 87 for a malformed key or namespace,
// 122 for a read of less than the variable holds. A request of another length fails itself, with 87; an unknown one
// with 1.
#pragma once

#include "sim/tablet/devices/device_bus.h"
#include "sim/tablet/devices/firmware.h"
#include "sim/tablet/kernel/faults.h"

namespace tablet {

/// One opened handle on the driver.
class SafiDriver : public DeviceFile {
 public:
  /// Both outlive the driver. A fault of "Pstatus" becomes the returned status.
  SafiDriver(Firmware& firmware, Faults& faults) : firmware_(firmware), faults_(faults) {}

  WinError Control(std::uint32_t code, std::span<const std::uint8_t> in, std::span<std::uint8_t> out,
                   std::uint32_t& returned) override;

 private:
  WinError Trouble(std::span<std::uint8_t> out, std::uint32_t& returned);
  WinError Size(const FirmwareKey& key, std::span<std::uint8_t> out);
  WinError Read(const FirmwareKey& key, std::uint32_t size, std::span<std::uint8_t> out) const;
  WinError Write(const FirmwareKey& key, std::span<const std::uint8_t> data);

  Firmware& firmware_;
  Faults& faults_;
};

}  // namespace tablet
