// One task of a sweep, in a process of its own: runs it, checks it against the promises, and returns what it found.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/worker_pool.h"
#include "cli/sweep/cut_table.h"
#include "cli/sweep/sweep_expect.h"
#include "cli/sweep/sweep_plan.h"
#include "cli/sweep/sweep_state.h"

namespace cli {

/// Processor time without a call after which a run counts as hung. Follows the size of the archives and what the
/// undisturbed run needs.
struct HangLimits {
  std::chrono::milliseconds known;    ///< where a known limitation lets the service hang: most of a sweep's time
  std::chrono::milliseconds finding;  ///< anywhere else
};

/// What all tasks begin with; each has a copy of it, with its process.
struct SweepGround {
  tablet::Description description;
  std::filesystem::path folder;
  RunSettings settings;
  std::unique_ptr<TabletRun> run;  ///< powered on, not started; its drive in memory
  HangLimits limits;
  bool derives_limits = true;  ///< from the archives and the undisturbed run; otherwise they were given
  Expectations expected;
  // Of the current run:
  std::shared_ptr<std::u16string> archive;  ///< of the modem, opened last
  std::shared_ptr<std::size_t> deletions;   ///< of registry values

  std::vector<KnownCall> calls;  ///< of the undisturbed run; empty before it
  TabletState after_one;         ///< what one undisturbed start leaves
  TabletState after_two;         ///< and what a second one leaves
  TabletState before;            ///< at power-on, set when power cuts are described
  bool describes_cuts = false;
  /// Called before each start, 1 for the first of a task; for tests of the promises.
  std::function<void(TabletRun& run, const SweepTask& task, int start)> prepare;
};

/// A promise that a run broke.
struct Finding {
  std::string promise;
  std::string detail;
};

/// What became of a task.
struct Verdict {
  std::string end;  ///< of the last run
  std::vector<Finding> findings;
  std::vector<std::string> limitations;  ///< by name
  bool triggered = true;                 ///< every fault met its call
  std::uint64_t calls = 0;
  CutRow cut;         ///< of a power cut, when that is described
  std::string crash;  ///< how the process ended without a result; empty: it gave one
};
nlohmann::json ToJson(const Verdict& verdict);
Verdict VerdictFrom(const nlohmann::json& document);

/// Makes the ground for a tablet. `time_out` is HangLimits::finding; without one it is derived. `change`, which may be
/// null, changes the tablet first; its drive is in memory then. Throws InputError for a bad tablet.
SweepGround PrepareGround(const std::filesystem::path& folder,
                          std::optional<std::chrono::milliseconds> time_out = std::nullopt,
                          const std::function<void(tablet::Tablet& machine)>& change = nullptr);

/// Runs the undisturbed run twice. Delivers a document for TakeUndisturbed.
void RunUndisturbed(SweepGround& ground, const Deliver& deliver);
/// Fills in what later tasks are compared with. Returns what was found in the undisturbed run itself.
Verdict TakeUndisturbed(const nlohmann::json& document, SweepGround& ground);

/// Runs a task and delivers its verdict.
void RunTask(SweepGround& ground, const SweepTask& task, const Deliver& deliver);

}  // namespace cli
