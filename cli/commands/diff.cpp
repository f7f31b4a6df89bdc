#include "cli/commands/list.h"
#include "cli/compare/diff_command.h"

namespace cli {

namespace {

class DiffCommand : public Command {
 public:
  std::string_view name() const override { return "diff"; }
  std::vector<std::string> examples() const override { return {"diff before after"}; }
  std::string about() const override { return "compares two tablets: registry, files with attributes, firmware"; }

  void Define(CLI::App& app) override {
    app.add_option("A", options_.before, "a tablet's folder")->required();
    app.add_option("B", options_.after, "another tablet's folder")->required();
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return Diff(options_, console); }

 private:
  DiffOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeDiffCommand() { return std::make_unique<DiffCommand>(); }

}  // namespace cli
