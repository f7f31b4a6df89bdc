#include <fmt/format.h>

#include <filesystem>

#include "cli/commands/list.h"
#include "cli/exit_code.h"
#include "cli/samples.h"

namespace cli {

namespace {

class InitCommand : public Command {
 public:
  std::string_view name() const override { return "init"; }
  std::string about() const override { return "makes a tablet folder from a named sample, archives included"; }

  void Define(CLI::App& app) override {
    app.add_option("DIR", folder_, "the folder to make")->required();
    std::string samples = "the sample:";
    for (const Sample& sample : Samples()) samples += fmt::format(" {} ({});", sample.name, sample.shows);
    samples.pop_back();
    app.add_option("--sample", sample_, samples)->capture_default_str();
    app.add_flag("--small", small_, "its twin of a few kilobytes, for trials that must be quick");
  }

  int Run(Console& console) override {
    MakeSample(sample_, small_, folder_);
    console.Line(fmt::format("{0} is a tablet now ({1}{2}); \"vantord-tablet run {0}\" boots it", folder_.string(),
                             sample_, small_ ? ", small" : ""));
    return kDone;
  }

 private:
  std::filesystem::path folder_;
  std::string sample_ = "fresh";
  bool small_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeInitCommand() { return std::make_unique<InitCommand>(); }

}  // namespace cli
