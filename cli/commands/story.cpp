#include "cli/commands/list.h"
#include "cli/story/story_command.h"

namespace cli {

namespace {

class StoryCommand : public Command {
 public:
  std::string_view name() const override { return "story"; }
  std::vector<std::string> examples() const override { return {"story night.story", "story --rewrite night.story"}; }
  std::string about() const override { return "plays stories and compares the output with the recording"; }

  void Define(CLI::App& app) override {
    app.add_option("FILE", options_.files, "stories")->required();
    app.add_flag("--rewrite", options_.rewrite, "record the output");
    app.add_option("--junit", options_.junit, "write a report in JUnit's form for build servers")->type_name("FILE");
    app.add_flag("--force", options_.force, "replace the file of --junit");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override { return PlayStories(options_, console); }

 private:
  StoryOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeStoryCommand() { return std::make_unique<StoryCommand>(); }

}  // namespace cli
