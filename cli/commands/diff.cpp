#include <filesystem>

#include "cli/base/exit_code.h"
#include "cli/commands/list.h"
#include "cli/compare/diff_command.h"
#include "cli/compare/package_diff.h"

namespace cli {

namespace {

class DiffCommand : public Command {
 public:
  std::string_view name() const override { return "diff"; }
  std::vector<std::string> examples() const override { return {"diff before after", "diff OLD.bin NEW.bin"}; }
  std::string about() const override {
    return "compares two tablets, or two firmware archives and what an update from one to the other leaves behind";
  }

  void Define(CLI::App& app) override {
    app.add_option("A", options_.before, "a tablet's folder, or an archive")->required();
    app.add_option("B", options_.after, "another one")->required();
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override {
    using std::filesystem::is_regular_file;
    bool const packages = is_regular_file(options_.before);
    if (packages != is_regular_file(options_.after) && std::filesystem::exists(options_.before) &&
        std::filesystem::exists(options_.after)) {
      throw UsageError("one is an archive and the other a folder; name two tablets or two archives");
    }
    return packages ? DiffPackages(options_, console) : Diff(options_, console);
  }

 private:
  DiffOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeDiffCommand() { return std::make_unique<DiffCommand>(); }

}  // namespace cli
