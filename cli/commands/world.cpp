#include "cli/commands/list.h"
#include "cli/world/world_command.h"

namespace cli {

namespace {

class WorldCommand : public Command {
 public:
  std::string_view name() const override { return "world"; }
  std::vector<std::string> examples() const override {
    return {"world vantord-check-windows-10.0.19045-arm64-2026-11-22.zip"};
  }
  std::string about() const override { return "compares a result of vantord-check with what the stand-in does"; }

  void Define(CLI::App& app) override {
    app.add_option("FILE", options_.file, "a zip file that vantord-check wrote on a Windows machine")->required();
    app.add_option("--write", options_.page, "put the answers into the column \"as seen on\" of sim/winapi/README.md")
        ->type_name("PAGE");
    app.add_flag("--all", options_.all, "also show the questions whose answers agree");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return CompareWorld(options_, console); }

 private:
  WorldOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeWorldCommand() { return std::make_unique<WorldCommand>(); }

}  // namespace cli
