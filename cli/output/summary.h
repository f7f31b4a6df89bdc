// What a run came to, for people and as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/console.h"
#include "cli/boot/changes.h"
#include "cli/boot/observer.h"
#include "cli/boot/tablet_run.h"

namespace cli {

/// The end of a first run by a power cut.
struct PowerCut {
  std::string message;
  std::uint64_t call = 0;
  tablet::Millis at{0};
};

struct Summary {
  std::string tablet;
  RunEnd end;
  int exit_code = 0;
  double real_seconds = 0;
  std::string kept;  ///< where the tablet as it ended was written; empty: nowhere
  std::vector<tablet::Faults::Counted> faults;
  bool asked_cut = false;       ///< the power was to be cut
  std::optional<PowerCut> cut;  ///< nothing when the power was not cut
};

void PrintSummary(Console& console, const Summary& summary, TabletRun& run, const Observer& seen);

/// Real time is left out: the same run gives the same document.
nlohmann::ordered_json SummaryJson(const Summary& summary, TabletRun& run, const Observer& seen);

}  // namespace cli
