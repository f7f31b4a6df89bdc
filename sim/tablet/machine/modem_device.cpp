#include "sim/tablet/machine/modem_device.h"

#include "sim/tablet/devices/safi_driver.h"
#include "sim/tablet/machine/tablet.h"

namespace tablet {

const Guid kModemControlClass{
    {0x0E, 0x5C, 0x9F, 0xD4, 0x40, 0xE5, 0xBE, 0x4D, 0xBF, 0x78, 0x97, 0xED, 0x9B, 0xD9, 0x87, 0xA4}};
const Guid kSafiClass{{0x48, 0xF8, 0x9F, 0xFD, 0xD1, 0x46, 0xE7, 0x4C, 0x89, 0x40, 0x6D, 0xF2, 0xF1, 0xE6, 0xEF, 0xF6}};

WinError ModemDevice::Control(std::uint32_t, std::span<const std::uint8_t>, std::span<std::uint8_t>, std::uint32_t&) {
  return kInvalidFunction;
}

DeviceInterface MakeModemInterface(std::u16string link) {
  return {kModemControlClass, std::move(link), [](std::shared_ptr<DeviceFile>& out) {
            out = std::make_shared<ModemDevice>();
            return kSuccess;
          }};
}

void PlugInDevices(const Description& description, Tablet& machine) {
  auto const arrive = [links = description.modem_links, &machine] {
    for (const std::u16string& link : links) machine.devices().Arrive(MakeModemInterface(link));
  };
  if (description.modem_present && description.modem_arrival == Millis{0}) arrive();
  if (description.modem_present && description.modem_arrival != Millis{0}) {
    machine.scheduler().At(description.modem_arrival, [arrive, &machine] {
      arrive();
      machine.journal().Note("the modem's control device arrives");
    });
  }
  if (description.crash.amss.present) machine.devices().Arrive(machine.amss().Device());
  if (description.firmware_driver_present) {
    machine.devices().Arrive(
        {kSafiClass, description.firmware_driver_link, [&machine](std::shared_ptr<DeviceFile>& out) {
           out = std::make_shared<SafiDriver>(machine.firmware(), machine.faults());
           return kSuccess;
         }});
  }
}

}  // namespace tablet
