// Watches a run from outside: what the service looked up, which archive it opened, how extraction went. Nothing of
// the service's own rules is known here.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/boot/findings.h"
#include "cli/boot/loop_watch.h"
#include "cli/boot/tablet_run.h"

namespace cli {

class Observer {
 public:
  /// Registers itself with the run's journal, registry, firmware and drive; outlives the run's run. Makes the journal
  /// record calls. Halts a run in which the service polls without end.
  explicit Observer(TabletRun& run);
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;

  /// Progress of reading the archive that is being extracted.
  std::function<void(const std::string& path, std::uint64_t done, std::uint64_t whole)> on_progress;

  const Findings& findings() const { return findings_; }

 private:
  void OnEvent(const tablet::Event& event);
  void OnCall(const tablet::CallEvent& call);
  void OnMessage(const tablet::TraceEvent& message);
  void OnQuery(std::u16string_view key, std::u16string_view value, tablet::WinError result,
               const tablet::RegistryValue& data);
  void OnFirmware(const tablet::FirmwareKey& key, const tablet::FirmwareVariable* variable);
  void OnRead(const std::u16string& path, std::uint64_t count);

  tablet::Tablet& machine_;
  LoopWatch loop_;
  Findings findings_;
  std::string extracting_;  ///< the file that is being written
  std::u16string read_path_;
  std::uint64_t read_size_ = 0;
  std::uint64_t read_done_ = 0;
};

}  // namespace cli
