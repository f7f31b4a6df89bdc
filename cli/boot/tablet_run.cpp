#include <windows.h>
// windows.h comes first, as everywhere.
#include <fmt/format.h>
#include <sched.h>

#include <algorithm>
#include <map>
#include <utility>

#include "cli/base/exit_code.h"
#include "cli/base/service_facts.h"
#include "cli/base/watchdog.h"
#include "cli/base/work_folder.h"
#include "cli/boot/call_text.h"
#include "cli/boot/fresh_service.h"
#include "cli/boot/tablet_run.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/kernel/fault_catalog.h"
#include "sim/tablet/machine/timeline.h"

/// The service's own entry.
extern "C" int wmain(int argumentCount, WCHAR** arguments);

namespace cli {

namespace {

using Kind = RunEnd::Kind;
using tablet::Millis;

/// A service that neither stops nor comes to rest is sent a stop after this much virtual time, and given up after as
/// much again.
constexpr Millis kLongEnough = std::chrono::hours(1);

constexpr Millis kPollStep{50};

constexpr std::uint32_t kAllFlags = 1;
constexpr std::uint8_t kAllLevels = 5;

/// Simulated threads hand a baton to each other; that is twenty times faster on one processor than across two.
void StayOnThisProcessor() {
  int const here = ::sched_getcpu();
  if (here < 0) return;
  cpu_set_t only;
  CPU_ZERO(&only);
  CPU_SET(here, &only);
  ::sched_setaffinity(0, sizeof only, &only);
}

int RunService() {
  WCHAR name[] = TEXT("Vantord.exe");
  WCHAR* arguments[] = {name, nullptr};
  return wmain(1, arguments);
}

/// What a new process of the simulated tablet runs.
std::function<int()> NewService(bool counts_allocations) {
  static bool is_used = false;
  if (counts_allocations || std::exchange(is_used, true)) return FreshService();
  return RunService;
}

bool EndsTheService(const tablet::TimelineEvent& event) {
  return event.kind == tablet::TimelineEvent::Kind::kControl &&
         (event.number == tablet::kControlStop || event.number == tablet::kControlPreshutdown);
}

}  // namespace

std::string_view NameOf(Kind kind) {
  switch (kind) {
    case Kind::kStopped:
      return "stopped";
    case Kind::kFailed:
      return "failed";
    case Kind::kDied:
      return "died";
    case Kind::kHung:
      return "hung";
    case Kind::kTimeLimit:
      return "time limit";
    case Kind::kCallLimit:
      return "call limit";
    case Kind::kNotModelled:
      return "not modelled";
    case Kind::kPowerCut:
      return "power cut";
  }
  return "unknown";
}

int ExitCodeOf(Kind kind) {
  switch (kind) {
    case Kind::kStopped:
    case Kind::kPowerCut:
      return kDone;
    case Kind::kFailed:
    case Kind::kDied:
    case Kind::kHung:
      return kServiceFailed;
    case Kind::kTimeLimit:
    case Kind::kCallLimit:
      return kLimitReached;
    case Kind::kNotModelled:
      return kOperationFailed;
  }
  return kOperationFailed;
}

TabletRun::TabletRun(const tablet::Description& description, const std::filesystem::path& folder,
                     const std::filesystem::path& work, RunSettings options) try
    : description_(description),
      options_(options),
      machine_(description, work,
               {.seed = options.seed, .realtime = options.realtime, .call_limit = options.call_limit}) {
  tablet::LoadState(folder, machine_);
  registry_before_ = machine_.registry().Snapshot();
  firmware_before_ = machine_.firmware().variables();
  Prepare();
} catch (const tablet::InputError& error) {
  throw InWordsOf(folder, work, error);
}

TabletRun::TabletRun(const tablet::Description& description, DiskState disk, const std::filesystem::path& work,
                     RunSettings options)
    : description_(description),
      options_(options),
      machine_(description, work,
               {.seed = options.seed, .realtime = options.realtime, .call_limit = options.call_limit}),
      registry_before_(std::move(disk.registry_before)),
      firmware_before_(std::move(disk.firmware_before)),
      earlier_file_changes_(std::move(disk.file_changes)) {
  machine_.registry().Restore(*disk.registry);
  machine_.firmware().Restore(std::move(disk.firmware));
  if (disk.drive) machine_.drive().Become(std::move(disk.drive));
  if (disk.free_bytes) machine_.drive().LimitSpace(*disk.free_bytes);
  Prepare();
}

void TabletRun::Prepare() {
  machine_.scheduler().CutPowerAt(options_.cut_at);
  if (!options_.cut_call.empty()) {
    machine_.faults().on_ask = [this](std::string_view call) {
      if (call != options_.cut_call || ++cut_seen_ != options_.cut_occurrence) return;
      machine_.scheduler().HaltRun(
          {tablet::Halt::Reason::kPowerCut,
           fmt::format("the power is cut at call {}, {}@{}", machine_.scheduler().calls(), call, cut_seen_)});
    };
  }
  for (const tablet::LockedFile& file : description_.locked_files) {
    if (machine_.drive().Lock(file.path)) continue;
    throw tablet::InputError(file.place, fmt::format("{} is no file of drive C:", tablet::ToUtf8(file.path)),
                             "name a file that is there");
  }
  if (description_.trace_collected) {
    machine_.trace().Collect(*tablet::Guid::Parse(service_facts::kTraceProvider), kAllFlags, kAllLevels);
  }
  machine_.scheduler().OnTick([this] { ticks_.fetch_add(1, std::memory_order_relaxed); });
}

TabletRun::~TabletRun() = default;

void TabletRun::Arm(std::uint64_t seed, std::uint64_t cut_at, bool stop_early) {
  options_.seed = seed;
  options_.cut_at = cut_at;
  options_.stop_early = stop_early;
  machine_.scheduler().Reseed(seed);
  machine_.scheduler().CutPowerAt(cut_at);
}

DiskState TabletRun::PowerOff(std::unique_ptr<TabletRun> run) {
  run->machine_.drive().SaveSideFile();
  return {.registry = run->machine_.registry().Snapshot(),
          .firmware = run->machine_.firmware().variables(),
          .drive = run->machine_.drive().in_memory() ? run->machine_.drive().Copy() : nullptr,
          .registry_before = std::move(run->registry_before_),
          .firmware_before = std::move(run->firmware_before_),
          .file_changes = run->FileChanges(),
          .free_bytes = run->machine_.drive().FreeBytes()};
}

std::vector<tablet::FileChange> TabletRun::FileChanges() {
  if (earlier_file_changes_.empty()) return machine_.drive().Changes();
  std::map<std::u16string, tablet::FileChange> changes;
  for (const tablet::FileChange& change : earlier_file_changes_) changes[change.path] = change;
  for (tablet::FileChange change : machine_.drive().Changes()) {
    auto const earlier = changes.find(change.moved_from.empty() ? change.path : change.moved_from);
    if (earlier != changes.end()) {
      change.created = change.created || earlier->second.created;
      change.written = change.written || earlier->second.written;
      change.attributes = change.attributes || earlier->second.attributes;
      change.attributes_before = earlier->second.attributes_before;
      if (!earlier->second.moved_from.empty()) change.moved_from = earlier->second.moved_from;
      if (earlier->second.created) change.moved_from.clear();
      changes.erase(earlier);
    }
    changes[change.path] = std::move(change);
  }
  std::vector<tablet::FileChange> all;
  for (auto& [path, change] : changes) all.push_back(std::move(change));
  std::ranges::sort(all, tablet::LessIgnoringCase, &tablet::FileChange::path);
  return all;
}

bool TabletRun::CountsAllocations() {
  return options_.counts_allocations || std::ranges::any_of(machine_.faults().all(), [](const auto& counted) {
           return counted.fault.call == tablet::kAllocation;
         });
}

void TabletRun::Start() {
  StayOnThisProcessor();
  for (const tablet::TimelineEvent& event : description_.timeline) {
    ++events_to_come_;
    machine_.scheduler().At(event.at, [this, event] {
      --events_to_come_;
      Happen(event);
    });
  }
  machine_.services().OnRestart(FreshService);
  machine_.services().Start(u"Vantord", NewService(CountsAllocations()));
  listening_ = poll_ != nullptr;
  if (listening_) machine_.scheduler().At(kPollStep, [this] { Poll(); });
}

void TabletRun::Happen(const tablet::TimelineEvent& event) {
  tablet::WinError const refusal = tablet::Happen(event, machine_);
  told_ = told_ || (refusal == tablet::kSuccess && EndsTheService(event));
}

void TabletRun::Poll() {
  listening_ = poll_() && !told_;
  if (listening_) machine_.scheduler().At(machine_.scheduler().Now() + kPollStep, [this] { Poll(); });
}

bool TabletRun::IsResting() {
  return events_to_come_ == 0 && !listening_ && machine_.services().status().state == tablet::kServiceRunning &&
         machine_.services().IsParked();
}

bool TabletRun::HasEnded() { return machine_.services().ended().has_value() && !machine_.services().restart_pending(); }

std::optional<RunEnd> TabletRun::End() {
  const tablet::ServiceManager& services = machine_.services();
  if (const auto& halt = machine_.scheduler().halted()) {
    if (halt->reason == tablet::Halt::Reason::kPowerCut) return RunEnd{Kind::kPowerCut, halt->message, 0};
    bool const polls = halt->reason == tablet::Halt::Reason::kCallLimit;
    return RunEnd{polls ? Kind::kCallLimit : Kind::kNotModelled, halt->message, 0};
  }
  if (!services.ended() || services.restart_pending()) return std::nullopt;
  const tablet::ProcessEnd& end = *services.ended();
  const tablet::ServiceStatus& status = services.status();
  if (end.died) return RunEnd{Kind::kDied, "the service's process died of " + end.reason, 0};
  if (status.state != tablet::kServiceStopped) {
    return RunEnd{Kind::kFailed,
                  fmt::format("the service's process ended while its status was {}", tablet::StateName(status.state)),
                  0};
  }
  if (status.exit_code != 0 || end.exit_code != 0) {
    std::uint32_t const code = status.exit_code != 0 ? status.exit_code : static_cast<std::uint32_t>(end.exit_code);
    return RunEnd{Kind::kFailed, "the service stopped with error " + NumberAndName(code), code};
  }
  return RunEnd{Kind::kStopped,
                told_ ? "the service stopped as it was told" : "the service stopped by itself, without an error", 0};
}

std::optional<RunEnd> TabletRun::WaitFor(Millis deadline, const std::function<bool()>& enough) {
  tablet::Scheduler& scheduler = machine_.scheduler();
  Watchdog const watchdog(
      [this, &scheduler] { return scheduler.calls() + ticks_.load(std::memory_order_relaxed); }, options_.time_out,
      [this](Millis still) {
        on_hang_({Kind::kHung, fmt::format("the service hangs: no call of the Windows API for {:g} s of processor time",
                                           static_cast<double>(still.count()) / 1000)});
      });
  tablet::Wake const wake = scheduler.Wait(deadline, [&] { return HasEnded() || enough(); });
  if (std::optional<RunEnd> end = End()) return end;
  if (wake == tablet::Wake::kStalled) {
    return RunEnd{Kind::kHung, fmt::format("the service hangs: its status is {} and none of its threads will ever run",
                                           tablet::StateName(machine_.services().status().state))};
  }
  return std::nullopt;
}

std::optional<RunEnd> TabletRun::RunUntilRest(Millis deadline) {
  return WaitFor(deadline, [this] { return IsResting(); });
}

std::optional<RunEnd> TabletRun::Advance(Millis duration) {
  return WaitFor(machine_.scheduler().Now() + duration, [] { return false; });
}

RunEnd TabletRun::Run(std::optional<Millis> until) {
  tablet::Scheduler& scheduler = machine_.scheduler();
  Start();
  bool told_to_stop = false;
  if (options_.stop_early) {
    auto const runs = [this] { return machine_.services().status().state == tablet::kServiceRunning; };
    if (std::optional<RunEnd> end = WaitFor(scheduler.Now() + kLongEnough, runs)) return *end;
    Happen(*tablet::MakeEvent("stop", ""));
  }
  for (;;) {
    Millis limit = until ? *until : scheduler.Now() + kLongEnough;
    // The timeline's last event may lie far ahead.
    if (!until && events_to_come_ != 0) limit = std::max(limit, description_.timeline.back().at + kLongEnough);
    if (!until && listening_) limit = tablet::kForever;
    if (std::optional<RunEnd> end = RunUntilRest(limit)) return *end;
    bool const resting = IsResting();
    if (!resting && (until || told_to_stop)) {
      return {Kind::kTimeLimit, fmt::format("virtual time reached {:.3f} s; the service's status is {}",
                                            static_cast<double>(scheduler.Now().count()) / 1000,
                                            tablet::StateName(machine_.services().status().state))};
    }
    told_to_stop = true;
    Happen(*tablet::MakeEvent("stop", ""));
  }
}

}  // namespace cli
