// vantord-tablet sweep: every plausible error at every call of a tablet's whole run, pairs of them, the power cut at
// every call, many orders of threads; each run held against the promises.
#pragma once

#include <filesystem>
#include <functional>

#include "cli/base/console.h"
#include "cli/sweep/sweep_plan.h"
#include "cli/sweep/sweep_report.h"
#include "cli/sweep/worker_pool.h"

namespace cli {

struct SweepOptions {
  std::filesystem::path folder;
  PlanOptions plan;
  WorkerPoolOptions farm;
  bool json = false;
  bool cut_table = false;  ///< what power cuts leave, and nothing else
  /// See SweepGround; for tests.
  std::function<void(TabletRun& run, const SweepTask& task, int start)> prepare;
};

/// Answers the report. Throws InputError for a bad tablet, and std::runtime_error when not even the undisturbed run
/// comes to its end.
SweepReport SweepTablet(const SweepOptions& options, Console& console);

/// Cuts the power at every call and prints what each leaves: see PrintCutTable.
int TellCuts(const SweepOptions& options, Console& console);

/// The command: sweeps, prints, answers the exit code.
int Sweep(const SweepOptions& options, Console& console);

}  // namespace cli
