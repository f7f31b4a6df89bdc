#include <fmt/format.h>

#include <optional>

#include "cli/bundle/bundle_commands.h"
#include "cli/commands/cut_at.h"
#include "cli/commands/list.h"
#include "cli/commands/timeout.h"

namespace cli {

namespace {

class CollectCommand : public Command {
 public:
  std::string_view name() const override { return "collect"; }
  std::vector<std::string> examples() const override { return {"collect my-tablet -o run.zip --redact"}; }
  std::string about() const override { return "runs a tablet and packs the run, so that others can repeat it"; }

  void Define(CLI::App& app) override {
    app.add_option("DIR", options_.folder, "the tablet's folder")->required();
    app.add_option("-o,--output", options_.bundle, "the bundle, a zip file")->type_name("FILE")->required();
    app.add_flag("--redact", options_.redact, "replace what identifies the tablet or its user");
    app.add_flag("--force", options_.force, "let the bundle replace another file");
    app.add_option("--seed", seed_, "as in run")->type_name("N");
    AddUntil(app, until_);
    app.add_option("--fault", faults_, "as in run: let a call fail")->type_name("CALL[@WHEN][:ERROR]");
    app.add_option_function<std::string>(
           "--cut-at",
           [this](const std::string& text) {
             static_cast<void>(ParseCutAt(text));
             cut_at_ = text;
           },
           "as in run: cut the power at this call")
        ->type_name("N|CALL@N");
    AddTimeout(app, timeout_);
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override {
    for (const std::string& fault : faults_) options_.run.insert(options_.run.end(), {"--fault", fault});
    if (!cut_at_.empty()) options_.run.insert(options_.run.end(), {"--cut-at", cut_at_});
    if (seed_) options_.run.insert(options_.run.end(), {"--seed", std::to_string(*seed_)});
    if (until_) options_.run.insert(options_.run.end(), {"--until", std::to_string(*until_)});
    if (timeout_.count() != 0) {
      options_.run.insert(options_.run.end(), {"--timeout", fmt::format("{}ms", timeout_.count())});
    }
    return Collect(options_, console);
  }

 private:
  CollectOptions options_;
  std::optional<std::uint64_t> seed_;
  std::optional<std::int64_t> until_;
  std::vector<std::string> faults_;
  std::string cut_at_;
  std::chrono::milliseconds timeout_{0};  ///< 0: that of run
};

class ReplayCommand : public Command {
 public:
  std::string_view name() const override { return "replay"; }
  std::vector<std::string> examples() const override { return {"replay run.zip"}; }
  std::string about() const override { return "repeats the run of a bundle and compares"; }

  void Define(CLI::App& app) override {
    app.add_option("BUNDLE", options_.bundle, "a file made by collect")->required();
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return Replay(options_, console); }

 private:
  ReplayOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeCollectCommand() { return std::make_unique<CollectCommand>(); }
std::unique_ptr<Command> MakeReplayCommand() { return std::make_unique<ReplayCommand>(); }

}  // namespace cli
