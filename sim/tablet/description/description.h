// tablet.json: what is neither registry, file nor firmware. docs/tablet.md describes every key.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "sim/tablet/description/timeline_event.h"
#include "sim/tablet/devices/firmware.h"
#include "sim/tablet/kernel/clock.h"
#include "sim/tablet/kernel/crash_description.h"
#include "sim/tablet/registry/registry.h"
#include "sim/tablet/system/partner.h"
#include "sim/tablet/system/radio_proxy.h"
#include "sim/tablet/system/service_watch.h"

namespace tablet {

/// A file of drive C: that another process has open without sharing it.
struct LockedFile {
  std::u16string path;
  std::string place;  ///< where tablet.json names it, for messages
};

struct Description {
  std::string name;            ///< for people
  FileTicks power_on = 0;      ///< UTC
  int utc_offset_minutes = 0;  ///< local time is UTC plus this

  bool modem_present = true;
  std::vector<std::u16string> modem_links;  ///< interfaces of the modem control class, in order of arrival
  Millis modem_arrival{0};                  ///< when they arrive

  bool firmware_driver_present = true;  ///< the SAFI driver
  std::u16string firmware_driver_link;
  FirmwareTrouble firmware_trouble;  ///< what the driver does wrong

  std::vector<std::u16string> denied_keys;     ///< any access fails with access denied
  std::vector<std::u16string> read_only_keys;  ///< writing fails with access denied

  std::optional<std::uint64_t> free_bytes;  ///< on drive C: at power-on; nothing: as much as the host has
  std::vector<LockedFile> locked_files;
  std::vector<std::uint32_t> missing_privileges;  ///< the service's account lacks them

  PartnerDescription partner;    ///< the service "Pelt"
  RadioDescription radio;        ///< the radio interface layer's proxy
  bool manager_denied = false;   ///< opening the service manager fails with access denied
  bool serial_controls = false;  ///< one control at a time on the whole machine
  Millis preshutdown_timeout = kPreshutdownTimeout;

  CrashDescription crash;  ///< sessions, processes, the statistics driver, first-boot setup

  bool trace_collected = true;    ///< a trace session listens to the service from power-on
  Millis trace_enabled_after{0};  ///< from EnableTraceEx2 to the provider's callback

  std::vector<TimelineEvent> timeline;  ///< ordered by time
};

/// Reads and checks tablet.json. Throws InputError with file, line and key: unknown keys (with the nearest known one),
/// wrong types, values out of range.
Description ReadDescription(const std::filesystem::path& file);

}  // namespace tablet
