#include "cli/bundle/bundle_commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/base/table.h"
#include "cli/base/work_folder.h"
#include "cli/bundle/bundle.h"
#include "cli/bundle/child_run.h"
#include "cli/bundle/redaction.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

/// Options of `run` that a bundle may use: none that reads or writes other files.
constexpr std::array<std::string_view, 6> kRunOptions{"--seed",     "--until", "--timeout",
                                                      "--patience", "--fault", "--cut-at"};

struct Difference {
  std::string where;
  std::string bundle;
  std::string here;
};

/// The first line in which two texts differ; a line that is missing is "(nothing)".
std::optional<Difference> FirstDifference(const std::string& what, const std::string& bundle, const std::string& here) {
  std::vector<std::string> const was = Lines(bundle);
  std::vector<std::string> const is = Lines(here);
  for (std::size_t i = 0; i < std::max(was.size(), is.size()); ++i) {
    if (i < was.size() && i < is.size() && was[i] == is[i]) continue;
    return Difference{fmt::format("{} {}", what, i + 1), i < was.size() ? was[i] : "(nothing)",
                      i < is.size() ? is[i] : "(nothing)"};
  }
  return std::nullopt;
}

/// The arguments that a manifest names. Throws InputError for any that a bundle may not ask for.
std::vector<std::string> RunArguments(const nlohmann::json& manifest, const fs::path& bundle) {
  auto const refuse = [&](const std::string& why) {
    throw tablet::InputError(bundle.string() + ": " + kManifestFile + ": run", why,
                             "collect the run again with this program");
  };
  std::vector<std::string> arguments;
  if (!manifest.contains("run") || !manifest["run"].is_array()) refuse("is not a list of arguments");
  for (const auto& one : manifest["run"]) {
    if (!one.is_string()) refuse("is not a list of texts");
    arguments.push_back(one);
  }
  for (std::size_t i = 0; i < arguments.size(); i += 2) {
    bool const known = std::find(kRunOptions.begin(), kRunOptions.end(), arguments[i]) != kRunOptions.end();
    bool const has_value = i + 1 < arguments.size() && !arguments[i + 1].starts_with("-");
    if (!known || !has_value) refuse(fmt::format("\"{}\" is not an option that a bundle may use", arguments[i]));
  }
  return arguments;
}

nlohmann::json ReadManifest(const fs::path& folder, const fs::path& bundle) {
  auto manifest = nlohmann::json::parse(ReadTextFile(folder / kManifestFile), nullptr, false);
  std::string const place = bundle.string() + ": " + kManifestFile;
  if (!manifest.is_object()) throw tablet::InputError(place, "is not a JSON object", "collect the run again");
  if (manifest.value("schema", nlohmann::json()) != 1)
    throw tablet::InputError(place + ": schema", "is not 1", "replay it with the program that has made it");
  return manifest;
}

/// The run to be packed; with --redact it is made twice, and both must be the same.
ChildRun RunForBundle(const CollectOptions& options, const fs::path& tablet, const fs::path& work,
                      const Redaction* redaction) {
  ChildRun run = RunInChild(tablet, options.run, work);
  if (redaction == nullptr) return run;
  redaction->Apply(tablet, run.events);
  ChildRun again = RunInChild(tablet, options.run, work);
  auto const difference = FirstDifference("event", redaction->Redacted(run.events), again.events);
  if (difference) {
    throw std::runtime_error(
        fmt::format("without its identifiers the run differs from {} on:\n  with:    {}\n"
                    "  without: {}\ncollect it without --redact",
                    difference->where, difference->bundle, difference->here));
  }
  return again;
}

/// An error of the staged tablet, named as the user's.
tablet::InputError OfUsersTablet(const tablet::InputError& error, const fs::path& staged, const fs::path& users) {
  std::string place = error.place();
  if (place.starts_with(staged.string())) place.replace(0, staged.string().size(), users.string());
  return {place, error.problem(), error.next()};
}

}  // namespace

int Collect(const CollectOptions& options, Console& console) {
  CheckOutputs({{"--output", options.bundle}}, {options.folder}, options.force);
  WorkFolder const work = WorkFolder::Temporary();
  fs::path const bundle = work.path() / "bundle";
  fs::create_directory(bundle);
  fs::path const tablet = bundle / kTabletFolder;
  StageTablet(options.folder, tablet);
  std::optional<Redaction> redaction;
  ChildRun run;
  try {
    if (options.redact) redaction = Redaction::Of(tablet);
    run = RunForBundle(options, tablet, work.path(), redaction ? &*redaction : nullptr);
  } catch (const tablet::InputError& error) {
    throw OfUsersTablet(error, tablet, options.folder);
  }
  ordered_json const redacted = redaction ? redaction->Counts() : ordered_json();
  ordered_json const manifest{{"schema", 1},
                              {"made_by", ProgramVersion()},
                              {"run", options.run},
                              {"end", run.summary["end"]},
                              {"run_exit_code", run.summary["exit_code"]},
                              {"redacted", redacted},
                              {"times", DriveTimes(tablet)}};
  WriteOutput(bundle / kManifestFile, manifest.dump(1) + "\n");
  WriteOutput(bundle / kEventsFile, run.events);
  WriteOutput(bundle / kSummaryFile, run.summary_text);
  if (redaction) redaction->ExpectNoneIn(bundle);
  PackBundle(bundle, options.bundle);
  std::size_t const events = Lines(run.events).size();
  std::uint64_t const bytes = fs::file_size(options.bundle);
  if (options.json) {
    PrintJson(console, {{"schema", 1},
                        {"exit_code", kDone},
                        {"bundle", options.bundle.string()},
                        {"bytes", bytes},
                        {"events", events},
                        {"end", run.summary["end"]},
                        {"run_exit_code", run.summary["exit_code"]},
                        {"redacted", redacted}});
    return kDone;
  }
  Table table(console);
  table.Row("Bundle", fmt::format("{}, {}", options.bundle.string(), HumanBytes(bytes)));
  table.Row("Run", fmt::format("{}, {} events", run.summary["message"].get<std::string>(), events));
  if (redaction) table.Row("Redacted", Describe(redacted));
  table.Row("Repeat", fmt::format("vantord-tablet replay {}", options.bundle.string()));
  return kDone;
}

int Replay(const ReplayOptions& options, Console& console) {
  WorkFolder const work = WorkFolder::Temporary();
  fs::path const bundle = work.path() / "bundle";
  fs::create_directory(bundle);
  UnpackBundle(options.bundle, bundle);
  nlohmann::json const manifest = ReadManifest(bundle, options.bundle);
  fs::path const tablet = bundle / kTabletFolder;
  SetDriveTimes(tablet, manifest.value("times", nlohmann::json::array()));
  ChildRun const run = RunInChild(tablet, RunArguments(manifest, options.bundle), work.path());
  auto difference = FirstDifference("event", ReadTextFile(bundle / kEventsFile), run.events);
  if (!difference)
    difference = FirstDifference("line of the summary", ReadTextFile(bundle / kSummaryFile), run.summary_text);
  std::size_t const events = Lines(run.events).size();
  ordered_json const here = ProgramVersion();
  ordered_json const there = manifest.value("made_by", ordered_json::object());
  bool const same_version = std::all_of(here.items().begin(), here.items().end(),
                                        [&](auto const& item) { return there.value(item.key(), "") == item.value(); });
  int const code = difference ? kNotAsExpected : kDone;
  if (options.json) {
    ordered_json first;
    if (difference) first = {{"where", difference->where}, {"bundle", difference->bundle}, {"here", difference->here}};
    PrintJson(console, {{"schema", 1},
                        {"exit_code", code},
                        {"same", !difference},
                        {"events", events},
                        {"difference", first},
                        {"versions", {{"same", same_version}, {"bundle", there}, {"here", here}}}});
    return code;
  }
  auto const named = [](const ordered_json& version) {
    return fmt::format("{} {} (build {})", version.value("program", "?"), version.value("version", "?"),
                       version.value("build", "?"));
  };
  Table table(console);
  if (difference) {
    table.Row("Replay", "differs", Console::Style::kBad);
    table.Row("First", difference->where);
    table.Row("Bundle", difference->bundle);
    table.Row("Here", difference->here);
  } else {
    table.Row("Replay", fmt::format("the same to the byte: {} events and the summary", events), Console::Style::kGood);
  }
  if (!same_version)
    table.Row("Versions", fmt::format("differ: the bundle is of {}, this is {}", named(there), named(here)));
  return code;
}

}  // namespace cli
