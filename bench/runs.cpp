// Measures runs of a tablet: runs load|boot|radio|park FOLDER. The tablet in FOLDER is changed.
//
// load: reads the tablet and powers it on, as the others do first. boot: a line for each message and status until the
// service rests: virtual milliseconds, CPU nanoseconds since power-on, text. radio: CPU nanoseconds, virtual
// milliseconds and calls of a stop whose radio layer connects at the hundredth attempt and never completes the command.
// park: calls and movements of the clock of a resting service in a day, and KB of memory before its start and then.
#include <time.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <variant>

#include "cli/boot/tablet_run.h"
#include "sim/tablet/folder/folder.h"

namespace {

using tablet::Millis;

std::uint64_t Now() {
  timespec now;
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

/// KB of memory of this process.
long MemoryInUse() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  }
  return 0;
}

bool Rests(const std::optional<cli::RunEnd>& end) {
  if (end) std::fprintf(stderr, "runs: %s\n", end->message.c_str());
  return !end;
}

bool Boot(cli::TabletRun& run) {
  std::uint64_t const begun = Now();
  auto const print = [&](const std::string& text) {
    std::printf("%lld %llu %s\n", static_cast<long long>(run.machine().scheduler().Now().count()),
                static_cast<unsigned long long>(Now() - begun), text.c_str());
  };
  run.machine().journal().Listen([&](const tablet::Event& event) {
    if (const auto* trace = std::get_if<tablet::TraceEvent>(&event.what)) print(trace->text);
    if (const auto* status = std::get_if<tablet::StatusEvent>(&event.what)) print(status->state);
  });
  print("power-on");
  run.Start();
  bool const rests = Rests(run.RunUntilRest());
  print("rest");
  return rests;
}

bool Radio(cli::TabletRun& run) {
  run.Start();
  if (!Rests(run.RunUntilRest())) return false;
  const tablet::Scheduler& scheduler = run.machine().scheduler();
  std::uint64_t const calls = scheduler.calls();
  Millis const begun = scheduler.Now();
  std::uint64_t const cpu = Now();
  run.Happen(*tablet::MakeEvent("stop", ""));
  std::optional<cli::RunEnd> const end = run.RunUntilRest();
  std::uint64_t const used = Now() - cpu;
  std::printf("%llu %lld %llu\n", static_cast<unsigned long long>(used),
              static_cast<long long>((scheduler.Now() - begun).count()),
              static_cast<unsigned long long>(scheduler.calls() - calls));
  return end && end->kind == cli::RunEnd::Kind::kStopped;
}

bool Park(cli::TabletRun& run) {
  long const before = MemoryInUse();
  run.Start();
  if (!Rests(run.RunUntilRest())) return false;
  tablet::Scheduler& scheduler = run.machine().scheduler();
  std::uint64_t const calls = scheduler.calls();
  std::uint64_t movements = 0;
  scheduler.OnTick([&] { ++movements; });
  bool const rests = Rests(run.Advance(std::chrono::hours{24}));
  std::printf("%llu %llu %ld %ld\n", static_cast<unsigned long long>(scheduler.calls() - calls),
              static_cast<unsigned long long>(movements), before, MemoryInUse());
  return rests;
}

}  // namespace

int main(int count, char** arguments) {
  std::string_view const kind = count == 3 ? arguments[1] : "";
  if (kind != "load" && kind != "boot" && kind != "radio" && kind != "park") {
    std::fputs("usage: runs load|boot|radio|park FOLDER\n", stderr);
    return 2;
  }
  std::filesystem::path const folder = std::filesystem::absolute(arguments[2]);
  tablet::Description description = tablet::ReadTabletFolder(folder);
  if (kind == "radio") {
    description.radio.failing_attempts = 99;
    description.radio.answers = 0;
  }
  cli::TabletRun run(description, folder, folder, {});
  bool good = true;
  if (kind == "boot") good = Boot(run);
  if (kind == "radio") good = Radio(run);
  if (kind == "park") good = Park(run);
  std::fflush(stdout);
  // The service's threads stay parked; nothing is unwound.
  std::_Exit(good ? 0 : 1);
}
