#include "cli/sweep/sweep_run.h"

#include <fmt/format.h>
#include <malloc.h>

#include <utility>

#include "cli/boot/fresh_service.h"
#include "cli/boot/full_timeline.h"
#include "cli/sweep/sweep_check.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"

#if defined(__SANITIZE_ADDRESS__)
#define VANTORD_FINDS_LEAKS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VANTORD_FINDS_LEAKS
#endif
#endif
#ifdef VANTORD_FINDS_LEAKS
#include <sanitizer/lsan_interface.h>
#endif

namespace cli {

namespace {

using nlohmann::json;

/// Processor time without a call after which a service is given up where a promise lets it hang: more than a whole run
/// takes. Most of the time of a sweep went there. Elsewhere a hang is a finding, and it is given ten times as much.
#ifdef VANTORD_FINDS_LEAKS
constexpr std::chrono::milliseconds kPatience{40};
#else
constexpr std::chrono::milliseconds kPatience{4};
#endif
constexpr int kTimesForAFinding = 10;
/// Calls without movement of the clock: a whole run has a few thousand.
constexpr std::uint64_t kCallLimit = 200'000;
/// Until somebody has found the power cut and switched on again.
constexpr tablet::FileTicks kDark = 60 * tablet::kTicksPerSecond;

bool HasLeaked() {
#ifdef VANTORD_FINDS_LEAKS
  return __lsan_do_recoverable_leak_check() != 0;
#else
  return false;
#endif
}

void Finish(Verdict& verdict, const Deliver& deliver) {
  if (HasLeaked()) verdict.findings.push_back({"memory", "allocated and lost"});
  deliver(ToJson(verdict));
}

bool AllCameToPass(TabletRun& run) {
  for (const tablet::Faults::Counted& fault : run.machine().faults().all()) {
    if (fault.hits == 0) return false;
  }
  return true;
}

/// Runs one run to its end. A hang is judged and delivered on the watchdog's thread.
RunEnd LiveToTheEnd(TabletRun& run, RunJudge& judge, Verdict& verdict, const Deliver& deliver) {
  run.OnHang([&, times = 0](const RunEnd& end) mutable {
    if (!judge.MayHang(end) && ++times < kTimesForAFinding) return;
    verdict.came_to_pass = verdict.came_to_pass && AllCameToPass(run);
    judge.CheckEnd(end);
    deliver(ToJson(verdict));
  });
  RunEnd const end = run.Run(std::nullopt);
  verdict.came_to_pass = verdict.came_to_pass && AllCameToPass(run);
  return end;
}

/// Keeps in the ground what promises depend on while a run goes on.
void Watch(TabletRun& run, SweepGround& ground) {
  ground.archive->clear();
  *ground.deletions = 0;
  run.machine().faults().on_ask = [deletions = ground.deletions](std::string_view call) {
    if (call == "RegDeleteValueW") ++*deletions;
  };
  run.machine().drive().on_open = [archive = ground.archive](const std::u16string& path) {
    if (tablet::FoldCase(path).starts_with(kModemArchiveFolder)) *archive = path;
  };
}

/// Switches on again: later, without faults.
std::unique_ptr<TabletRun> SwitchOnAgain(SweepGround& ground, std::unique_ptr<TabletRun> run) {
  tablet::Description description = ground.description;
  description.power_on +=
      static_cast<tablet::FileTicks>(run->machine().scheduler().Now().count()) * (tablet::kTicksPerSecond / 1000) +
      kDark;
  DiskState disk = TabletRun::PowerOff(std::move(run));
  auto next = std::make_unique<TabletRun>(description, std::move(disk), ground.folder,
                                          RunSettings{.call_limit = kCallLimit, .patience = kPatience});
  Watch(*next, ground);
  return next;
}

TabletState CompleteState(const SweepGround& ground, TabletRun& run) {
  return WithoutSetup(StateOf(run.machine(), ground.description.power_on));
}

/// By which name the tablet differs from one whose power was not cut.
std::string DescribeLeft(const Verdict& verdict) {
  for (const std::string& name : verdict.exemptions) {
    if (name.starts_with("converges/")) return fmt::format("`{}`", name);
  }
  return verdict.findings.empty() ? "as if undisturbed" : "a broken promise";
}

}  // namespace

json ToJson(const Verdict& verdict) {
  json findings = json::array();
  for (const Finding& finding : verdict.findings) findings.push_back({finding.promise, finding.detail});
  return {{"end", verdict.end},
          {"findings", std::move(findings)},
          {"exemptions", verdict.exemptions},
          {"came_to_pass", verdict.came_to_pass},
          {"cut", {verdict.cut.disk, verdict.cut.next, verdict.cut.left}},
          {"calls", verdict.calls}};
}

Verdict VerdictFrom(const json& document) {
  Verdict verdict;
  if (document.contains("crashed")) {
    verdict.crash = document["crashed"];
    verdict.end = "crashed";
    std::string const output = document["output"];
    verdict.findings.push_back({"memory", verdict.crash + (output.empty() ? "" : ": " + output)});
    return verdict;
  }
  verdict.end = document["end"];
  for (const json& finding : document["findings"]) verdict.findings.push_back({finding[0], finding[1]});
  verdict.exemptions = document["exemptions"];
  verdict.came_to_pass = document["came_to_pass"];
  const json& cut = document["cut"];
  verdict.cut = {.disk = cut[0], .next = cut[1], .left = cut[2]};
  verdict.calls = document["calls"];
  return verdict;
}

SweepGround PrepareGround(const std::filesystem::path& folder) {
  // Every simulated thread would otherwise begin with an arena of its own, touched for the first time in each run.
  ::mallopt(M_ARENA_MAX, 1);
  SweepGround ground;
  ground.description = tablet::ReadTabletFolder(folder);
  ground.folder = folder;
  AddFullTimeline(ground.description);
  ground.run = std::make_unique<TabletRun>(ground.description, folder, folder,
                                           RunSettings{.call_limit = kCallLimit, .patience = kPatience});
  ground.run->machine().drive().KeepInMemory();
  ground.expected = ExpectationsOf(ground.run->machine());
  // Files are summed up here, once: every run compares them.
  static_cast<void>(StateOf(ground.run->machine(), ground.description.power_on));
  ground.archive = std::make_shared<std::u16string>();
  ground.deletions = std::make_shared<std::size_t>(0);
  Watch(*ground.run, ground);
  LoadFreshServices(2);
  return ground;
}

void LiveUndisturbed(SweepGround& ground, const Deliver& deliver) {
  Verdict verdict;
  SweepTask const task{.kind = SweepTask::Kind::kSchedule};
  json states = json::array();
  json calls;
  std::unique_ptr<TabletRun> run = std::move(ground.run);
  for (int start = 1; start <= 2; ++start) {
    RunJudge judge(ground, task, *run, verdict);
    CallRecorder recorder(*run);
    if (ground.prepare) ground.prepare(*run, task, start);
    judge.CheckEnd(LiveToTheEnd(*run, judge, verdict, deliver));
    states.push_back(StateOf(run->machine(), ground.description.power_on));
    if (start == 1) calls = ToJson(recorder.Take());
    if (start == 1) run = SwitchOnAgain(ground, std::move(run));
  }
  deliver({{"verdict", ToJson(verdict)}, {"calls", std::move(calls)}, {"states", std::move(states)}});
}

Verdict TakeUndisturbed(const json& document, SweepGround& ground) {
  if (!document.contains("verdict")) return VerdictFrom(document);
  ground.calls = CallsFrom(document["calls"]);
  ground.after_one = WithoutSetup(document["states"][0]);
  ground.after_two = WithoutSetup(document["states"][1]);
  return VerdictFrom(document["verdict"]);
}

void LiveTask(SweepGround& ground, const SweepTask& task, const Deliver& deliver) {
  Verdict verdict;
  std::unique_ptr<TabletRun> run = std::move(ground.run);
  RunJudge judge(ground, task, *run, verdict);
  run->Arm(task.seed, task.cut_at, task.stop_early);
  for (const tablet::Fault& fault : task.faults) run->machine().faults().Add(fault);
  if (ground.prepare) ground.prepare(*run, task, 1);
  RunEnd const end = LiveToTheEnd(*run, judge, verdict, deliver);
  if (end.kind != RunEnd::Kind::kPowerCut) {
    judge.CheckEnd(end);
    if (task.kind == SweepTask::Kind::kSchedule) {
      judge.CheckState("schedule", CompleteState(ground, *run), {&ground.after_one});
    }
    return Finish(verdict, deliver);
  }
  judge.CheckDrive(true);
  verdict.calls += run->machine().scheduler().calls();
  TabletState const at_cut = ground.describes_cuts ? CompleteState(ground, *run) : TabletState{};
  run = SwitchOnAgain(ground, std::move(run));
  RunJudge next(ground, task, *run, verdict);
  bool tells = false;
  run->machine().faults().on_ask = [&tells, others = run->machine().faults().on_ask](std::string_view call) {
    tells = tells || call == "CreateProcessAsUserW";
    if (others) others(call);
  };
  if (ground.prepare) ground.prepare(*run, task, 2);
  next.CheckEnd(LiveToTheEnd(*run, next, verdict, deliver));
  TabletState const left = CompleteState(ground, *run);
  next.CheckState("converges", left, {&ground.after_one, &ground.after_two});
  if (ground.describes_cuts) {
    verdict.cut = {.disk = DescribeDisk(ground.before, ground.after_one, at_cut),
                   .next = DescribeStart(at_cut, left, run->machine().drive().Changes(), tells),
                   .left = DescribeLeft(verdict)};
  }
  Finish(verdict, deliver);
}

}  // namespace cli
