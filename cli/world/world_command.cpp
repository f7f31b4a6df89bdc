#include "cli/world/world_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/base/table.h"
#include "cli/world/kit_result.h"
#include "cli/world/seen_column.h"
#include "kit/result/questions.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

constexpr const char* kPage = "sim/winapi/README.md";

/// One question, with the answers of both sides.
struct Compared {
  std::string name;
  std::string text;
  std::string outcome;  ///< "agrees", "differs", "not modelled", "not tried", "unknown"
  const char* expected = nullptr;
  const std::string* seen = nullptr;
};

std::vector<Compared> Compare(const KitResult& result) {
  std::vector<Compared> all;
  for (const kit::Question& question : kit::Questions()) {
    auto const answer = result.answers.find(question.name);
    Compared one = {question.name, question.text, "not tried", question.stand_in, nullptr};
    if (answer != result.answers.end()) {
      one.seen = &answer->second;
      one.outcome = question.stand_in == nullptr          ? "not modelled"
                    : answer->second == question.stand_in ? "agrees"
                                                          : "differs";
    }
    all.push_back(std::move(one));
  }
  for (const auto& [name, seen] : result.answers) {
    if (kit::FindQuestion(name) == nullptr) {
      all.push_back({name, "a question of another version of vantord-check", "unknown", nullptr, &seen});
    }
  }
  return all;
}

bool IsUnexpected(const KitStep& step) {
  return step.outcome != "passed" && step.outcome != "skipped" && step.outcome != "not tried";
}

std::vector<KitStep> UnexpectedOf(const KitResult& result) {
  std::vector<KitStep> steps;
  std::ranges::copy_if(result.steps, std::back_inserter(steps), IsUnexpected);
  return steps;
}

std::size_t CountOf(const std::vector<Compared>& all, std::string_view outcome) {
  return static_cast<std::size_t>(std::ranges::count(all, outcome, &Compared::outcome));
}

ordered_json ToJson(const Compared& one) {
  return {{"name", one.name},
          {"text", one.text},
          {"outcome", one.outcome},
          {"expected", one.expected == nullptr ? ordered_json(nullptr) : ordered_json(one.expected)},
          {"seen", one.seen == nullptr ? ordered_json(nullptr) : ordered_json(*one.seen)},
          {"where", fmt::format("{}: {}", kPage, one.name)}};
}

void PrintAsJson(const WorldOptions& options, const KitResult& result, const std::vector<Compared>& all, int code,
                 Console& console) {
  ordered_json questions = ordered_json::array();
  for (const Compared& one : all) questions.push_back(ToJson(one));
  ordered_json tests = ordered_json::array();
  for (const KitStep& step : UnexpectedOf(result)) {
    tests.push_back({{"name", step.name}, {"outcome", step.outcome}, {"texts", step.texts}});
  }
  PrintJson(console, {{"schema", 1},
                      {"exit_code", code},
                      {"file", options.file.string()},
                      {"machine", result.machine},
                      {"date", result.date},
                      {"questions", std::move(questions)},
                      {"tests", result.steps.size()},
                      {"unexpected", std::move(tests)}});
}

void PrintAsText(const WorldOptions& options, const KitResult& result, const std::vector<Compared>& all,
                 Console& console) {
  Table table(console);
  table.Row("Machine", fmt::format("{}, {}", result.machine, result.date));
  for (const Compared& one : all) {
    if (one.outcome == "agrees" && !options.all) continue;
    bool const differs = one.outcome == "differs";
    std::string const known = one.seen == nullptr ? one.outcome : fmt::format("{}: {}", one.outcome, *one.seen);
    table.Row(differs ? "Differs" : "Question", one.name, differs ? Console::Style::kBad : Console::Style::kPlain);
    table.More(one.text);
    table.More(differs ? fmt::format("expected {}, seen {}; {}, row {}", one.expected, *one.seen, kPage, one.name)
                       : known);
  }
  std::vector<KitStep> const unexpected = UnexpectedOf(result);
  for (const KitStep& step : unexpected) {
    table.Row("Test", fmt::format("{}: {}", step.name, step.outcome), Console::Style::kBad);
    for (const std::string& text : step.texts) table.More(text);
  }
  table.Row("Summary", fmt::format("{} agree, {} differ, {} not modelled, {} not tried; {}, {} unexpected",
                                   CountOf(all, "agrees"), CountOf(all, "differs"), CountOf(all, "not modelled"),
                                   CountOf(all, "not tried"), Counted(result.steps.size(), "test"), unexpected.size()));
}

std::string PageText(const std::filesystem::path& page) {
  std::ifstream in(page, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  if (!in) throw tablet::InputError(page.string(), "cannot be read", std::string("name the page ") + kPage);
  return text.str();
}

}  // namespace

int CompareWorld(const WorldOptions& options, Console& console) {
  KitResult const result = ReadKitResult(options.file);
  std::vector<Compared> const all = Compare(result);
  bool const agrees = CountOf(all, "differs") == 0 && UnexpectedOf(result).empty();
  int const code = agrees ? kDone : kNotAsExpected;
  if (!options.page.empty()) WriteOutput(options.page, WithSeenAnswers(PageText(options.page), result));
  if (options.json) {
    PrintAsJson(options, result, all, code, console);
  } else {
    PrintAsText(options, result, all, console);
  }
  return code;
}

}  // namespace cli
