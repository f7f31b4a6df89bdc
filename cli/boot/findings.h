// What is known of a deployment: what the service looked up, which archive it opened, how extraction went. The observer
// of a run and the reader of a trace fill it; what it comes to is judged here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/registry/registry.h"

namespace cli {

/// Something the service looked up that bears on the archive it takes.
struct LookUp {
  enum class Store { kRegistry, kFirmware } store = Store::kRegistry;
  std::string key;                            ///< of registry values; below HKEY_LOCAL_MACHINE
  std::string name;                           ///< of the value or variable
  std::optional<std::string> found;           ///< nullopt: it is not there
  std::optional<tablet::RegistryValue> data;  ///< of registry values; nullopt where a trace alone is known
};

/// An entry of an archive that failed.
struct FailedEntry {
  std::string path;  ///< where it was to go
  std::uint32_t code = 0;
};

/// An archive that the service tried to open.
struct ArchiveUse {
  std::string path;
  bool opened = false;
  std::uint32_t error = 0;    ///< the last error when it could not be opened; 0 where it is not known
  bool unreadable = false;    ///< the service could make nothing of it
  std::uint64_t entries = 0;  ///< extractions that were tried
  std::vector<FailedEntry> failures;
};

struct Deployment {
  /// kNotNeeded: the service did not go for an archive.
  enum class State { kDeployed, kFailed, kNotNeeded } state = State::kNotNeeded;
  std::string reason;                 ///< why it was or was not
  std::vector<std::string> warnings;  ///< what makes a deployment useless all the same

  bool deployed() const { return state == State::kDeployed; }
};

/// "deployed", "failed" or "not needed".
std::string_view NameOf(Deployment::State state);
/// "C:\...\a.bin: 0x5000000"
std::string Describe(const FailedEntry& entry);
/// Whether a file is an archive of the modem's firmware.
bool IsModemArchive(std::string_view path);

struct Findings {
  std::vector<LookUp> look_ups;  ///< in the order of the first look
  std::vector<ArchiveUse> archives;
  bool request_settled = false;  ///< after a complete extraction of the modem's archive

  /// Adds a look-up, or replaces what an earlier look at the same place has found.
  void Note(LookUp look_up);
  /// The modem's archive; null when the service went for none.
  const ArchiveUse* ModemArchive() const;
  /// Which archive and by which look-up: "VZW.bin, because ...".
  std::string WhyThisArchive() const;
  Deployment Outcome() const;

 private:
  std::vector<std::string> Warnings() const;
};

}  // namespace cli
