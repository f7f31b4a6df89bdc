// One task of a sweep, in a process of its own: runs it, holds it against the promises, and says what it found.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/sweep/cut_table.h"
#include "cli/sweep/sweep_expect.h"
#include "cli/sweep/sweep_plan.h"
#include "cli/sweep/sweep_state.h"
#include "cli/sweep/worker_pool.h"

namespace cli {

/// What all tasks begin with; each has a copy of it, with its process.
struct SweepGround {
  tablet::Description description;
  std::filesystem::path folder;
  std::unique_ptr<TabletRun> run;  ///< powered on, not started; its drive in memory
  Expectations expected;
  // Of the run that goes on:
  std::shared_ptr<std::u16string> archive;  ///< of the modem, that was opened last
  std::shared_ptr<std::size_t> deletions;   ///< of registry values

  std::vector<KnownCall> calls;  ///< of the undisturbed run; empty while that is lived
  TabletState after_one;         ///< what one undisturbed start leaves
  TabletState after_two;         ///< and what another one behind it does
  TabletState before;            ///< at power-on, where power cuts are to be described
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
  std::vector<std::string> exemptions;  ///< by name
  bool came_to_pass = true;             ///< every fault met its call
  std::uint64_t calls = 0;
  CutRow cut;         ///< of a power cut, where that is to be described
  std::string crash;  ///< how the process ended without an answer; empty: it answered
};
nlohmann::json ToJson(const Verdict& verdict);
Verdict VerdictFrom(const nlohmann::json& document);

/// Makes the ground for a tablet. Throws InputError for a bad one.
SweepGround PrepareGround(const std::filesystem::path& folder);

/// Runs the undisturbed run twice, and fills in what later tasks are compared with. Delivers a document for
/// TakeUndisturbed.
void LiveUndisturbed(SweepGround& ground, const Deliver& deliver);
/// Answers what was found in the undisturbed run itself.
Verdict TakeUndisturbed(const nlohmann::json& document, SweepGround& ground);

/// Runs a task and delivers its verdict.
void LiveTask(SweepGround& ground, const SweepTask& task, const Deliver& deliver);

}  // namespace cli
