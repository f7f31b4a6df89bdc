#include "cli/archive/lint_command.h"
#include "cli/commands/list.h"
#include "cli/commands/timeout.h"

namespace cli {

namespace {

class LintCommand : public Command {
 public:
  std::string_view name() const override { return "lint"; }
  std::vector<std::string> examples() const override { return {"lint VZW.bin", "lint --tablet my-tablet VZW.bin"}; }
  std::string about() const override { return "shows what the service would do with archives, entry by entry"; }

  void Define(CLI::App& app) override {
    app.add_option("ARCHIVE", options_.archives, "archives")->required();
    app.add_option("--tablet", options_.tablet, "deploy to a copy of this tablet, not to an empty drive")
        ->type_name("DIR");
    AddTimeout(app, options_.time_out);
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return LintArchives(options_, console); }

 private:
  LintOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeLintCommand() { return std::make_unique<LintCommand>(); }

}  // namespace cli
