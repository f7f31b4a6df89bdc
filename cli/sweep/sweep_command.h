// vantord-tablet sweep: every plausible error at every call of a tablet's whole run, pairs of them, the power cut at
// every call, many orders of threads; each run is checked against the promises.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>

#include "cli/base/console.h"
#include "cli/base/worker_pool.h"
#include "cli/sweep/sweep_plan.h"
#include "cli/sweep/sweep_report.h"

namespace cli {

struct SweepOptions {
  std::filesystem::path folder;
  PlanOptions plan;
  WorkerPoolOptions pool;
  bool json = false;
  bool cut_table = false;  ///< what power cuts leave, and nothing else
  /// See PrepareGround.
  std::optional<std::chrono::milliseconds> time_out = std::nullopt;
  /// The file that keeps the results of the runs; a sweep that was interrupted goes on from it.
  std::optional<std::filesystem::path> resume = std::nullopt;
  /// See PrepareGround.
  std::function<void(tablet::Tablet& machine)> change = nullptr;
  /// See SweepGround; for tests.
  std::function<void(TabletRun& run, const SweepTask& task, int start)> prepare;
};

/// Returns the report. Throws InputError for a bad tablet, and std::runtime_error when the undisturbed run does not
/// end.
SweepReport SweepTablet(const SweepOptions& options, Console& console);

/// Cuts the power at every call and prints what each leaves: see PrintCutTable. Returns the exit code.
int PrintCuts(const SweepOptions& options, Console& console);

/// The command: sweeps, prints, returns the exit code. A signal ends the sweep, and what was found so far is printed.
int Sweep(const SweepOptions& options, Console& console);

}  // namespace cli
