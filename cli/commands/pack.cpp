#include "cli/archive/pack.h"
#include "cli/commands/list.h"

namespace cli {

namespace {

class PackCommand : public Command {
 public:
  std::string_view name() const override { return "pack"; }
  std::vector<std::string> examples() const override { return {"pack firmware VZW.bin"}; }
  std::string about() const override { return "makes a firmware archive that the service takes from a folder"; }

  void Define(CLI::App& app) override {
    app.add_option("FOLDER", options_.folder, "what goes below C:\\Windows\\System32")->required();
    app.add_option("OUT", options_.archive, "the archive")->required();
    app.add_flag("--force", options_.force, "replace OUT");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return Pack(options_, console); }

 private:
  PackOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakePackCommand() { return std::make_unique<PackCommand>(); }

}  // namespace cli
