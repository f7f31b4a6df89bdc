#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/commands/list.h"
#include "cli/validate/validation.h"

namespace cli {

namespace {

class ValidateCommand : public Command {
 public:
  std::string_view name() const override { return "validate"; }
  std::vector<std::string> examples() const override { return {"validate my-tablet"}; }
  std::string about() const override { return "lists everything that is wrong with a tablet's folder"; }

  void Define(CLI::App& app) override {
    app.add_option("DIR", folder_, "the tablet's folder; it stays as it is")->required();
    app.add_flag("--json", json_, "one JSON document and nothing else");
  }

  int Run(Console& console) override {
    std::vector<tablet::InputError> const problems = ProblemsOf(folder_);
    int const code = problems.empty() ? kDone : kBadInput;
    if (json_) {
      nlohmann::ordered_json list = nlohmann::ordered_json::array();
      for (const tablet::InputError& problem : problems) {
        list.push_back({{"place", problem.place()}, {"problem", problem.problem()}, {"next", problem.next()}});
      }
      PrintJson(console, {{"schema", 1},
                          {"exit_code", code},
                          {"folder", folder_.string()},
                          {"valid", problems.empty()},
                          {"problems", std::move(list)}});
      return code;
    }
    for (const tablet::InputError& problem : problems) {
      console.Line(fmt::format("{}: {}; {}", console.Styled(Console::Style::kStrong, problem.place()),
                               console.Styled(Console::Style::kBad, problem.problem()), problem.next()));
    }
    console.Line(problems.empty() ? console.Styled(Console::Style::kGood, folder_.string() + " is a well-formed tablet")
                                  : Counted(problems.size(), "problem"));
    return code;
  }

 private:
  std::filesystem::path folder_;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeValidateCommand() { return std::make_unique<ValidateCommand>(); }

}  // namespace cli
