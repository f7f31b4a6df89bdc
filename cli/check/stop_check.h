// Whether a tablet comes up whenever the power goes or the stop comes: a part of a sweep, on one archive.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/check/tablet_check.h"

namespace cli {

struct StopTask {
  std::filesystem::path folder;
  std::optional<MatrixRow> row;  ///< as TrialTask's
  bool request = false;
  std::string archive;        ///< the one that the tablet gets, as the service composed its path
  std::uint64_t written = 0;  ///< bytes that its deployment writes: more of them, fewer cuts
  bool all = false;           ///< the power is cut at every call
};

struct StopResult {
  std::uint64_t cuts = 0;
  std::uint64_t schedules = 0;
  std::vector<std::string> broken;  ///< promises that did not hold, a line each
  std::string repeat;               ///< the command that repeats the first
};

/// Shows its progress on the console. Throws std::runtime_error when the undisturbed run does not end.
StopResult TryStops(const StopTask& task, const CheckSettings& settings, Console& console);

}  // namespace cli
