#include "cli/commands/list.h"
#include "cli/explain/explain_command.h"

namespace cli {

namespace {

class ExplainCommand : public Command {
 public:
  std::string_view name() const override { return "explain"; }
  std::vector<std::string> examples() const override {
    return {"explain vantord.txt", "explain vantord.txt --quiet", "explain events.jsonl --json"};
  }
  std::string about() const override { return "shows what a trace of a real tablet means, start by start"; }

  void Define(CLI::App& app) override {
    app.add_option("TRACE", options_.file,
                   "the text that tracefmt or traceview writes, or the JSON Lines of run --events; - is standard input")
        ->required();
    app.add_option("--prefix", options_.prefix, "the value of TRACE_FORMAT_PREFIX, where the text was written with one")
        ->type_name("FORMAT");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
    auto* quiet = app.add_flag("--quiet,-q", options_.quiet, "the summaries only");
    app.add_flag("--verbose,-v", options_.verbose, "every message, nothing counted together")->excludes(quiet);
  }

  int Run(Console& console) override { return Explain(options_, console); }

 private:
  ExplainOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeExplainCommand() { return std::make_unique<ExplainCommand>(); }

}  // namespace cli
