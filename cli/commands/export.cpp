#include "cli/commands/list.h"
#include "cli/export/export_tablet.h"

namespace cli {

namespace {

class ExportCommand : public Command {
 public:
  std::string_view name() const override { return "export"; }
  std::vector<std::string> examples() const override { return {"export my-tablet -o changes"}; }
  std::string about() const override {
    return "writes what changed since the import: registry text for the image's hives, a list of files";
  }

  void Define(CLI::App& app) override {
    app.add_option("DIR", options_.tablet, "the tablet's folder; it stays as it is")->required();
    app.add_option("-o,--out", options_.out, "the folder to make")->type_name("OUT")->required();
    app.add_option("--since", options_.since, "the tablet to compare with, in place of the import")
        ->type_name("TABLET");
    app.add_option("--control-set", options_.control_set, "its number, for a tablet without Select\\Current")
        ->type_name("N")
        ->check(CLI::Range(1, 999).description(""))
        ->capture_default_str();
    app.add_flag("--utf16", options_.utf16, "registry text as Windows' own tools take it, in UTF-16");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return ExportTablet(options_, console); }

 private:
  ExportOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeExportCommand() { return std::make_unique<ExportCommand>(); }

}  // namespace cli
