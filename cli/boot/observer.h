// Watches a run from outside: what the service looked up, which archive it opened, how extraction went. Nothing of
// the service's own rules is known here.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/boot/loop_watch.h"
#include "cli/boot/tablet_run.h"

namespace cli {

/// Something the service looked up that bears on the archive it takes.
struct LookUp {
  enum class Store { kRegistry, kFirmware } store = Store::kRegistry;
  std::string key;                            ///< of registry values; below HKEY_LOCAL_MACHINE
  std::string name;                           ///< of the value or variable
  std::optional<std::string> found;           ///< nullopt: it is not there
  std::optional<tablet::RegistryValue> data;  ///< of registry values
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
  std::uint32_t error = 0;    ///< the last error when it could not be opened
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

class Observer {
 public:
  /// Registers itself with the run's journal, registry, firmware and drive; outlives the run's run. Makes the journal
  /// record calls. Halts a run in which the service polls for ever.
  explicit Observer(TabletRun& run);
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;

  /// Progress of reading the archive that is being extracted.
  std::function<void(const std::string& path, std::uint64_t done, std::uint64_t whole)> on_progress;

  const std::vector<LookUp>& look_ups() const { return look_ups_; }
  const std::vector<ArchiveUse>& archives() const { return archives_; }
  /// The modem's archive; null when the service went for none.
  const ArchiveUse* ModemArchive() const;
  /// Which archive and by which look-up: "VZW.bin, because ...".
  std::string WhyThisArchive() const;
  Deployment Outcome() const;

 private:
  void OnEvent(const tablet::Event& event);
  void OnCall(const tablet::CallEvent& call);
  void OnMessage(const tablet::TraceEvent& message);
  void OnQuery(std::u16string_view key, std::u16string_view value, tablet::WinError result,
               const tablet::RegistryValue& data);
  void OnFirmware(const tablet::FirmwareKey& key, const tablet::FirmwareVariable* variable);
  void OnRead(const std::u16string& path, std::uint64_t count);
  void Note(LookUp look_up);
  std::vector<std::string> Warnings() const;

  tablet::Tablet& machine_;
  LoopWatch loop_;
  std::vector<LookUp> look_ups_;
  std::vector<ArchiveUse> archives_;
  std::string extracting_;        ///< the file that is being written
  bool request_settled_ = false;  ///< behind a complete extraction of the modem's archive
  std::u16string read_path_;
  std::uint64_t read_size_ = 0;
  std::uint64_t read_done_ = 0;
};

}  // namespace cli
