// vantord-tablet sweep: every plausible error at every call of a tablet's whole life, pairs of them, the power cut at
// every call, many orders of threads; each life held against the promises.
#pragma once

#include <filesystem>
#include <functional>

#include "cli/console.h"
#include "cli/farm.h"
#include "cli/sweep_plan.h"
#include "cli/sweep_report.h"

namespace cli {

struct SweepOptions {
  std::filesystem::path folder;
  PlanOptions plan;
  FarmOptions farm;
  bool json = false;
  bool cut_table = false;  ///< what power cuts leave, and nothing else
  /// See SweepGround; for tests.
  std::function<void(Life& life, const SweepTask& task, int start)> prepare;
};

/// Answers the report. Throws InputError for a bad tablet, and std::runtime_error when not even the undisturbed life
/// comes to its end.
SweepReport SweepTablet(const SweepOptions& options, Console& console);

/// Cuts the power at every call and prints what each leaves: see PrintCutTable.
int TellCuts(const SweepOptions& options, Console& console);

/// The command: sweeps, prints, answers the exit code.
int Sweep(const SweepOptions& options, Console& console);

}  // namespace cli
