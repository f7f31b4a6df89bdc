#include "cli/sweep/sweep_promises.h"

#include <algorithm>
#include <array>
#include <set>

#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

constexpr Promise kPromises[] = {
    {"ends", "a run ends with the status STOPPED; otherwise only in ways that are named"},
    {"failed-deployment", "without a complete image the request for it and the driver's image paths are as they were"},
    {"paths-after-files", "the request goes and the image paths change only after the last file of the image"},
    {"dumps", "each dump is in the modem's folder or in the retail log, whole"},
    {"inside", "nothing is made or written outside of the target folders"},
    {"handles", "what the process opened is closed when it ends"},
    {"memory", "no access outside of what is allocated, nothing allocated is lost"},
    {"told", "a failure that has a message is logged"},
    {"converges", "after a power cut the next start leaves the tablet as an undisturbed run does"},
    {"schedule", "in whatever order threads run, the tablet is left the same"},
};

const KnownCall* Failed(const RunFacts& facts, std::string_view name) {
  auto const found = std::ranges::find_if(facts.failed, [&](const KnownCall* call) { return call->name == name; });
  return found == facts.failed.end() ? nullptr : *found;
}

bool FailedOn(const RunFacts& facts, std::string_view name, std::string_view thread) {
  return std::ranges::any_of(facts.failed,
                             [&](const KnownCall* call) { return call->name == name && call->thread == thread; });
}

/// The number of the first call of this name with these arguments; 0: there is none.
std::uint64_t NumberOf(const RunFacts& facts, std::string_view name, std::string_view args) {
  auto const call = std::ranges::find_if(
      facts.calls, [&](const KnownCall& one) { return one.name == name && one.args.find(args) != one.args.npos; });
  return call == facts.calls.end() ? 0 : call->number;
}

bool AllContain(const std::vector<std::string>& lines, std::string_view part) {
  return !lines.empty() && std::ranges::all_of(lines, [&](auto& line) { return line.find(part) != line.npos; });
}

constexpr bool NeverEnds(RunEnd::Kind end) { return end == RunEnd::Kind::kHung || end == RunEnd::Kind::kTimeLimit; }

bool NoDispatcher(const RunFacts& facts) {
  return facts.end == RunEnd::Kind::kFailed && Failed(facts, "StartServiceCtrlDispatcherW") != nullptr;
}

bool NoStoppedEvent(const RunFacts& facts) {
  return facts.end == RunEnd::Kind::kDied && FailedOn(facts, "CreateEventW", "main");
}

bool NoHandler(const RunFacts& facts) {
  return facts.end == RunEnd::Kind::kDied && Failed(facts, "RegisterServiceCtrlHandlerExW") != nullptr;
}

bool WorkersWait(const RunFacts& facts) {
  return facts.deaths == 1 && FailedOn(facts, "WaitForSingleObject", "worker");
}

bool StopEventLost(const RunFacts& facts) {
  return NeverEnds(facts.end) && facts.status == tablet::kServiceStopPending && Failed(facts, "SetEvent") != nullptr;
}

bool StatusNotTaken(const RunFacts& facts) {
  bool const lost = std::ranges::any_of(facts.failed, [](const KnownCall* call) {
    bool const awaited =
        call->args.find("state=RUNNING") != call->args.npos || call->args.find("state=STOPPED") != call->args.npos;
    return call->name == "SetServiceStatus" && awaited;
  });
  return lost && NeverEnds(facts.end);
}

bool BadHeader(const RunFacts& facts) {
  return facts.end == RunEnd::Kind::kHung &&
         (Failed(facts, "ReadFile") != nullptr || Failed(facts, "SetFilePointer") != nullptr);
}

bool ResetPolls(const RunFacts& facts) {
  bool const no_event = FailedOn(facts, "CreateEventW", "service") || FailedOn(facts, "WaitForSingleObject", "thread");
  return facts.end == RunEnd::Kind::kCallLimit && no_event;
}

bool ClosingFailed(const RunFacts& facts) {
  constexpr std::array<std::string_view, 12> kClosers{"CloseHandle",
                                                      "RegCloseKey",
                                                      "FindClose",
                                                      "CloseServiceHandle",
                                                      "LocalFree",
                                                      "HeapFree",
                                                      "DestroyEnvironmentBlock",
                                                      "SetupDiDestroyDeviceInfoList",
                                                      "CM_Unregister_Notification",
                                                      "PowerSettingUnregisterNotification",
                                                      "UnregisterTraceGuids",
                                                      "RIL_Release"};
  auto const closers = std::ranges::count_if(
      facts.failed, [&](const KnownCall* call) { return std::ranges::find(kClosers, call->name) != kClosers.end(); });
  return static_cast<std::size_t>(closers) >= facts.broken.size();
}

bool WorkerNotQueued(const RunFacts& facts) { return Failed(facts, "QueueUserWorkItem") != nullptr; }

/// The modem's object or the item of the worker: the start ends as a clean stop, and the process with it.
bool NoMemoryToStart(const RunFacts& facts) {
  return std::ranges::any_of(facts.failed, [](const KnownCall* call) {
    return call->name == tablet::kAllocation && call->function.starts_with("CVantord::");
  });
}

bool BetweenThePaths(const RunFacts& facts) {
  std::uint64_t const first = NumberOf(facts, "RegSetValueExW", "AmssFwImagePath");
  std::uint64_t const second = NumberOf(facts, "RegSetValueExW", "AmssSwImagePath");
  return first != 0 && facts.cut_at > first && facts.cut_at <= second && AllContain(facts.broken, "AmssSwImagePath");
}

bool SeekFailed(const RunFacts& facts) { return Failed(facts, "SetFilePointer") != nullptr; }

/// One of the single bytes of a central header, read again for the entry's name.
bool HeaderByteFailed(const RunFacts& facts) {
  return std::ranges::any_of(facts.failed, [](const KnownCall* call) {
    return call->name == "ReadFile" && call->args.find(", 1 -> ") != std::string::npos;
  });
}

/// The number of the last call of this name.
std::uint64_t LastOf(const RunFacts& facts, std::string_view name) {
  std::uint64_t number = 0;
  for (const KnownCall& call : facts.calls) {
    if (call.name == name) number = call.number;
  }
  return number;
}

/// The number of the call that makes the last of the logon screen's keys, where they are missing.
std::uint64_t LastLogonKey(const RunFacts& facts) {
  std::uint64_t last = 0;
  std::set<std::string_view> made;
  for (const KnownCall& call : facts.calls) {
    bool const of_logon = call.name == "RegCreateKeyExW" && call.args.find("\\Authentication\\") != call.args.npos;
    if (of_logon && made.insert(call.args).second) last = call.number;
  }
  return last;
}

bool BeforeTheFirstMove(const RunFacts& facts) {
  std::uint64_t const made = NumberOf(facts, "CreateDirectoryW", "CPCrash_");
  std::uint64_t const moved = NumberOf(facts, "MoveFileExW", "");
  return made != 0 && facts.cut_at > made && facts.cut_at <= moved && AllContain(facts.broken, "CPCrash_ (empty)");
}

bool BetweenTheMoves(const RunFacts& facts) {
  std::uint64_t const first = NumberOf(facts, "MoveFileExW", "");
  bool const dumps_only = std::ranges::all_of(facts.broken, [](const std::string& line) {
    return line.find("CPCrash_") != line.npos || line.find("ssr_dumps") != line.npos ||
           line.find("Authentication") != line.npos;
  });
  return first != 0 && facts.cut_at > first && facts.cut_at <= LastOf(facts, "MoveFileExW") && dumps_only;
}

bool BeforeTheNotice(const RunFacts& facts) {
  std::uint64_t const moved = LastOf(facts, "MoveFileExW");
  return moved != 0 && facts.cut_at > moved && facts.cut_at <= LastLogonKey(facts) &&
         AllContain(facts.broken, "CurrentVersion\\Authentication");
}

bool StepsUp(const RunFacts& facts) { return AllContain(facts.broken, kStepUp); }

/// A header or a name that is read wrong gives an entry no name, so that its target is the folder itself; and its
/// attributes, which cannot be asked for, are set to the value that means "none".
bool TargetFolderItself(const RunFacts& facts) {
  bool const no_name = Failed(facts, "ReadFile") != nullptr || Failed(facts, "SetFilePointer") != nullptr;
  return no_name && Failed(facts, "GetFileAttributesW") != nullptr && AllContain(facts.broken, kTargetFolder);
}

constexpr KnownLimitation kLimitations[] = {
    {"ends/no-dispatcher", "the dispatcher cannot be reached: the process ends with code 0 and without a status",
     NoDispatcher},
    {"ends/no-event", "the event that ends the worker cannot be made: the process dies", NoStoppedEvent},
    {"ends/no-handler", "the handler of controls cannot be registered: the process dies", NoHandler},
    {"ends/worker-wait", "the worker cannot wait for the stop: the process dies and is started again", WorkersWait},
    {"ends/stop-event", "the worker cannot be told to stop: the stop waits without end", StopEventLost},
    {"ends/status", "a status is not accepted: the service manager waits for it without end", StatusNotTaken},
    {"ends/bad-header", "a central header cannot be read: the extraction never returns", BadHeader},
    {"ends/reset-poll", "the silent reset has no event to wait on: it polls the registry without a pause", ResetPolls},
    {"handles/close", "what could not be released is left to the end of the process", ClosingFailed},
    {"handles/not-queued", "the worker cannot be queued: provider and notifications stay registered", WorkerNotQueued},
    {"handles/no-memory", "there is no memory for the modem or the worker: provider and notifications stay registered",
     NoMemoryToStart},
    {"converges/between-paths", "the power goes between the two image paths: the second stays as it was",
     BetweenThePaths},
    {"converges/empty-folder", "the power goes before the first dump is moved: its folder stays, empty",
     BeforeTheFirstMove},
    {"converges/left-behind",
     "the power goes between two dumps: files other than *.dmp may stay where they are, or get a folder of their own",
     BetweenTheMoves},
    {"converges/untold",
     "the power goes after the last dump and before the notice: the logon keys that it reads are not made",
     BeforeTheNotice},
    {"failed-deployment/seek", "a seek in the archive fails unnoticed: a wrong image counts as complete", SeekFailed},
    {"failed-deployment/header", "a byte of a central header fails when it is read again: the entry gets another name",
     HeaderByteFailed},
    {"inside/step-up", "an entry's name begins with \"..\": its file lies above the target", StepsUp},
    {"inside/target-folder",
     "an entry gets no name, and its attributes cannot be read: the target's folder gets others", TargetFolderItself},
};

}  // namespace

std::span<const Promise> Promises() { return kPromises; }

std::span<const KnownLimitation> KnownLimitations() { return kLimitations; }

const KnownLimitation* LimitationFor(std::string_view promise, const RunFacts& facts) {
  auto const found = std::ranges::find_if(kLimitations, [&](const KnownLimitation& one) {
    return one.name.starts_with(promise) && one.name[promise.size()] == '/' && one.holds(facts);
  });
  return found == std::end(kLimitations) ? nullptr : &*found;
}

}  // namespace cli
