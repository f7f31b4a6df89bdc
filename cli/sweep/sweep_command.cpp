#include "cli/sweep/sweep_command.h"

#include <fmt/format.h>

#include <chrono>
#include <map>
#include <stdexcept>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"

namespace cli {

namespace {

/// The ground of a tablet whose undisturbed run has been lived.
SweepGround GroundOf(const SweepOptions& options, Verdict& undisturbed) {
  SweepGround ground = PrepareGround(options.folder);
  ground.prepare = options.prepare;
  WorkerPoolOptions alone = options.farm;
  alone.workers = 1;
  RunWorkerPool(
      1, alone, [&](std::size_t, const Deliver& deliver) { LiveUndisturbed(ground, deliver); },
      [&](std::size_t, const nlohmann::json& answer) { undisturbed = TakeUndisturbed(answer, ground); });
  if (ground.calls.empty()) {
    throw std::runtime_error("the undisturbed run does not come to its end: " +
                             (undisturbed.findings.empty() ? undisturbed.end : undisturbed.findings.front().detail));
  }
  return ground;
}

/// Runs all tasks, under a progress bar.
void LiveAll(SweepGround& ground, const std::vector<SweepTask>& tasks, const WorkerPoolOptions& farm, Console& console,
             const std::function<void(const SweepTask& task, Verdict verdict)>& done) {
  std::size_t finished = 0;
  RunWorkerPool(
      tasks.size(), farm, [&](std::size_t task, const Deliver& deliver) { LiveTask(ground, tasks[task], deliver); },
      [&](std::size_t task, const nlohmann::json& answer) {
        done(tasks[task], VerdictFrom(answer));
        console.Progress(fmt::format("of {} runs", tasks.size()), ++finished, tasks.size());
      });
  console.EndProgress();
}

}  // namespace

SweepReport SweepTablet(const SweepOptions& options, Console& console) {
  using Clock = std::chrono::steady_clock;
  Clock::time_point const begun = Clock::now();
  SweepReport report(options.folder.string());
  report.workers = WorkersOf(options.farm);
  Verdict undisturbed;
  SweepGround ground = GroundOf(options, undisturbed);
  report.AddUndisturbed(undisturbed);
  LiveAll(ground, PlanSweep(ground.calls, options.plan), options.farm, console,
          [&](const SweepTask& task, const Verdict& verdict) { report.Add(task, ground.calls, verdict); });
  report.seconds = std::chrono::duration<double>(Clock::now() - begun).count();
  return report;
}

int TellCuts(const SweepOptions& options, Console& console) {
  Verdict undisturbed;
  SweepGround ground = GroundOf(options, undisturbed);
  ground.describes_cuts = true;
  ground.before = WithoutSetup(StateOf(ground.run->machine(), ground.description.power_on));
  PlanOptions plan = options.plan;
  plan.kinds = {SweepTask::Kind::kCut};
  std::map<std::uint64_t, CutRow> rows;
  bool broken = false;
  LiveAll(ground, PlanSweep(ground.calls, plan), options.farm, console, [&](const SweepTask& task, Verdict verdict) {
    broken = broken || !verdict.findings.empty();
    rows[task.cut_at] = std::move(verdict.cut);
  });
  PrintCutTable(rows, ground.calls, console);
  return broken ? kNotAsExpected : kDone;
}

int Sweep(const SweepOptions& options, Console& console) {
  SweepReport const report = SweepTablet(options, console);
  if (options.json) {
    PrintJson(console, report.ToJson());
  } else {
    report.Print(console);
  }
  return report.broken() ? kNotAsExpected : kDone;
}

}  // namespace cli
