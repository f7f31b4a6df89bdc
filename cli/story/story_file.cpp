#include "cli/story/story_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>
#include <string_view>
#include <utility>

#include "cli/base/output_file.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/nearest.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPrefaceLines = 3;
constexpr std::string_view kIndent = "  ";
constexpr std::array<std::string_view, 24> kVerbs{
    "arrival", "boot",     "bundle",      "control", "cut",   "display",     kExpect,    "fault",
    "file",    "firmware", "interrogate", kMatrix,   "power", "preshutdown", "registry", "removal",
    "resume",  "set",      "setting",     "show",    "stop",  "suspend",     "tablet",   "wait"};

std::string Trimmed(std::string_view text) {
  std::size_t const begin = text.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(' ') - begin + 1));
}

StoryVerb MakeVerb(const fs::path& file, int line, const std::string& text) {
  StoryVerb verb = VerbOf(line, text);
  if (std::find(kVerbs.begin(), kVerbs.end(), verb.word) == kVerbs.end()) {
    throw tablet::InputError(fmt::format("{}:{}: {}", file.string(), PlaceOf(verb, verb.word), verb.word),
                             "unknown verb", tablet::SuggestOneOf(verb.word, kVerbs));
  }
  return verb;
}

void CheckShape(const Story& story, int lines) {
  std::string const file = story.file.string();
  auto const is_comment = [](const std::string& line) { return line.starts_with("# "); };
  if (story.preface.size() != kPrefaceLines || !std::all_of(story.preface.begin(), story.preface.end(), is_comment)) {
    throw tablet::InputError(file + ":1", "a story begins with three lines of \"# \" and text",
                             "say in them what it shows");
  }
  bool const begins =
      !story.verbs.empty() && (story.verbs.front().word == "tablet" || story.verbs.front().word == "bundle");
  if (!begins) {
    int const line = story.verbs.empty() ? lines : story.verbs.front().line;
    throw tablet::InputError(fmt::format("{}:{}", file, line), "the first verb must be \"tablet\" or \"bundle\"",
                             "write \"tablet fresh\", for example");
  }
  if (static_cast<std::size_t>(lines) >= kLongestStory) {
    throw tablet::InputError(fmt::format("{}:{}", file, kLongestStory), "a story has fewer than 120 lines", "split it");
  }
}

}  // namespace

StoryVerb VerbOf(int line, const std::string& text) {
  std::string word = text.substr(0, text.find(' '));
  std::string rest = Trimmed(std::string_view(text).substr(word.size()));
  return {.line = line, .lead = {}, .text = text, .word = std::move(word), .rest = std::move(rest), .recorded = {}};
}

std::string PlaceOf(const StoryVerb& verb, std::string_view part) {
  std::size_t const from = part == verb.word ? 0 : verb.word.size();
  std::size_t const at = part.empty() ? 0 : verb.text.find(part, from);
  return fmt::format("{}:{}", verb.line, (at == std::string::npos ? 0 : at) + 1);
}

bool Story::is_partial() const {
  return std::ranges::any_of(verbs, [](const StoryVerb& verb) { return verb.word == kExpect; });
}

Story ReadStory(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in || !fs::is_regular_file(file)) {
    throw tablet::InputError(file.string(), "the story cannot be read", "check its name and its rights");
  }
  Story story{.file = file, .preface = {}, .verbs = {}};
  std::vector<std::string> lead;
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    if (story.preface.size() < kPrefaceLines) {
      story.preface.push_back(line);
    } else if (line.starts_with(kIndent)) {
      if (story.verbs.empty()) {
        throw tablet::InputError(fmt::format("{}:{}", file.string(), number), "a record without a verb",
                                 "begin with a verb");
      }
      story.verbs.back().recorded.push_back(line.substr(kIndent.size()));
    } else if (line.empty() || line.starts_with('#')) {
      lead.push_back(line);
    } else {
      story.verbs.push_back(MakeVerb(file, number, line));
      story.verbs.back().lead = std::exchange(lead, {});
    }
  }
  CheckShape(story, number);
  return story;
}

std::string ToText(const Story& story) {
  std::string text;
  for (const std::string& line : story.preface) text += line + '\n';
  for (const StoryVerb& verb : story.verbs) {
    for (const std::string& line : verb.lead) text += line + '\n';
    text += verb.text + '\n';
    for (const std::string& line : verb.recorded) text += fmt::format("{}{}\n", kIndent, line);
  }
  return text;
}

void WriteStory(const Story& story) {
  std::string const text = ToText(story);
  CheckShape(story, static_cast<int>(std::count(text.begin(), text.end(), '\n')));
  WriteOutput(story.file, text);
}

}  // namespace cli
