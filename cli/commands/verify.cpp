#include "cli/commands/list.h"
#include "cli/commands/timeout.h"
#include "cli/compare/verify_command.h"

namespace cli {

namespace {

class VerifyCommand : public Command {
 public:
  std::string_view name() const override { return "verify"; }
  std::vector<std::string> examples() const override { return {"verify my-tablet"}; }
  std::string about() const override { return "compares the files on a tablet with the archive they came from"; }

  void Define(CLI::App& app) override {
    app.add_option("DIR", options_.folder, "the tablet's folder; it stays as it is")->required();
    app.add_option("--archive", options_.archive, "this archive, not the one that the tablet gets")->type_name("FILE");
    AddTimeout(app, options_.time_out);
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return Verify(options_, console); }

 private:
  VerifyOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeVerifyCommand() { return std::make_unique<VerifyCommand>(); }

}  // namespace cli
