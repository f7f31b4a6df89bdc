#include "cli/story/story_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/story/story_file.h"
#include "cli/story/story_player.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

using Style = Console::Style;

/// For a text of XML. What XML cannot hold becomes U+FFFD.
std::string Escaped(std::string_view text) {
  std::string out;
  for (char const c : text) {
    if (c == '&') {
      out += "&amp;";
    } else if (c == '<') {
      out += "&lt;";
    } else if (c == '>') {
      out += "&gt;";
    } else if (c == '"') {
      out += "&quot;";
    } else if (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') {
      out += "\xEF\xBF\xBD";
    } else {
      out += c;
    }
  }
  return out;
}

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

/// One test case for each story. No times: the same stories give the same report.
class JunitReport {
 public:
  void Add(const Story& story, const std::vector<Difference>& differences) {
    ++count_;
    failures_ += differences.empty() ? 0 : 1;
    cases_ += fmt::format("    <testcase classname=\"stories\" name=\"{}\" file=\"{}\"",
                          Escaped(story.file.stem().string()), Escaped(story.file.string()));
    if (differences.empty()) {
      cases_ += "/>\n";
      return;
    }
    std::string text;
    for (const Difference& difference : differences) {
      text += fmt::format("{}:{}, under \"{}\":\n  recorded  {}\n  now       {}\n", story.file.string(),
                          difference.line, difference.verb, difference.recorded, difference.now);
    }
    cases_ += fmt::format(
        ">\n      <failure message=\"tells something else than it records\">{}</failure>\n"
        "    </testcase>\n",
        Escaped(text));
  }
  void Write(const std::filesystem::path& file) const {
    std::ofstream out(file);
    out << fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"stories\" "
        "tests=\"{}\" failures=\"{}\">\n{}  </testsuite>\n</testsuites>\n",
        count_, failures_, cases_);
    out.close();
    if (!out)
      throw tablet::InputError(file.string(), "cannot be written", "choose a file in a folder that can be written");
  }

 private:
  std::size_t count_ = 0;
  std::size_t failures_ = 0;
  std::string cases_;
};

}  // namespace

int PlayStories(const StoryOptions& options, Console& console) {
  using nlohmann::ordered_json;
  ordered_json document{{"schema", 1}, {"exit_code", kDone}, {"stories", ordered_json::array()}};
  int code = kDone;
  JunitReport report;
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
    report.Add(story, options.rewrite ? std::vector<Difference>{} : differences);
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
  if (options.junit) report.Write(*options.junit);
  document["exit_code"] = code;
  if (options.json) PrintJson(console, document);
  return code;
}

}  // namespace cli
