#include "cli/import/import.h"

#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/table.h"
#include "cli/commands/list.h"

namespace cli {

namespace {

class ImportCommand : public Command {
 public:
  std::string_view name() const override { return "import"; }
  std::vector<std::string> examples() const override {
    return {"import install.wim my-tablet --index 2 --sales-code VZW", "import /mnt/windows my-tablet",
            "import collected.zip my-tablet"};
  }
  std::string about() const override {
    return "makes a tablet folder from an image, a Windows volume or what collect-tablet gathered";
  }

  void Define(CLI::App& app) override {
    app.add_option("SOURCE", source_,
                   "a WIM or ESD file, the folder that is drive C:, or a collection; it stays as it is")
        ->required();
    app.add_option("DIR", folder_, "the folder to make")->required();
    app.add_option("--index", options_.index, "the image in the file, from 1")->type_name("N")->capture_default_str();
    app.add_option("--sales-code", options_.sales_code, "the sales code in firmware")->type_name("CODE");
    app.add_option("--image-id", options_.image_id, "the modem image ID in firmware")->type_name("ID");
    app.add_option("--modem", modem_, "whether there is a modem; late: its interface arrives after 5 seconds")
        ->type_name("yes|no|late")
        ->check(CLI::IsMember({"yes", "no", "late"}).description(""));
    app.add_flag("--dirty", options_.dirty, "read registry hives that are not up to date as they are");
    app.add_flag("--force", options_.force, "replace a tablet that is there already");
    app.add_flag("--json", json_, "one JSON document and nothing else");
  }

  int Run(Console& console) override {
    using Modem = ImportOptions::Modem;
    if (modem_ == "yes") options_.modem = Modem::kYes;
    if (modem_ == "no") options_.modem = Modem::kNo;
    if (modem_ == "late") options_.modem = Modem::kLate;
    ImportResult const result = ImportTablet(source_, folder_, options_);
    if (json_) {
      nlohmann::ordered_json assumed = nlohmann::ordered_json::array();
      for (const Assumption& one : result.assumed)
        assumed.push_back({{"unknown", one.unknown}, {"taken", one.taken}, {"say", one.say}});
      PrintJson(console, {{"schema", 1},
                          {"exit_code", kDone},
                          {"tablet", folder_.string()},
                          {"source", source_.string()},
                          {"name", result.name},
                          {"files", result.files},
                          {"bytes", result.bytes},
                          {"assumed", std::move(assumed)}});
      return kDone;
    }
    Table table(console);
    table.Row("Tablet", fmt::format("{0} ({1}); \"vantord-tablet run {0}\" boots it", folder_.string(), result.name));
    table.Row("Files", fmt::format("{}, {}", Counted(result.files, "file"), HumanBytes(result.bytes)));
    Paragraph(table, "Assumed", result.assumed, "nothing", [](const Assumption& one) { return TextOf(one); });
    return kDone;
  }

 private:
  std::filesystem::path source_;
  std::filesystem::path folder_;
  std::string modem_;
  ImportOptions options_;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeImportCommand() { return std::make_unique<ImportCommand>(); }

}  // namespace cli
