#include "cli/story_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/exit_code.h"
#include "cli/story_file.h"
#include "cli/story_player.h"

namespace cli {

namespace {

using Style = Console::Style;

/// The first place where a record and what happened differ.
struct Difference {
  int line = 0;  ///< in the story's file
  std::string verb;
  std::string recorded;  ///< "" where the record ends before
  std::string now;
};

std::vector<Difference> Compare(const Story& story, const std::vector<std::vector<std::string>>& told) {
  std::vector<Difference> differences;
  for (std::size_t i = 0; i < story.verbs.size(); ++i) {
    const StoryVerb& verb = story.verbs[i];
    auto const [was, is] = std::mismatch(verb.recorded.begin(), verb.recorded.end(), told[i].begin(), told[i].end());
    if (was == verb.recorded.end() && is == told[i].end()) continue;
    int const line = verb.line + 1 + static_cast<int>(was - verb.recorded.begin());
    differences.push_back({line, verb.text, was == verb.recorded.end() ? "" : *was, is == told[i].end() ? "" : *is});
  }
  return differences;
}

void Print(Console& console, const Story& story, const std::vector<Difference>& differences, bool rewritten) {
  std::string const file = story.file.string();
  if (rewritten || differences.empty()) {
    console.Line(fmt::format("{}  {}", console.Styled(Style::kGood, rewritten ? "recorded" : "as told "), file));
    return;
  }
  console.Line(fmt::format("{}  {}", console.Styled(Style::kBad, "differs "), file));
  for (const Difference& difference : differences) {
    auto const shown = [](const std::string& line) { return line.empty() ? std::string("(nothing more)") : line; };
    console.Line(fmt::format("  {}:{}, under \"{}\":", file, difference.line, difference.verb));
    console.Line(fmt::format("    recorded  {}", shown(difference.recorded)));
    console.Line(fmt::format("    now       {}", shown(difference.now)));
  }
  console.Line("  --rewrite records what happens now");
}

}  // namespace

int PlayStories(const StoryOptions& options, Console& console) {
  using nlohmann::ordered_json;
  ordered_json document{{"schema", 1}, {"exit_code", kDone}, {"stories", ordered_json::array()}};
  int code = kDone;
  for (const std::filesystem::path& file : options.files) {
    Story story = ReadStory(file);
    auto const told = PlayStory(story);
    std::vector<Difference> const differences = Compare(story, told);
    if (options.rewrite) {
      for (std::size_t i = 0; i < story.verbs.size(); ++i) story.verbs[i].recorded = told[i];
      if (!differences.empty()) WriteStory(story);
    } else if (!differences.empty()) {
      code = kNotAsExpected;
    }
    if (!options.json) Print(console, story, differences, options.rewrite && !differences.empty());
    ordered_json entry{
        {"file", file.string()}, {"as_told", differences.empty()}, {"differences", ordered_json::array()}};
    for (const Difference& difference : differences) {
      entry["differences"].push_back({{"line", difference.line},
                                      {"verb", difference.verb},
                                      {"recorded", difference.recorded},
                                      {"now", difference.now}});
    }
    document["stories"].push_back(std::move(entry));
  }
  document["exit_code"] = code;
  if (options.json) console.Line(document.dump(2, ' ', false, ordered_json::error_handler_t::replace));
  return code;
}

}  // namespace cli
