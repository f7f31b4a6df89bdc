#include <fmt/format.h>

#include <filesystem>

#include "cli/base/exit_code.h"
#include "cli/commands/list.h"
#include "cli/samples/samples.h"

namespace cli {

namespace {

class InitCommand : public Command {
 public:
  std::string_view name() const override { return "init"; }
  std::vector<std::string> examples() const override {
    return {"init my-tablet", "init my-tablet --sample crashed-modem --small", "init --list"};
  }
  std::string about() const override { return "makes a tablet folder from a named sample, archives included"; }

  void Define(CLI::App& app) override {
    app.add_option("DIR", folder_, "the folder to make");
    app.add_option("--sample", sample_, "the sample; --list shows all of them")
        ->type_name("NAME")
        ->capture_default_str();
    app.add_flag("--small", small_, "the small variant, of a few kilobytes, for quick trials");
    app.add_flag("--list", list_, "show the samples and make nothing");
  }

  int Run(Console& console) override {
    if (list_) {
      for (const Sample& sample : Samples()) console.Line(fmt::format("{:<28}{}", sample.name, sample.shows));
      return kDone;
    }
    if (folder_.empty()) throw UsageError("DIR is required; \"vantord-tablet init --help\" explains it");
    MakeSample(sample_, small_, folder_, [&](std::string_view archive, std::uint64_t done, std::uint64_t whole) {
      console.Progress(fmt::format("making {}", archive), done, whole);
    });
    console.EndProgress();
    console.Line(fmt::format("{0} is a tablet now ({1}{2}); \"vantord-tablet run {0}\" boots it", folder_.string(),
                             sample_, small_ ? ", small" : ""));
    return kDone;
  }

 private:
  std::filesystem::path folder_;
  std::string sample_ = "fresh";
  bool small_ = false;
  bool list_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeInitCommand() { return std::make_unique<InitCommand>(); }

}  // namespace cli
