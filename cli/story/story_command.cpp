#include "cli/story/story_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "cli/base/escape.h"
#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/story/story_file.h"
#include "cli/story/story_player.h"
#include "sim/tablet/base/input_error.h"

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

std::vector<Difference> Compare(const Story& story, const std::vector<std::vector<std::string>>& now) {
  std::vector<Difference> differences;
  for (std::size_t i = 0; i < story.verbs.size(); ++i) {
    const StoryVerb& verb = story.verbs[i];
    auto const [was, is] = std::mismatch(verb.recorded.begin(), verb.recorded.end(), now[i].begin(), now[i].end());
    if (was == verb.recorded.end() && is == now[i].end()) continue;
    int const line = verb.line + 1 + static_cast<int>(was - verb.recorded.begin());
    differences.push_back({line, verb.text, was == verb.recorded.end() ? "" : *was, is == now[i].end() ? "" : *is});
  }
  return differences;
}

void Print(Console& console, const Story& story, const std::vector<Difference>& differences, bool rewritten) {
  std::string const file = story.file.string();
  if (rewritten || differences.empty()) {
    console.Line(fmt::format("{}  {}", console.Styled(Style::kGood, rewritten ? "recorded" : "matches "), file));
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

/// One test case for each story. No times: the same stories give the same report.
class JunitReport {
 public:
  void Add(const Story& story, const std::vector<Difference>& differences) {
    std::string text;
    for (const Difference& difference : differences) {
      text += fmt::format("{}:{}, under \"{}\":\n  recorded  {}\n  now       {}\n", story.file.string(),
                          difference.line, difference.verb, difference.recorded, difference.now);
    }
    failures_ += differences.empty() ? 0 : 1;
    AddCase(story.file, differences.empty() ? "" : "failure", "the output differs from the recording", text);
  }
  void AddError(const std::filesystem::path& file, const std::string& message) {
    ++errors_;
    AddCase(file, "error", message, message);
  }
  void Write(const std::filesystem::path& file) const {
    WriteOutput(file,
                fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"stories\" "
                            "tests=\"{}\" failures=\"{}\" errors=\"{}\">\n{}  </testsuite>\n</testsuites>\n",
                            count_, failures_, errors_, cases_));
  }

 private:
  /// `kind`: "failure", "error" or nothing.
  void AddCase(const std::filesystem::path& file, std::string_view kind, std::string_view message,
               std::string_view text) {
    ++count_;
    cases_ += fmt::format("    <testcase classname=\"stories\" name=\"{}\" file=\"{}\"", XmlText(file.stem().string()),
                          XmlText(file.string()));
    cases_ += kind.empty() ? "/>\n"
                           : fmt::format(">\n      <{0} message=\"{1}\">{2}</{0}>\n    </testcase>\n", kind,
                                         XmlText(message), XmlText(text));
  }

  std::size_t count_ = 0;
  std::size_t failures_ = 0;
  std::size_t errors_ = 0;
  std::string cases_;
};

using nlohmann::ordered_json;

/// Plays stories one after the other; one that cannot be played does not end the list.
class StoryList {
 public:
  StoryList(const StoryOptions& options, Console& console) : options_(options), console_(console) {}

  void Play(const std::filesystem::path& file) {
    try {
      Story story = ReadStory(file);
      Take(story, PlayStory(story));
    } catch (const tablet::InputError& error) {
      TakeError(file, kBadInput, error.place(), error.problem(), error.next());
    } catch (const std::runtime_error& error) {
      TakeError(file, kOperationFailed, file.string(), error.what(), "");
    }
  }

  int Finish() {
    if (options_.junit) junit_.Write(*options_.junit);
    if (options_.json) {
      PrintJson(console_, {{"schema", 1}, {"exit_code", code_}, {"stories", std::move(entries_)}});
    } else if (options_.files.size() > 1) {
      console_.Line(fmt::format("{} stories, {} {}", options_.files.size(), as_recorded_,
                                options_.rewrite    ? "unchanged"
                                : as_recorded_ == 1 ? "matches"
                                                    : "match"));
    }
    return code_;
  }

 private:
  void Take(Story& story, const std::vector<std::vector<std::string>>& now) {
    std::vector<Difference> const differences = Compare(story, now);
    as_recorded_ += differences.empty() ? 1 : 0;
    if (options_.rewrite) {
      for (std::size_t i = 0; i < story.verbs.size(); ++i) story.verbs[i].recorded = now[i];
      if (!differences.empty()) WriteStory(story);
    } else if (!differences.empty() && code_ == kDone) {
      code_ = kNotAsExpected;
    }
    junit_.Add(story, options_.rewrite ? std::vector<Difference>{} : differences);
    if (!options_.json) Print(console_, story, differences, options_.rewrite && !differences.empty());
    ordered_json& entry = AddEntry(story.file, differences.empty());
    for (const Difference& difference : differences) {
      entry["differences"].push_back({{"line", difference.line},
                                      {"verb", difference.verb},
                                      {"recorded", difference.recorded},
                                      {"now", difference.now}});
    }
  }

  void TakeError(const std::filesystem::path& file, int code, const std::string& place, const std::string& problem,
                 const std::string& next) {
    if (code_ != kOperationFailed) code_ = code;
    std::string const message = fmt::format("{}: {}{}{}", place, problem, next.empty() ? "" : "; ", next);
    junit_.AddError(file, message);
    if (!options_.json) console_.Warn(message);
    AddEntry(file, false)["error"] = {{"place", place}, {"problem", problem}, {"next", next}};
  }

  ordered_json& AddEntry(const std::filesystem::path& file, bool as_recorded) {
    entries_.push_back({{"file", file.string()}, {"as_told", as_recorded}, {"differences", ordered_json::array()}});
    return entries_.back();
  }

  const StoryOptions& options_;
  Console& console_;
  JunitReport junit_;
  ordered_json entries_ = ordered_json::array();
  std::size_t as_recorded_ = 0;
  int code_ = kDone;
};

}  // namespace

int PlayStories(const StoryOptions& options, Console& console) {
  if (options.junit) CheckOutputs({{"--junit", *options.junit}}, options.files, options.force);
  StoryList list(options, console);
  for (const std::filesystem::path& file : options.files) list.Play(file);
  return list.Finish();
}

}  // namespace cli
