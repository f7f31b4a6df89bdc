#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/commands/list.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

using nlohmann::ordered_json;
using tablet::CatalogedCall;

void ListForPeople(Console& console) {
  console.Line(console.Styled(Console::Style::kStrong, fmt::format("{:<35}{:<28}{}", "Call", "shows failure by",
                                                                   "plausible errors, the default first")));
  for (const CatalogedCall& call : tablet::FaultCatalog()) {
    std::string line = fmt::format("{:<35}{:<28}", call.name, tablet::DescribeFailure(call.failure));
    std::string const indent(line.size(), ' ');
    for (tablet::WinError const error : call.errors) {
      console.Line(line + tablet::DescribeError(tablet::FamilyOf(call.failure), error));
      line = indent;
    }
    if (call.errors.empty()) console.Line(line.substr(0, line.find_last_not_of(' ') + 1));
  }
  console.Line("");
  console.Line("\"vantord-tablet run DIR --fault ReadFile@3:ERROR_CRC\" lets the third ReadFile fail; any other error");
  console.Line("number may be given. Two are not calls: Pstatus is the status that the firmware driver returns,");
  console.Line("allocation is a request of the service for memory.");
}

ordered_json AsJson() {
  ordered_json calls = ordered_json::array();
  for (const CatalogedCall& call : tablet::FaultCatalog()) {
    ordered_json errors = ordered_json::array();
    for (tablet::WinError const error : call.errors) {
      errors.push_back({{"number", error}, {"name", tablet::NameOfError(tablet::FamilyOf(call.failure), error)}});
    }
    calls.push_back({{"call", call.name},
                     {"failure", tablet::DescribeFailure(call.failure)},
                     {"can_fail", call.failure != tablet::Failure::kNever},
                     {"errors", std::move(errors)}});
  }
  return {{"schema", 1}, {"exit_code", 0}, {"calls", std::move(calls)}};
}

class FaultCommand : public Command {
 public:
  std::string_view name() const override { return "fault"; }
  std::vector<std::string> examples() const override { return {"fault list"}; }
  std::string about() const override {
    return "faults for \"run --fault\": \"fault list\" shows what can fail and how";
  }

  void Define(CLI::App& app) override {
    app.require_subcommand(1);
    CLI::App* const list = app.add_subcommand("list", "every call of the Windows API and its plausible errors");
    list->add_flag("--json", json_, "one JSON document and nothing else");
  }

  int Run(Console& console) override {
    if (json_) {
      PrintJson(console, AsJson());
    } else {
      ListForPeople(console);
    }
    return kDone;
  }

 private:
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeFaultCommand() { return std::make_unique<FaultCommand>(); }

}  // namespace cli
