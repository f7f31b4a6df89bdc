#include "cli/check/check_command.h"
#include "cli/commands/list.h"
#include "cli/commands/timeout.h"

namespace cli {

namespace {

constexpr int kMostTrials = 512;

class CheckCommand : public Command {
 public:
  std::string_view name() const override { return "check"; }
  std::vector<std::string> examples() const override {
    return {"check my-tablet", "check my-tablet --policy vantord-check.json --report check.html",
            "check */ --junit check.xml --sarif check.sarif"};
  }
  std::string about() const override {
    return "checks before shipping that a tablet comes up with its firmware, whatever code or ID it has";
  }

  void Define(CLI::App& app) override {
    app.add_option(
           "DIR", options_.tablets,
           "folders of tablets; also what \"import\" takes: images, volumes, collections. They stay as they are")
        ->required();
    app.add_option("--index", options_.import.index, "of the image in a WIM file")
        ->type_name("N")
        ->check(CLI::PositiveNumber.description(""));
    app.add_option(
           "--policy", options_.settings.policy,
           "what is expected and what is allowed; without it the folder's own vantord-check.json, if it has one")
        ->type_name("FILE");
    app.add_flag("--deep", options_.settings.deep, "cut the power at every call, with every archive");
    app.add_option("--junit", options_.junit, "also write a report in JUnit's form")->type_name("FILE");
    app.add_option("--sarif", options_.sarif, "also write the findings in SARIF 2.1.0")->type_name("FILE");
    app.add_option("--report", options_.report, "also write one page of HTML that needs no network")->type_name("FILE");
    app.add_flag("--force", options_.force, "let the files above replace what is there");
    app.add_option("--jobs,-j", options_.settings.pool.workers, "trials at the same time; 0: one on each processor")
        ->type_name("N")
        ->check(CLI::Range(0, kMostTrials).description(""))
        ->capture_default_str();
    AddTimeout(app, options_.settings.time_out);
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return Check(options_, console); }

 private:
  CheckOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeCheckCommand() { return std::make_unique<CheckCommand>(); }

}  // namespace cli
