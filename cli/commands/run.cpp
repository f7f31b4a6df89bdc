#include "cli/base/exit_code.h"
#include "cli/commands/list.h"
#include "cli/commands/patience.h"
#include "cli/run/run_command.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

class RunCommand : public Command {
 public:
  std::string_view name() const override { return "run"; }
  std::string about() const override { return "boots a tablet and tells what the service does to it"; }

  void Define(CLI::App& app) override {
    app.add_option("DIR", options_.folder, "the tablet's folder")->required();
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
    app.add_option("--until", options_.until, "end the run at this virtual time")
        ->type_name("MS")
        ->check(CLI::Range(int64_t{0}, int64_t{1} << 52));
    app.add_option("--seed", options_.seed, "draw which thread runs next; 0: first come, first served")
        ->capture_default_str();
    app.add_option("--fault", faults_,
                   "let a call fail; WHEN is 3, 3-5, 3+ or all, ERROR a number or Windows' name for it. May be given "
                   "again. \"vantord-tablet fault list\" shows the calls and their errors")
        ->type_name("CALL[@WHEN][:ERROR]");
    app.add_option("--cut-at", options_.cut_at,
                   "cut the power at this call of the Windows API, counted from 1; then the tablet boots again from "
                   "what is on disk, without faults")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 52));
    app.add_flag("--full-timeline", options_.full_timeline,
                 "let everything happen that a service meets, where the tablet has no timeline of its own");
    app.add_flag("--stop-early", options_.stop_early, "send the stop as soon as the service runs");
    app.add_flag("--realtime", options_.realtime, "let the tablet's clock wait instead of jumping");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
    auto* quiet = app.add_flag("--quiet,-q", options_.quiet, "the summary only");
    app.add_flag("--verbose,-v", options_.verbose, "every message, nothing counted together")->excludes(quiet);
    AddPatience(app, options_.patience);
  }

  int Run(Console& console) override {
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
