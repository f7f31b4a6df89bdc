#include "cli/base/exit_code.h"
#include "cli/base/output_file.h"
#include "cli/commands/cut_at.h"
#include "cli/commands/list.h"
#include "cli/commands/timeout.h"
#include "cli/run/run_command.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

class RunCommand : public Command {
 public:
  std::string_view name() const override { return "run"; }
  std::vector<std::string> examples() const override {
    return {"run my-tablet", "run my-tablet --save after --report run.html",
            "run my-tablet --fault ReadFile@3:ERROR_CRC", "run my-tablet --cut-at WriteFile@20",
            "run my-tablet --until 5s --events - --calls"};
  }
  std::string about() const override { return "boots a tablet and shows what the service does to it"; }

  void Define(CLI::App& app) override {
    app.add_option("DIR", options_.folder, "the tablet's folder")->required();
    app.option_defaults()->group("What is written");
    auto* save =
        app.add_option("--save", options_.save, "keep the tablet as it ended in this folder")->type_name("OUT");
    app.add_flag("--in-place", options_.in_place, "keep it in DIR itself")->excludes(save);
    auto* events =
        app.add_option("--events", options_.events, "write every status report, message and event, one JSON per line")
            ->type_name("FILE");
    app.add_flag("--calls", options_.calls, "with --events: each call of the Windows API too")->needs(events);
    app.add_option("--trace", options_.trace, "write the run as a timeline for Perfetto and other viewers of traces")
        ->type_name("FILE");
    app.add_option("--report", options_.report, "write the run as one page of HTML that needs no network")
        ->type_name("FILE");
    app.add_flag("--force", options_.force, "let the files above replace what is there, and OUT another tablet");
    app.option_defaults()->group("What happens");
    AddUntil(app, options_.until);
    app.add_option("--seed", options_.seed, "draw which thread runs next; 0: first come, first served")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--fault", faults_,
                   "let a call fail; WHEN is 3, 3-5, 3+ or all, ERROR a number or Windows' name for it. May be given "
                   "again. \"vantord-tablet fault list\" shows the calls and their errors")
        ->type_name("CALL[@WHEN][:ERROR]");
    app.add_option_function<std::string>(
           "--cut-at",
           [this](const std::string& text) {
             CutAt const at = ParseCutAt(text);
             options_.cut_at = at.number;
             options_.cut_call = at.call;
             options_.cut_occurrence = at.occurrence;
           },
           "cut the power at this call of the Windows API: its number as --events has it, or a call and which of its "
           "occurrences; then the tablet boots again from what is on disk, without faults")
        ->type_name("N|CALL@N");
    app.add_flag("--full-timeline", options_.full_timeline,
                 "let everything happen that a service meets, where the tablet has no timeline of its own");
    app.add_flag("--stop-early", options_.stop_early, "send the stop as soon as the service runs");
    app.add_flag("--realtime", options_.realtime, "let the tablet's clock wait instead of jumping");
    AddTimeout(app, options_.time_out);
    app.option_defaults()->group("What is printed");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
    auto* quiet = app.add_flag("--quiet,-q", options_.quiet, "the summary only");
    app.add_flag("--verbose,-v", options_.verbose, "every message, nothing counted together")->excludes(quiet);
  }

  int Run(Console& console) override {
    for (const auto& file : {options_.events, options_.trace, options_.report}) {
      if (file != kStandardStream) continue;
      if (options_.json)
        throw UsageError("with --json standard output is the document's; name a file in place of \"-\"");
      console.LeaveStandardOutput();
    }
    for (const std::string& fault : faults_) {
      try {
        options_.faults.push_back(tablet::ParseFault(fault));
      } catch (const tablet::InputError& error) {
        throw UsageError(std::string("--") + error.what());
      }
    }
    return cli::Run(options_, console);
  }

 private:
  RunOptions options_;
  std::vector<std::string> faults_;
};

}  // namespace

std::unique_ptr<Command> MakeRunCommand() { return std::make_unique<RunCommand>(); }

}  // namespace cli
