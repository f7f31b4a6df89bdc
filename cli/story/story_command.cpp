#include "cli/story/story_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "cli/base/escape.h"
#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/base/own_drive.h"
#include "cli/base/service_facts.h"
#include "cli/story/story_file.h"
#include "cli/story/story_matrix.h"
#include "cli/story/story_player.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using Style = Console::Style;

/// The first place where a record and what happened differ, or an expectation that does not hold.
struct Difference {
  int line = 0;  ///< in the story's file
  std::string verb;
  std::string recorded;  ///< "" where the record ends before; what is expected
  std::string now;
  bool expectation = false;
  std::string variation;
};

/// Whether what happened under a verb is compared with its record.
bool IsCompared(const Story& story, const StoryVerb& verb) { return !story.is_partial() || !verb.recorded.empty(); }

std::vector<Difference> Compare(const Variation& variation, const std::vector<std::vector<std::string>>& now) {
  std::vector<Difference> differences;
  const Story& story = variation.story;
  for (std::size_t i = 0; i < story.verbs.size(); ++i) {
    const StoryVerb& verb = story.verbs[i];
    if (verb.word == kExpect) {
      if (!now[i].empty()) differences.push_back({verb.line, verb.text, verb.rest, now[i][0], true, variation.name});
      continue;
    }
    if (!IsCompared(story, verb)) continue;
    auto const [was, is] = std::mismatch(verb.recorded.begin(), verb.recorded.end(), now[i].begin(), now[i].end());
    if (was == verb.recorded.end() && is == now[i].end()) continue;
    int const line = verb.line + 1 + static_cast<int>(was - verb.recorded.begin());
    differences.push_back({line, verb.text, was == verb.recorded.end() ? "" : *was, is == now[i].end() ? "" : *is,
                           false, variation.name});
  }
  return differences;
}

/// "FILE:7, under "boot":", and the two sides.
std::vector<std::string> LinesOf(const Story& story, const Difference& difference) {
  auto const shown = [](const std::string& line) { return line.empty() ? std::string("(nothing more)") : line; };
  std::string const with = difference.variation.empty() ? "" : fmt::format(", with {}", difference.variation);
  if (difference.expectation) {
    return {fmt::format("{}:{}:1{}: {}", story.file.string(), difference.line, with, difference.verb),
            "  found     " + difference.now};
  }
  return {fmt::format("{}:{}{}, under \"{}\":", story.file.string(), difference.line, with, difference.verb),
          "  recorded  " + shown(difference.recorded), "  now       " + shown(difference.now)};
}

void Print(Console& console, const Story& story, const std::vector<Difference>& differences, bool rewritten) {
  std::string const file = story.file.string();
  if (differences.empty()) {
    console.Line(fmt::format("{}  {}", console.Styled(Style::kGood, rewritten ? "recorded" : "matches "), file));
    return;
  }
  console.Line(fmt::format("{}  {}", console.Styled(Style::kBad, "differs "), file));
  for (const Difference& difference : differences) {
    for (const std::string& line : LinesOf(story, difference)) console.Line("  " + line);
  }
  if (!story.is_partial()) console.Line("  --rewrite records what happens now");
}

/// One test case for each story, and for each variation of its matrix. No times: the same stories give the same report.
class JunitReport {
 public:
  void Add(const Story& story, const std::string& variation, const std::vector<Difference>& differences) {
    std::string text;
    for (const Difference& difference : differences) {
      for (const std::string& line : LinesOf(story, difference)) text += line + '\n';
    }
    failures_ += differences.empty() ? 0 : 1;
    AddCase(story.file, variation, differences.empty() ? "" : "failure",
            story.is_partial() ? "an expectation does not hold" : "the output differs from the recording", text);
  }
  void AddError(const fs::path& file, const std::string& message) {
    ++errors_;
    AddCase(file, "", "error", message, message);
  }
  void Write(const fs::path& file) const {
    WriteOutput(file,
                fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"stories\" "
                            "tests=\"{}\" failures=\"{}\" errors=\"{}\">\n{}  </testsuite>\n</testsuites>\n",
                            count_, failures_, errors_, cases_));
  }

 private:
  /// `kind`: "failure", "error" or nothing.
  void AddCase(const fs::path& file, const std::string& variation, std::string_view kind, std::string_view message,
               std::string_view text) {
    ++count_;
    std::string const name = file.stem().string() + (variation.empty() ? "" : fmt::format(" [{}]", variation));
    cases_ += fmt::format("    <testcase classname=\"stories\" name=\"{}\" file=\"{}\"", XmlText(name),
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

  void Play(const fs::path& file) {
    try {
      Story story = ReadStory(file);
      std::vector<Variation> const variations = VariationsOf(story);
      if (options_.rewrite && variations.size() > 1) {
        throw tablet::InputError(file.string(), "a story with a matrix has no recording", "leave --rewrite out");
      }
      std::vector<Difference> all;
      std::vector<Difference> told;  ///< without what was recorded
      for (const Variation& variation : variations) {
        auto const now = PlayStory(variation.story);
        std::vector<Difference> differences = Compare(variation, now);
        if (options_.rewrite) Record(story, now, differences);
        std::vector<Difference> unmet = differences;
        if (options_.rewrite) std::erase_if(unmet, [](const Difference& one) { return !one.expectation; });
        junit_.Add(story, variation.name, unmet);
        std::ranges::move(unmet, std::back_inserter(told));
        std::ranges::move(differences, std::back_inserter(all));
      }
      Take(story, all, told);
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
  /// Writes what happened now into the story, if it differs.
  static void Record(Story& story, const std::vector<std::vector<std::string>>& now,
                     const std::vector<Difference>& differences) {
    if (std::ranges::all_of(differences, &Difference::expectation)) return;
    for (std::size_t i = 0; i < story.verbs.size(); ++i) {
      if (story.verbs[i].word != kExpect && IsCompared(story, story.verbs[i])) story.verbs[i].recorded = now[i];
    }
    WriteStory(story);
  }

  void Take(const Story& story, const std::vector<Difference>& all, const std::vector<Difference>& told) {
    as_recorded_ += all.empty() ? 1 : 0;
    if (!told.empty() && code_ == kDone) code_ = kNotAsExpected;
    if (!options_.json) Print(console_, story, told, all.size() != told.size());
    ordered_json& entry = AddEntry(story.file, all.empty());
    for (const Difference& difference : all) {
      entry["differences"].push_back({{"line", difference.line},
                                      {"verb", difference.verb},
                                      {"recorded", difference.recorded},
                                      {"now", difference.now}});
      if (!difference.variation.empty()) entry["differences"].back()["variation"] = difference.variation;
    }
  }

  void TakeError(const fs::path& file, int code, const std::string& place, const std::string& problem,
                 const std::string& next) {
    if (code_ != kOperationFailed) code_ = code;
    std::string const message = fmt::format("{}: {}{}{}", place, problem, next.empty() ? "" : "; ", next);
    junit_.AddError(file, message);
    if (!options_.json) console_.Warn(message);
    AddEntry(file, false)["error"] = {{"place", place}, {"problem", problem}, {"next", next}};
  }

  ordered_json& AddEntry(const fs::path& file, bool as_recorded) {
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

/// Every outcome of the firmware that this tablet could have.
std::vector<std::string> FirmwareCandidates(const fs::path& folder, const tablet::Description& description) {
  std::vector<std::string> candidates{"expect firmware not needed"};
  OwnDrive const drive(folder, description);
  std::vector<tablet::FileFacts> files;
  drive.get().Find(service_facts::kWideArchives, files);
  for (const tablet::FileFacts& file : files) {
    if ((file.attributes & tablet::kAttributeDirectory) != 0) continue;
    for (const char* const state : {"deployed", "failed"}) {
      candidates.push_back(fmt::format("expect firmware {} {}", tablet::ToUtf8(file.name), state));
    }
  }
  return candidates;
}

/// A story of a tablet, to be kept as `file`: it boots, is stopped, and the expectations are those that hold. Throws
/// InputError for a bad tablet.
Story NewStory(const fs::path& folder, const fs::path& file) {
  tablet::Description const description = tablet::ReadTabletFolder(folder);
  fs::path const base = file.has_parent_path() ? file.parent_path() : fs::path(".");
  fs::path const place = fs::proximate(folder, base);
  Story story{.file = file,
              .preface = {"# " + description.name, "# A first story, from a run: it boots, rests, and is stopped.",
                          "# Change it to what this tablet must do."},
              .verbs = {}};
  std::vector<std::string> texts{"tablet " + place.string(), "boot quietly"};
  for (std::string& text : FirmwareCandidates(folder, description)) texts.push_back(std::move(text));
  texts.insert(texts.end(), {"expect no message in zone error", "expect status RUNNING", "expect status STOPPED"});
  constexpr std::size_t kAlways = 2;
  auto const write = [&] {
    story.verbs.clear();
    for (const std::string& text : texts) story.verbs.push_back(VerbOf(static_cast<int>(story.verbs.size()) + 4, text));
  };
  auto const play = [&] {
    write();
    std::vector<std::vector<std::string>> const now = PlayStory(story);
    std::vector<std::string> kept;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      if (i < kAlways || story.verbs[i].word != kExpect || now[i].empty()) kept.push_back(texts[i]);
    }
    texts = std::move(kept);
  };
  play();
  // A service that still runs is stopped; the shortest time that holds stays.
  if (texts.back() == "expect status RUNNING") {
    std::size_t const before = texts.size() + 1;
    texts.emplace_back("stop");
    for (const char* const time : {"1 s", "10 s", "30 s", "125 s"})
      texts.push_back(fmt::format("expect stopped within {}", time));
    play();
    if (texts.size() > before + 1) texts.resize(before + 1);
  }
  write();
  return story;
}

int WriteNewStory(const StoryOptions& options, Console& console) {
  bool const to_file = !options.files.empty();
  if (options.files.size() > 1 || (!to_file && options.json)) throw UsageError("--new writes one story; name one FILE");
  if (to_file) CheckOutputs({{"FILE", options.files[0]}}, {*options.new_of}, options.force);
  Story const story = NewStory(*options.new_of, to_file ? options.files[0] : fs::path("new.story"));
  if (!to_file) {
    console.Document(ToText(story));
    return kDone;
  }
  WriteStory(story);
  if (options.json) {
    PrintJson(console,
              {{"schema", 1},
               {"exit_code", kDone},
               {"stories",
                ordered_json::array(
                    {{{"file", story.file.string()}, {"as_told", true}, {"differences", ordered_json::array()}}})}});
  } else {
    console.Line(fmt::format("{0} is a story of {1}; \"vantord-tablet story {0}\" plays it", story.file.string(),
                             options.new_of->string()));
  }
  return kDone;
}

}  // namespace

int PlayStories(const StoryOptions& options, Console& console) {
  if (options.new_of) return WriteNewStory(options, console);
  if (options.junit) CheckOutputs({{"--junit", *options.junit}}, options.files, options.force);
  StoryList list(options, console);
  for (const fs::path& file : options.files) list.Play(file);
  return list.Finish();
}

}  // namespace cli
