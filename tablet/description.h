// tablet.json: what is neither registry, file nor firmware. docs/tablet.md describes every key.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tablet/clock.h"
#include "tablet/partner.h"
#include "tablet/radio_proxy.h"
#include "tablet/registry.h"
#include "tablet/service_watch.h"
#include "tablet/timeline.h"

namespace tablet {

struct Description {
  std::string name;            ///< for people
  FileTicks power_on = 0;      ///< UTC
  int utc_offset_minutes = 0;  ///< local time is UTC plus this

  bool modem_present = true;
  std::vector<std::u16string> modem_links;  ///< interfaces of the modem control class, in order of arrival

  bool firmware_driver_present = true;  ///< the SAFI driver
  std::u16string firmware_driver_link;

  std::vector<std::u16string> denied_keys;     ///< any access answers access denied
  std::vector<std::u16string> read_only_keys;  ///< writing answers access denied

  PartnerDescription partner;   ///< the service "Pelt"
  RadioDescription radio;       ///< the radio interface layer's proxy
  bool manager_denied = false;  ///< whoever opens the service manager is refused
  Millis preshutdown_timeout = kPreshutdownTimeout;

  bool trace_collected = true;  ///< a trace session listens to the service from power-on

  std::vector<TimelineEvent> timeline;  ///< ordered by time
};

/// Reads and checks tablet.json. Throws InputError with file, line and key: unknown keys (with the nearest known one),
/// wrong types, values out of range.
Description ReadDescription(const std::filesystem::path& file);

}  // namespace tablet
