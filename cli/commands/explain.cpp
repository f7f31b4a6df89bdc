#include "cli/base/exit_code.h"
#include "cli/base/output_file.h"
#include "cli/commands/list.h"
#include "cli/explain/explain_command.h"

namespace cli {

namespace {

class ExplainCommand : public Command {
 public:
  std::string_view name() const override { return "explain"; }
  std::vector<std::string> examples() const override {
    return {"explain vantord.txt", "explain vantord.txt --tablet my-tablet --report start.html",
            "explain events.jsonl --json"};
  }
  std::string about() const override { return "shows what a trace of a real tablet means, start by start"; }

  void Define(CLI::App& app) override {
    app.add_option("TRACE", options_.file,
                   "the text that tracefmt or traceview writes, or the JSON Lines of run --events; - is standard input")
        ->required();
    app.add_option("--prefix", options_.prefix, "the value of TRACE_FORMAT_PREFIX, where the text was written with one")
        ->type_name("FORMAT");
    app.add_option("--tablet", options_.tablet,
                   "compare a start with a run of this tablet: where it did something else")
        ->type_name("DIR");
    app.add_option("--start", options_.start,
                   "which start --tablet, --report and --trace show; else the last one that failed, or the last one")
        ->type_name("N");
    app.add_option("--report", options_.report, "write a start as one page of HTML that needs no network")
        ->type_name("FILE");
    app.add_option("--trace", options_.trace, "write a start as a timeline for Perfetto and other viewers of traces")
        ->type_name("FILE");
    app.add_flag("--force", options_.force, "let the files above replace what is there");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
    auto* quiet = app.add_flag("--quiet,-q", options_.quiet, "the summaries only");
    app.add_flag("--verbose,-v", options_.verbose, "every message, nothing counted together")->excludes(quiet);
  }

  int Run(Console& console) override {
    for (const auto& file : {options_.report, options_.trace}) {
      if (file != kStandardStream) continue;
      if (options_.json)
        throw UsageError("with --json standard output is the document's; name a file in place of \"-\"");
      console.LeaveStandardOutput();
    }
    return Explain(options_, console);
  }

 private:
  ExplainOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeExplainCommand() { return std::make_unique<ExplainCommand>(); }

}  // namespace cli
