#include "cli/sweep_command.h"

#include <fmt/format.h>

#include <chrono>
#include <optional>
#include <stdexcept>

#include "cli/exit_code.h"

namespace cli {

SweepReport SweepTablet(const SweepOptions& options, Console& console) {
  using Clock = std::chrono::steady_clock;
  Clock::time_point const begun = Clock::now();
  SweepGround ground = PrepareGround(options.folder);
  ground.prepare = options.prepare;
  SweepReport report(options.folder.string());
  report.workers = WorkersOf(options.farm);

  FarmOptions alone = options.farm;
  alone.workers = 1;
  Verdict undisturbed;
  RunFarm(
      1, alone, [&](std::size_t, const Deliver& deliver) { LiveUndisturbed(ground, deliver); },
      [&](std::size_t, const nlohmann::json& answer) { undisturbed = TakeUndisturbed(answer, ground); });
  if (ground.calls.empty()) {
    throw std::runtime_error("the undisturbed life does not come to its end: " +
                             (undisturbed.findings.empty() ? undisturbed.end : undisturbed.findings.front().detail));
  }
  report.AddUndisturbed(undisturbed);

  std::vector<SweepTask> const tasks = PlanSweep(ground.calls, options.plan);
  std::size_t finished = 0;
  RunFarm(
      tasks.size(), options.farm,
      [&](std::size_t task, const Deliver& deliver) { LiveTask(ground, tasks[task], deliver); },
      [&](std::size_t task, const nlohmann::json& answer) {
        report.Add(tasks[task], ground.calls, VerdictFrom(answer));
        console.Progress(fmt::format("of {} lives", tasks.size()), ++finished, tasks.size());
      });
  console.EndProgress();
  report.seconds = std::chrono::duration<double>(Clock::now() - begun).count();
  return report;
}

int Sweep(const SweepOptions& options, Console& console) {
  SweepReport const report = SweepTablet(options, console);
  if (options.json) {
    console.Line(report.ToJson().dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
  } else {
    report.Print(console);
  }
  return report.broken() ? kNotAsExpected : kDone;
}

}  // namespace cli
