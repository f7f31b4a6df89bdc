#include "cli/sweep_life.h"

#include <fmt/format.h>
#include <malloc.h>

#include <utility>

#include "cli/fresh_service.h"
#include "cli/sweep_check.h"
#include "cli/whole_life.h"
#include "tablet/folder.h"
#include "tablet/text.h"

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

/// Processor time without a call after which a service is given up where a promise lets it hang: more than a whole life
/// takes. Most of the time of a sweep went there. Elsewhere a hang is a finding, and it is given ten times as much.
#ifdef VANTORD_FINDS_LEAKS
constexpr std::chrono::milliseconds kPatience{40};
#else
constexpr std::chrono::milliseconds kPatience{4};
#endif
constexpr int kTimesForAFinding = 10;
/// Calls without movement of the clock: a whole life has a few thousand.
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

bool AllCameToPass(Life& life) {
  for (const tablet::Faults::Counted& fault : life.machine().faults().all()) {
    if (fault.hits == 0) return false;
  }
  return true;
}

/// Lives one life to its end. A hang is judged and delivered on the watchdog's thread.
LifeEnd LiveToTheEnd(Life& life, LifeJudge& judge, Verdict& verdict, const Deliver& deliver) {
  life.OnHang([&, times = 0](const LifeEnd& end) mutable {
    if (!judge.MayHang(end) && ++times < kTimesForAFinding) return;
    verdict.came_to_pass = verdict.came_to_pass && AllCameToPass(life);
    judge.CheckEnd(end);
    deliver(ToJson(verdict));
  });
  LifeEnd const end = life.Run(std::nullopt);
  verdict.came_to_pass = verdict.came_to_pass && AllCameToPass(life);
  return end;
}

/// Keeps in the ground what promises depend on while a life goes on.
void Watch(Life& life, SweepGround& ground) {
  ground.archive->clear();
  *ground.deletions = 0;
  life.machine().faults().on_ask = [deletions = ground.deletions](std::string_view call) {
    if (call == "RegDeleteValueW") ++*deletions;
  };
  life.machine().drive().on_open = [archive = ground.archive](const std::u16string& path) {
    if (tablet::FoldCase(path).starts_with(kModemArchiveFolder)) *archive = path;
  };
}

/// Switches on again: later, without faults.
std::unique_ptr<Life> SwitchOnAgain(SweepGround& ground, std::unique_ptr<Life> life) {
  tablet::Description description = ground.description;
  description.power_on +=
      static_cast<tablet::FileTicks>(life->machine().scheduler().Now().count()) * (tablet::kTicksPerSecond / 1000) +
      kDark;
  DiskState disk = Life::PowerOff(std::move(life));
  auto next = std::make_unique<Life>(description, std::move(disk), ground.folder,
                                     LifeOptions{.call_limit = kCallLimit, .patience = kPatience});
  Watch(*next, ground);
  return next;
}

TabletState CompleteState(const SweepGround& ground, Life& life) {
  return WithoutSetup(StateOf(life.machine(), ground.description.power_on));
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
  // Every simulated thread would otherwise begin with an arena of its own, touched for the first time in each life.
  ::mallopt(M_ARENA_MAX, 1);
  SweepGround ground;
  ground.description = tablet::ReadTabletFolder(folder);
  ground.folder = folder;
  AddWholeLife(ground.description);
  ground.life = std::make_unique<Life>(ground.description, folder, folder,
                                       LifeOptions{.call_limit = kCallLimit, .patience = kPatience});
  ground.life->machine().drive().KeepInMemory();
  ground.expected = ExpectationsOf(ground.life->machine());
  ground.archive = std::make_shared<std::u16string>();
  ground.deletions = std::make_shared<std::size_t>(0);
  Watch(*ground.life, ground);
  LoadFreshServices(2);
  return ground;
}

void LiveUndisturbed(SweepGround& ground, const Deliver& deliver) {
  Verdict verdict;
  SweepTask const task{.kind = SweepTask::Kind::kSchedule};
  json states = json::array();
  json calls;
  std::unique_ptr<Life> life = std::move(ground.life);
  for (int start = 1; start <= 2; ++start) {
    LifeJudge judge(ground, task, *life, verdict);
    CallRecorder recorder(*life);
    if (ground.prepare) ground.prepare(*life, task, start);
    judge.CheckEnd(LiveToTheEnd(*life, judge, verdict, deliver));
    states.push_back(StateOf(life->machine(), ground.description.power_on));
    if (start == 1) calls = ToJson(recorder.Take());
    if (start == 1) life = SwitchOnAgain(ground, std::move(life));
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
  std::unique_ptr<Life> life = std::move(ground.life);
  LifeJudge judge(ground, task, *life, verdict);
  life->Arm(task.seed, task.cut_at, task.stop_early);
  for (const tablet::Fault& fault : task.faults) life->machine().faults().Add(fault);
  if (ground.prepare) ground.prepare(*life, task, 1);
  LifeEnd const end = LiveToTheEnd(*life, judge, verdict, deliver);
  if (end.kind != LifeEnd::Kind::kPowerCut) {
    judge.CheckEnd(end);
    if (task.kind == SweepTask::Kind::kSchedule) {
      judge.CheckState("schedule", CompleteState(ground, *life), {&ground.after_one});
    }
    return Finish(verdict, deliver);
  }
  judge.CheckDrive(true);
  verdict.calls += life->machine().scheduler().calls();
  TabletState const at_cut = ground.describes_cuts ? CompleteState(ground, *life) : TabletState{};
  life = SwitchOnAgain(ground, std::move(life));
  LifeJudge next(ground, task, *life, verdict);
  bool tells = false;
  life->machine().faults().on_ask = [&tells, others = life->machine().faults().on_ask](std::string_view call) {
    tells = tells || call == "CreateProcessAsUserW";
    if (others) others(call);
  };
  if (ground.prepare) ground.prepare(*life, task, 2);
  next.CheckEnd(LiveToTheEnd(*life, next, verdict, deliver));
  TabletState const left = CompleteState(ground, *life);
  next.CheckState("converges", left, {&ground.after_one, &ground.after_two});
  if (ground.describes_cuts) {
    verdict.cut = {.disk = DescribeDisk(ground.before, ground.after_one, at_cut),
                   .next = DescribeStart(at_cut, left, life->machine().drive().Changes(), tells),
                   .left = DescribeLeft(verdict)};
  }
  Finish(verdict, deliver);
}

}  // namespace cli
