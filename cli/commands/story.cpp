#include "cli/base/exit_code.h"
#include "cli/commands/list.h"
#include "cli/story/story_command.h"

namespace cli {

namespace {

class StoryCommand : public Command {
 public:
  std::string_view name() const override { return "story"; }
  std::vector<std::string> examples() const override {
    return {"story night.story", "story --rewrite night.story", "story --new my-tablet my.story"};
  }
  std::string about() const override { return "plays stories and compares the output with the recording"; }

  void Define(CLI::App& app) override {
    app.add_option("FILE", options_.files, "stories");
    auto* const rewrite = app.add_flag("--rewrite", options_.rewrite, "record the output");
    app.add_option("--new", options_.new_of, "write a first story of this tablet to FILE, or to standard output")
        ->type_name("DIR")
        ->excludes(rewrite);
    app.add_option("--junit", options_.junit, "write a report in JUnit's form for build servers")->type_name("FILE");
    app.add_flag("--force", options_.force, "replace the file of --junit or of --new");
    app.add_flag("--json", options_.json, "one JSON document and nothing else");
  }

  int Run(Console& console) override {
    if (options_.files.empty() && !options_.new_of) throw UsageError("FILE is required; name a story");
    return PlayStories(options_, console);
  }

 private:
  StoryOptions options_;
};

}  // namespace

std::unique_ptr<Command> MakeStoryCommand() { return std::make_unique<StoryCommand>(); }

}  // namespace cli
