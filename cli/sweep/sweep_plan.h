// The runs of a sweep: which calls fail in them, when the power is cut, in which order threads run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/sweep/sweep_calls.h"
#include "sim/tablet/kernel/faults.h"

namespace cli {

/// One run, or one that the power ends and the one after it.
struct SweepTask {
  enum class Kind { kFault, kAllocation, kPair, kCut, kSchedule };
  Kind kind = Kind::kFault;
  std::vector<tablet::Fault> faults = {};
  std::vector<std::size_t> known = {};  ///< the same, as indexes of the undisturbed run's calls
  std::uint64_t cut_at = 0;
  std::uint64_t seed = 0;
  bool stop_early = false;  ///< the stop comes as soon as the service runs
};

/// "fault", "allocation", "pair", "cut", "schedule".
std::string_view NameOf(SweepTask::Kind kind);
inline constexpr SweepTask::Kind kTaskKinds[] = {SweepTask::Kind::kFault, SweepTask::Kind::kAllocation,
                                                 SweepTask::Kind::kPair, SweepTask::Kind::kCut,
                                                 SweepTask::Kind::kSchedule};

struct PlanOptions {
  std::uint64_t seed = 1;  ///< draws pairs and schedules
  std::uint64_t pairs = 500;
  std::uint64_t schedules = 500;
  std::uint64_t shard = 1;  ///< of `shards`, from 1: every shards-th run
  std::uint64_t shards = 1;
  std::vector<SweepTask::Kind> kinds;  ///< empty: all
  std::uint64_t most_cuts = 0;         ///< so many power cuts, spread over the run; 0: one at every call
};

/// Every plausible error of every call of the catalogue (of a place that makes its call repeatedly: the first, the
/// second, the middle and the last one), the same of the requests for memory, pairs of all these, a power cut at every
/// call, schedules.
std::vector<SweepTask> PlanSweep(const std::vector<KnownCall>& calls, const PlanOptions& options);

/// The options of `vantord-tablet run` that make this run again.
std::string RepeatOptions(const SweepTask& task);

}  // namespace cli
