#include "cli/story/story_matrix.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "cli/story/story_verbs.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

constexpr std::string_view kNone = "none";

struct Axis {
  std::string_view name;
  std::string_view verb;  ///< which sets a value, in place of {}
  std::string_view none;  ///< and which takes it away
};
constexpr std::array<Axis, 2> kAxes{
    {{"code", "firmware SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83 {}",
      "firmware SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83 -"},
     {"id", R"(registry [HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord] "ModemImageID"="{}")",
      R"(registry [HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord] "ModemImageID"=-)"}}};

void Replace(std::string& text, std::string_view what, std::string_view with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
}

Story WithValue(const Story& story, std::size_t matrix, const Axis& axis, const std::string& value) {
  Story variation = story;
  for (std::size_t i = matrix; i < story.verbs.size(); ++i) {
    StoryVerb& verb = variation.verbs[i];
    std::string text = verb.text;
    if (i == matrix) {
      text = value == kNone ? axis.none : axis.verb;
      Replace(text, "{}", value);
    } else {
      Replace(text, fmt::format("${}", axis.name), value);
    }
    if (text != verb.text) verb = VerbOf(verb.line, text);
  }
  return variation;
}

std::vector<Variation> Expand(const Story& story, std::size_t matrix) {
  const StoryVerb& verb = story.verbs[matrix];
  auto const [name, rest] = Split(verb.rest);
  auto const axis = std::ranges::find(kAxes, name, &Axis::name);
  if (axis == kAxes.end() || rest.empty()) {
    Refuse(verb, fmt::format("\"{}\" is not a matrix", verb.rest), "write: matrix code VZW KOR none, or matrix id ...",
           verb.rest);
  }
  for (std::size_t i = 0; i < story.verbs.size(); ++i) {
    if (i > matrix && story.verbs[i].word == kMatrix) {
      Refuse(story.verbs[i], "a story has one matrix", "write another story");
    }
    if (i < matrix && story.verbs[i].word == "boot") Refuse(verb, "the tablet is on", "write it before \"boot\"");
  }
  std::vector<Variation> variations;
  std::istringstream values(rest);
  for (std::string value; values >> value;) {
    variations.push_back({fmt::format("{} {}", name, value), WithValue(story, matrix, *axis, value)});
  }
  return variations;
}

}  // namespace

std::vector<Variation> VariationsOf(const Story& story) try {
  auto const matrix = std::ranges::find(story.verbs, kMatrix, &StoryVerb::word);
  if (matrix == story.verbs.end()) return {{{}, story}};
  return Expand(story, static_cast<std::size_t>(matrix - story.verbs.begin()));
} catch (const tablet::InputError& error) {
  throw tablet::InputError(fmt::format("{}:{}", story.file.string(), error.place()), error.problem(), error.next());
}

}  // namespace cli
