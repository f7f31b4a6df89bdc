// What a run has changed: files, registry, firmware; as data, as lines for people and as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/boot/tablet_run.h"

namespace cli {

struct FirmwareChange {
  std::string name;  ///< "ModemImageID-{GUID}"
  std::string before;
  std::string after;  ///< texts; "" where there was or is none
};

struct Changes {
  std::vector<tablet::FileChange> files;
  std::vector<tablet::RegistryChange> registry;
  std::vector<FirmwareChange> firmware;

  std::size_t files_written = 0;
  std::uint64_t bytes_written = 0;
  std::size_t folders_made = 0;
  std::size_t attributes_changed = 0;  ///< of paths that were neither made nor written
};

Changes ChangesOf(TabletRun& run);

/// The variables that differ, ordered by name.
std::vector<FirmwareChange> CompareFirmware(const tablet::Firmware::Variables& before,
                                            const tablet::Firmware::Variables& after);

/// The changes under a line for each key: [HKEY_LOCAL_MACHINE\...], then "Name" = "new", was "old".
std::vector<std::string> Describe(const std::vector<tablet::RegistryChange>& changes);
std::string Describe(const FirmwareChange& change);
/// What happened to a path ("new", "written", "attributes"), its size if that is new too, and its attributes now.
std::string Describe(const tablet::FileChange& change, const tablet::Drive& drive);

nlohmann::ordered_json ToJson(const Changes& changes);
nlohmann::ordered_json ToJson(const std::vector<tablet::RegistryChange>& changes);
nlohmann::ordered_json ToJson(const std::vector<FirmwareChange>& changes);

/// "RHSA", as far as each is set.
std::string AttributeLetters(std::uint32_t attributes);

/// A registry value as .reg files write it: "text", dword:00000001, hex(7):...
std::string ShowValue(const tablet::RegistryValue& value);
/// The data of a firmware variable: "text" where it is plain, else bytes in hexadecimal.
std::string ShowBytes(const std::vector<std::uint8_t>& data);

}  // namespace cli
