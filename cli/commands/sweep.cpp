#include "cli/sweep/sweep_command.h"

#include <fmt/format.h>

#include <charconv>

#include "cli/base/exit_code.h"
#include "cli/commands/list.h"
#include "cli/commands/timeout.h"

namespace cli {

namespace {

constexpr int kMostDrawn = 10'000'000;
constexpr int kMostWorkers = 512;

/// "2/8": the second of eight parts.
void ReadShard(const std::string& text, PlanOptions& out) {
  const char* const end = text.data() + text.size();
  auto const [slash, first] = std::from_chars(text.data(), end, out.shard);
  bool good = first == std::errc() && slash != end && *slash == '/';
  if (good) {
    auto const [stopped, second] = std::from_chars(slash + 1, end, out.shards);
    good = second == std::errc() && stopped == end && out.shard >= 1 && out.shard <= out.shards;
  }
  if (!good) throw UsageError(fmt::format("--shard {}: give a part and their number, as in 2/8", text));
}

class SweepCommand : public Command {
 public:
  std::string_view name() const override { return "sweep"; }
  std::vector<std::string> examples() const override { return {"sweep my-tablet", "sweep my-tablet --only cut"}; }
  std::string about() const override {
    return "tries every failure of every call, every power cut and many orders of threads, and reports new failures";
  }

  void Define(CLI::App& app) override {
    app.add_option("DIR", options_.folder, "the tablet's folder")->required();
    app.add_option("--pairs", options_.plan.pairs, "runs in which two calls fail, drawn by --seed")
        ->type_name("N")
        ->check(CLI::Range(0, kMostDrawn).description(""))
        ->capture_default_str();
    app.add_option("--schedules", options_.plan.schedules, "runs in another order of threads, drawn by --seed")
        ->type_name("N")
        ->check(CLI::Range(0, kMostDrawn).description(""))
        ->capture_default_str();
    app.add_option("--seed", options_.plan.seed, "the number that draws them")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{1} << 52).description(""))
        ->capture_default_str();
    app.add_option("--only", only_, "of these kinds only: fault, allocation, pair, cut or schedule")
        ->type_name("KIND")
        ->check(CLI::IsMember({"fault", "allocation", "pair", "cut", "schedule"}).description(""));
    app.add_option("--shard", shard_, "every N-th run only, beginning with the I-th")->type_name("I/N");
    app.add_option("--jobs,-j", options_.pool.workers, "runs at the same time; 0: one on each processor")
        ->type_name("N")
        ->check(CLI::Range(0, kMostWorkers).description(""))
        ->capture_default_str();
    auto* const json = app.add_flag("--json", options_.json, "one JSON document and nothing else");
    app.add_flag(
           "--cut-table", options_.cut_table,
           "only cut the power at every call and print, as a table of Markdown, what is on disk then and what the "
           "next start does")
        ->excludes(json);
    app.add_option("--resume", options_.resume, "keep the results in this file, and go on from there if it exists")
        ->type_name("FILE")
        ->excludes("--cut-table");
    app.add_option_function<std::string>(
           "--timeout",
           [this](const std::string& text) {
             options_.time_out =
                 ParseDuration("--timeout", text, std::chrono::seconds(1), std::chrono::milliseconds(100));
           },
           "processor time without a call after which a run counts as hung; by default it follows the archives and the "
           "undisturbed run, at least 1 second")
        ->type_name("TIME");
  }

  int Run(Console& console) override {
    if (!shard_.empty()) ReadShard(shard_, options_.plan);
    for (SweepTask::Kind const kind : kTaskKinds) {
      for (const std::string& word : only_) {
        if (word == NameOf(kind)) options_.plan.kinds.push_back(kind);
      }
    }
    return options_.cut_table ? PrintCuts(options_, console) : Sweep(options_, console);
  }

 private:
  SweepOptions options_;
  std::string shard_;
  std::vector<std::string> only_;
};

}  // namespace

std::unique_ptr<Command> MakeSweepCommand() { return std::make_unique<SweepCommand>(); }

}  // namespace cli
