#include <chrono>

#include "cli/commands/list.h"
#include "cli/lint_command.h"

namespace cli {

namespace {

class LintCommand : public Command {
 public:
  std::string_view name() const override { return "lint"; }
  std::string about() const override { return "tells what the service would do with archives, entry by entry"; }

  void Define(CLI::App& app) override {
    app.add_option("ARCHIVE", options_.archives, "archives")->required();
    app.add_option("--tablet", options_.tablet, "deploy to a copy of this tablet, not to an empty drive")
        ->type_name("DIR");
    app.add_option("--patience", patience_seconds_,
                   "processor time without a call after which the service counts as hung")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 1e6))
        ->capture_default_str();
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override {
    options_.patience = std::chrono::milliseconds(static_cast<std::int64_t>(patience_seconds_ * 1000));
    return LintArchives(options_, console);
  }

 private:
  LintOptions options_;
  double patience_seconds_ = 10;
};

}  // namespace

std::unique_ptr<Command> MakeLintCommand() { return std::make_unique<LintCommand>(); }

}  // namespace cli
