#include "cli/commands/list.h"
#include "cli/select/select_command.h"

namespace cli {

namespace {

class SelectCommand : public Command {
 public:
  std::string_view name() const override { return "select"; }
  std::vector<std::string> examples() const override { return {"select my-tablet", "select --matrix my-tablet"}; }
  std::string about() const override { return "shows which archive a tablet gets, and why"; }

  void Define(CLI::App& app) override {
    app.add_option("DIR", options_.folder, "the tablet's folder; it stays as it is")->required();
    app.add_flag("--matrix", options_.matrix, "every sales code and image ID of the tablet's maps, and what it gets");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return Select(options_, console); }

 private:
  SelectOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeSelectCommand() { return std::make_unique<SelectCommand>(); }

}  // namespace cli
