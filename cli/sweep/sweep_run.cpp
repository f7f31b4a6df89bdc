#include "cli/sweep/sweep_run.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
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

/// How often the watchdog looks at a run that makes no call, in processor time.
constexpr std::chrono::milliseconds kLook{2};
#ifdef VANTORD_FINDS_LEAKS
constexpr int kSlowness = 10;
#else
constexpr int kSlowness = 1;
#endif
/// The least limits; a small tablet's longest pause between two calls is below a millisecond.
constexpr std::chrono::milliseconds kKnownLimit = kSlowness * std::chrono::milliseconds(6);
constexpr std::chrono::milliseconds kFindingLimit = kSlowness * std::chrono::milliseconds(1000);
/// Limits as multiples of the undisturbed run's longest pause.
constexpr int kKnownPauses = 10;
constexpr int kFindingPauses = 50;
/// Time for one call of the stand-in that copies a whole archive.
constexpr std::uint64_t kBytesPerMillisecond = 200'000;
/// Calls without movement of the clock: a run has a few thousand, and a few hundred for each entry of its archive.
constexpr std::uint64_t kCallLimit = 200'000;
constexpr std::uint64_t kCallsPerEntry = 2'000;
/// Between a power cut and the next power-on.
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

bool AllTriggered(TabletRun& run) {
  for (const tablet::Faults::Counted& fault : run.machine().faults().all()) {
    if (fault.hits == 0) return false;
  }
  return true;
}

/// Runs one run to its end. A hang is judged and delivered on the watchdog's thread. `longest` becomes the longest
/// pause between two calls that was seen.
RunEnd RunToTheEnd(SweepGround& ground, TabletRun& run, RunJudge& judge, Verdict& verdict, const Deliver& deliver,
                   std::chrono::milliseconds* longest = nullptr) {
  run.OnHang([&, call = std::uint64_t{0}, still = std::chrono::milliseconds{0}](const RunEnd& end) mutable {
    std::uint64_t const now = run.machine().scheduler().calls();
    still = now == call ? still + kLook : kLook;
    call = now;
    if (longest != nullptr) *longest = std::max(*longest, still);
    if (still < ground.limits.known || (still < ground.limits.finding && !judge.MayHang(end))) return;
    verdict.triggered = verdict.triggered && AllTriggered(run);
    judge.CheckEnd(end);
    deliver(ToJson(verdict));
  });
  RunEnd const end = run.Run(std::nullopt);
  verdict.triggered = verdict.triggered && AllTriggered(run);
  return end;
}

/// Records in the ground what promises depend on during a run.
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
  auto next = std::make_unique<TabletRun>(description, std::move(disk), ground.folder, ground.settings);
  Watch(*next, ground);
  return next;
}

TabletState CompleteState(const SweepGround& ground, TabletRun& run) {
  return WithoutSetup(StateOf(run.machine(), ground.description.power_on));
}

/// The known limitation by which the tablet differs from one whose power was not cut.
std::string DescribeLeft(const Verdict& verdict) {
  for (const std::string& name : verdict.limitations) {
    if (name.starts_with("converges/")) return fmt::format("`{}`", name);
  }
  return verdict.findings.empty() ? "as if undisturbed" : "a failure";
}

}  // namespace

json ToJson(const Verdict& verdict) {
  json findings = json::array();
  for (const Finding& finding : verdict.findings) findings.push_back({finding.promise, finding.detail});
  return {{"end", verdict.end},
          {"findings", std::move(findings)},
          {"exemptions", verdict.limitations},
          {"triggered", verdict.triggered},
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
  verdict.limitations = document["exemptions"];
  verdict.triggered = document["triggered"];
  const json& cut = document["cut"];
  verdict.cut = {.disk = cut[0], .next = cut[1], .left = cut[2]};
  verdict.calls = document["calls"];
  return verdict;
}

SweepGround PrepareGround(const std::filesystem::path& folder, std::optional<std::chrono::milliseconds> time_out,
                          const std::function<void(tablet::Tablet& machine)>& change) {
  // Every simulated thread would otherwise begin with an arena of its own, touched for the first time in each run.
  ::mallopt(M_ARENA_MAX, 1);
  SweepGround ground;
  ground.description = tablet::ReadTabletFolder(folder);
  ground.folder = folder;
  AddFullTimeline(ground.description);
  auto const power_on = [&](std::uint64_t call_limit) {
    ground.settings = {.counts_allocations = true, .call_limit = call_limit, .time_out = kLook};
    ground.run.reset();
    ground.run = std::make_unique<TabletRun>(ground.description, folder, folder, ground.settings);
    ground.run->machine().drive().KeepInMemory();
    if (change) change(ground.run->machine());
  };
  power_on(kCallLimit);
  ground.expected = ExpectationsOf(ground.run->machine());
  std::uint64_t const calls = ground.expected.most_entries * kCallsPerEntry;
  if (calls > kCallLimit) power_on(kCallLimit + calls);
  auto const for_copies = std::chrono::milliseconds(ground.expected.largest_archive / kBytesPerMillisecond);
  ground.limits.known = std::max(kKnownLimit, for_copies);
  ground.limits.finding = time_out.value_or(std::max(kFindingLimit, 10 * for_copies));
  ground.limits.known = std::min(ground.limits.known, ground.limits.finding);
  ground.derives_limits = !time_out;
  // Files are summed up here, once: every run compares them.
  static_cast<void>(StateOf(ground.run->machine(), ground.description.power_on));
  ground.archive = std::make_shared<std::u16string>();
  ground.deletions = std::make_shared<std::size_t>(0);
  Watch(*ground.run, ground);
  LoadFreshServices(3);
  return ground;
}

void RunUndisturbed(SweepGround& ground, const Deliver& deliver) {
  Verdict verdict;
  SweepTask const task{.kind = SweepTask::Kind::kSchedule};
  json states = json::array();
  json calls;
  // Its longest pause is not known yet. This process is a copy: the other tasks keep their limit.
  if (ground.derives_limits) ground.limits.finding *= 10;
  std::chrono::milliseconds longest{0};
  std::unique_ptr<TabletRun> run = std::move(ground.run);
  for (int start = 1; start <= 2; ++start) {
    RunJudge judge(ground, task, *run, verdict);
    CallRecorder recorder(*run);
    if (ground.prepare) ground.prepare(*run, task, start);
    judge.CheckEnd(RunToTheEnd(ground, *run, judge, verdict, deliver, &longest));
    states.push_back(StateOf(run->machine(), ground.description.power_on));
    if (start == 1) calls = ToJson(recorder.Take());
    if (start == 1) run = SwitchOnAgain(ground, std::move(run));
  }
  deliver({{"verdict", ToJson(verdict)},
           {"calls", std::move(calls)},
           {"states", std::move(states)},
           {"needs_archives", NeedsArchives(ground.expected)},
           {"longest_pause", longest.count()}});
}

Verdict TakeUndisturbed(const json& document, SweepGround& ground) {
  if (!document.contains("verdict")) return VerdictFrom(document);
  ground.calls = CallsFrom(document["calls"]);
  ground.after_one = WithoutSetup(document["states"][0]);
  ground.after_two = WithoutSetup(document["states"][1]);
  // Where the undisturbed run deploys, most runs do.
  if (document["needs_archives"].get<bool>()) ReadArchives(ground.expected);
  std::chrono::milliseconds const pause(document["longest_pause"].get<std::int64_t>());
  if (ground.derives_limits) {
    ground.limits.known = std::max(ground.limits.known, kKnownPauses * pause);
    ground.limits.finding = std::max(ground.limits.finding, kFindingPauses * pause);
  }
  return VerdictFrom(document["verdict"]);
}

void RunTask(SweepGround& ground, const SweepTask& task, const Deliver& deliver) {
  Verdict verdict;
  std::unique_ptr<TabletRun> run = std::move(ground.run);
  RunJudge judge(ground, task, *run, verdict);
  run->Arm(task.seed, task.cut_at, task.stop_early);
  for (const tablet::Fault& fault : task.faults) run->machine().faults().Add(fault);
  if (ground.prepare) ground.prepare(*run, task, 1);
  RunEnd const end = RunToTheEnd(ground, *run, judge, verdict, deliver);
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
  bool notifies = false;
  run->machine().faults().on_ask = [&notifies, others = run->machine().faults().on_ask](std::string_view call) {
    notifies = notifies || call == "CreateProcessAsUserW";
    if (others) others(call);
  };
  if (ground.prepare) ground.prepare(*run, task, 2);
  next.CheckEnd(RunToTheEnd(ground, *run, next, verdict, deliver));
  TabletState const left = CompleteState(ground, *run);
  next.CheckState("converges", left, {&ground.after_one, &ground.after_two});
  if (ground.describes_cuts) {
    verdict.cut = {.disk = DescribeDisk(ground.before, ground.after_one, at_cut),
                   .next = DescribeStart(at_cut, left, run->machine().drive().Changes(), notifies),
                   .left = DescribeLeft(verdict)};
  }
  Finish(verdict, deliver);
}

}  // namespace cli
