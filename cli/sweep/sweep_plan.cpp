#include "cli/sweep/sweep_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <utility>

#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

using TaskKind = SweepTask::Kind;

/// Which of the calls of one place are made to fail.
std::vector<std::size_t> Chosen(const std::vector<std::size_t>& same_place) {
  std::size_t const last = same_place.size() - 1;
  std::set<std::size_t> const places{0, std::min<std::size_t>(1, last), last / 2, last};
  std::vector<std::size_t> chosen;
  for (std::size_t const place : places) chosen.push_back(same_place[place]);
  return chosen;
}

std::vector<SweepTask> SingleFaults(const std::vector<KnownCall>& calls) {
  std::map<std::pair<std::string, std::uint64_t>, std::vector<std::size_t>> places;
  for (std::size_t i = 0; i < calls.size(); ++i) places[{calls[i].name, calls[i].site}].push_back(i);
  std::vector<std::size_t> chosen;
  for (auto const& [place, same] : places) {
    for (std::size_t const index : Chosen(same)) chosen.push_back(index);
  }
  std::sort(chosen.begin(), chosen.end());
  std::vector<SweepTask> tasks;
  for (std::size_t const index : chosen) {
    const KnownCall& call = calls[index];
    const tablet::CatalogedCall* const cataloged = tablet::FindCataloged(call.name);
    if (cataloged == nullptr) continue;
    for (tablet::WinError const error : cataloged->errors) {
      tablet::Fault fault{.call = call.name, .error = error, .first = call.occurrence, .count = 1};
      TaskKind const kind = call.name == tablet::kAllocation ? TaskKind::kAllocation : TaskKind::kFault;
      tasks.push_back({.kind = kind, .faults = {std::move(fault)}, .known = {index}});
    }
  }
  return tasks;
}

SweepTask Pair(const std::vector<SweepTask>& singles, std::mt19937_64& random) {
  const SweepTask& one = singles[random() % singles.size()];
  const SweepTask& other = singles[random() % singles.size()];
  return {.kind = TaskKind::kPair, .faults = {one.faults[0], other.faults[0]}, .known = {one.known[0], other.known[0]}};
}

}  // namespace

std::string_view NameOf(TaskKind kind) {
  switch (kind) {
    case TaskKind::kFault:
      return "fault";
    case TaskKind::kAllocation:
      return "allocation";
    case TaskKind::kPair:
      return "pair";
    case TaskKind::kCut:
      return "cut";
    case TaskKind::kSchedule:
      return "schedule";
  }
  return "unknown";
}

std::vector<SweepTask> PlanSweep(const std::vector<KnownCall>& calls, const PlanOptions& options) {
  std::mt19937_64 random(options.seed);
  std::vector<SweepTask> tasks = SingleFaults(calls);
  std::vector<SweepTask> const singles = tasks;
  for (std::uint64_t i = 0; i < options.pairs && !singles.empty(); ++i) tasks.push_back(Pair(singles, random));
  std::uint64_t last = 0;
  for (const KnownCall& call : calls) last = std::max(last, call.number);
  std::uint64_t const cuts = options.most_cuts == 0 ? last : std::min(options.most_cuts, last);
  for (std::uint64_t cut = 1; cut <= cuts; ++cut) {
    tasks.push_back({.kind = TaskKind::kCut, .cut_at = cuts == last ? cut : cut * last / cuts});
  }
  for (std::uint64_t i = 0; i < options.schedules; ++i) {
    tasks.push_back({.kind = TaskKind::kSchedule, .seed = random() % 1'000'000 + 1, .stop_early = i % 2 == 1});
  }
  if (!options.kinds.empty()) {
    std::erase_if(tasks, [&](const SweepTask& task) { return std::ranges::count(options.kinds, task.kind) == 0; });
  }
  std::vector<SweepTask> mine;
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    if (i % options.shards == options.shard - 1) mine.push_back(std::move(tasks[i]));
  }
  return mine;
}

std::string RepeatOptions(const SweepTask& task) {
  std::string options = " --full-timeline";
  for (const tablet::Fault& fault : task.faults) options += " --fault " + tablet::WriteFault(fault);
  if (task.cut_at != 0) options += fmt::format(" --cut-at {}", task.cut_at);
  if (task.seed != 0) options += fmt::format(" --seed {}", task.seed);
  if (task.stop_early) options += " --stop-early";
  return options;
}

}  // namespace cli
