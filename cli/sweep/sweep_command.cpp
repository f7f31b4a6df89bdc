#include "cli/sweep/sweep_command.h"

#include <fmt/format.h>
#include <zlib.h>

#include <fstream>
#include <map>
#include <stdexcept>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/unfinished.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

using nlohmann::json;

/// A run may take this much more time for each megabyte of the largest archive.
constexpr std::uint64_t kBytesPerSecond = 1'000'000;

WorkerPoolOptions PoolFor(const SweepOptions& options, const SweepGround& ground) {
  WorkerPoolOptions pool = options.pool;
  pool.time_out += std::chrono::seconds(ground.expected.largest_archive / kBytesPerSecond);
  return pool;
}

/// What the file begins with: the sum of everything that decides which run a number means.
json Head(const std::vector<KnownCall>& calls, const std::vector<SweepTask>& tasks) {
  std::string all;
  for (const KnownCall& call : calls) all += call.name + ' ' + call.function + ' ' + call.args + '\n';
  for (const SweepTask& task : tasks) all += RepeatOptions(task) + '\n';
  auto const sum = ::crc32(0, reinterpret_cast<const Bytef*>(all.data()), static_cast<uInt>(all.size()));
  return {{"sweep", sum}, {"runs", tasks.size()}};
}

/// The results of a sweep's runs in a file, so that a sweep that was interrupted can go on.
class SweepProgress {
 public:
  /// Reads `file`, or makes it. Throws InputError for a file that does not belong to these tasks and calls.
  SweepProgress(const std::filesystem::path& file, const std::vector<KnownCall>& calls,
                const std::vector<SweepTask>& tasks);

  /// By task: what is known already.
  const std::map<std::size_t, json>& known() const { return known_; }
  /// Adds the result of a task.
  void Keep(std::size_t task, const json& answer);

 private:
  std::map<std::size_t, json> known_;
  std::ofstream out_;
};

SweepProgress::SweepProgress(const std::filesystem::path& file, const std::vector<KnownCall>& calls,
                             const std::vector<SweepTask>& tasks) {
  json const head = Head(calls, tasks);
  std::ifstream in(file);
  std::string line;
  bool const begins = !std::getline(in, line);
  if (begins && std::filesystem::exists(file) && std::filesystem::file_size(file) != 0) {
    throw tablet::InputError(file.string(), "cannot be read", "name a file of an earlier sweep, or a new one");
  }
  if (!begins && !(json::parse(line, nullptr, false) == head)) {  // != is false for what is not JSON
    throw tablet::InputError(file.string(),
                             "is not the progress of this sweep: the tablet, the options or the program differ",
                             "name another file, or delete this one");
  }
  // A line that was cut off does not count.
  while (std::getline(in, line) && !in.eof()) {
    json const entry = json::parse(line, nullptr, false);
    if (!entry.is_array() || entry.size() != 2) continue;
    known_[entry[0].get<std::size_t>()] = entry[1];
  }
  out_.open(file, std::ios::app);
  out_ << (begins ? head.dump() : "") << std::endl;
  if (!out_) throw tablet::InputError(file.string(), "cannot be written", "check its rights");
}

void SweepProgress::Keep(std::size_t task, const json& answer) { out_ << JsonText(json{task, answer}) << std::endl; }

/// The ground of a tablet after its undisturbed run; without calls when the sweep was stopped.
SweepGround GroundOf(const SweepOptions& options, Verdict& undisturbed) {
  SweepGround ground = PrepareGround(options.folder, options.time_out, options.change);
  ground.prepare = options.prepare;
  WorkerPoolOptions alone = PoolFor(options, ground);
  alone.workers = 1;
  RunWorkerPool(
      1, alone, [&](std::size_t, const Deliver& deliver) { RunUndisturbed(ground, deliver); },
      [&](std::size_t, const json& answer) { undisturbed = TakeUndisturbed(answer, ground); });
  if (ground.calls.empty() && !undisturbed.end.empty()) {
    throw std::runtime_error("the undisturbed run does not end: " +
                             (undisturbed.findings.empty() ? undisturbed.end : undisturbed.findings.front().detail));
  }
  return ground;
}

/// Runs all tasks, under a progress bar. False when the sweep was stopped before its end.
bool RunAll(const SweepOptions& options, SweepGround& ground, const std::vector<SweepTask>& tasks, Console& console,
            const std::function<void(const SweepTask& task, Verdict verdict)>& done) {
  std::optional<SweepProgress> progress;
  if (options.resume) progress.emplace(*options.resume, ground.calls, tasks);
  std::size_t finished = 0;
  std::size_t made = 0;
  auto const begun = std::chrono::steady_clock::now();
  std::vector<std::size_t> left;
  for (std::size_t task = 0; task < tasks.size(); ++task) {
    auto const known = progress ? progress->known().find(task) : std::map<std::size_t, json>::const_iterator{};
    if (!progress || known == progress->known().end()) {
      left.push_back(task);
      continue;
    }
    done(tasks[task], VerdictFrom(known->second));
    ++finished;
  }
  RunWorkerPool(
      left.size(), PoolFor(options, ground),
      [&](std::size_t job, const Deliver& deliver) { RunTask(ground, tasks[left[job]], deliver); },
      [&](std::size_t job, const json& answer) {
        if (progress) progress->Keep(left[job], answer);
        done(tasks[left[job]], VerdictFrom(answer));
        ++finished;
        std::string const time = TimeLeft(std::chrono::steady_clock::now() - begun, ++made, left.size());
        console.Progress(fmt::format("of {} runs, {} left", tasks.size(), time), finished, tasks.size());
      });
  console.EndProgress();
  return finished == tasks.size();
}

}  // namespace

SweepReport SweepTablet(const SweepOptions& options, Console& console) {
  using Clock = std::chrono::steady_clock;
  Clock::time_point const begun = Clock::now();
  SweepReport report(options.folder.string());
  report.workers = WorkersOf(options.pool);
  Verdict undisturbed;
  SweepGround ground = GroundOf(options, undisturbed);
  if (!ground.calls.empty()) {
    report.AddUndisturbed(undisturbed);
    report.complete =
        RunAll(options, ground, PlanSweep(ground.calls, options.plan), console,
               [&](const SweepTask& task, const Verdict& verdict) { report.Add(task, ground.calls, verdict); });
  }
  report.seconds = std::chrono::duration<double>(Clock::now() - begun).count();
  return report;
}

int PrintCuts(const SweepOptions& options, Console& console) {
  Verdict undisturbed;
  SweepGround ground = GroundOf(options, undisturbed);
  ground.describes_cuts = true;
  ground.before = WithoutSetup(StateOf(ground.run->machine(), ground.description.power_on));
  PlanOptions plan = options.plan;
  plan.kinds = {SweepTask::Kind::kCut};
  std::map<std::uint64_t, CutRow> rows;
  bool broken = false;
  RunAll(options, ground, PlanSweep(ground.calls, plan), console, [&](const SweepTask& task, Verdict verdict) {
    broken = broken || !verdict.findings.empty();
    rows[task.cut_at] = std::move(verdict.cut);
  });
  PrintCutTable(rows, ground.calls, console);
  return broken ? kNotAsExpected : kDone;
}

int Sweep(const SweepOptions& options, Console& console) {
  SignalsWait const wait;
  SweepOptions stoppable = options;
  stoppable.pool.stops = SignalHasArrived;
  SweepReport const report = SweepTablet(stoppable, console);
  if (options.json) {
    PrintJson(console, report.ToJson());
  } else {
    report.Print(console);
  }
  console.Finish();  // a signal that has arrived ends the program next
  return report.ExitCode();
}

}  // namespace cli
