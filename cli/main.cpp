// vantord-tablet: shows people without a tablet what the service does to one.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "cli/console.h"
#include "cli/exit_code.h"
#include "cli/run_command.h"
#include "cli/samples.h"
#include "cli/story_command.h"
#include "cli/work_folder.h"
#include "tablet/input_error.h"
#include "tablet/nearest.h"

namespace {

using cli::ExitCode;
using cli::UsageError;

constexpr std::array<std::string_view, 3> kCommands{"init", "run", "story"};

struct Arguments {
  std::filesystem::path init_folder;
  std::string sample = "fresh";
  bool small = false;
  cli::RunOptions run;
  double patience_seconds = 10;
  cli::StoryOptions story;
};

void DefineInit(CLI::App& app, Arguments& out) {
  CLI::App& init = *app.add_subcommand("init", "makes a tablet folder from a named sample, archives included");
  init.add_option("DIR", out.init_folder, "the folder to make")->required();
  std::string samples = "the sample:";
  for (const cli::Sample& sample : cli::Samples()) samples += fmt::format(" {} ({});", sample.name, sample.shows);
  samples.pop_back();
  init.add_option("--sample", out.sample, samples)->capture_default_str();
  init.add_flag("--small", out.small, "its twin of a few kilobytes, for trials that must be quick");
}

void DefineRun(CLI::App& app, Arguments& out) {
  CLI::App& run = *app.add_subcommand("run", "boots a tablet and tells what the service does to it");
  run.add_option("DIR", out.run.folder, "the tablet's folder")->required();
  auto* save = run.add_option("--save", out.run.save, "keep the tablet as it ended in this folder")->type_name("OUT");
  run.add_flag("--in-place", out.run.in_place, "keep it in DIR itself")->excludes(save);
  auto* events =
      run.add_option("--events", out.run.events, "write every status report, message and event, one JSON per line")
          ->type_name("FILE");
  run.add_flag("--calls", out.run.calls, "with --events: each call of the Windows API too")->needs(events);
  run.add_option("--until", out.run.until, "end the run at this virtual time")
      ->type_name("MS")
      ->check(CLI::Range(int64_t{0}, int64_t{1} << 52));
  run.add_option("--seed", out.run.seed, "draw which thread runs next; 0: first come, first served")
      ->capture_default_str();
  run.add_flag("--realtime", out.run.realtime, "let the tablet's clock wait instead of jumping");
  run.add_flag("--json", out.run.json, "one JSON document and nothing else");
  auto* quiet = run.add_flag("--quiet,-q", out.run.quiet, "the summary only");
  run.add_flag("--verbose,-v", out.run.verbose, "every message, nothing counted together")->excludes(quiet);
  run.add_option("--patience", out.patience_seconds, "real time without a call after which the service counts as hung")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.1, 1e6))
      ->capture_default_str();
}

void DefineStory(CLI::App& app, Arguments& out) {
  CLI::App& story = *app.add_subcommand("story", "plays stories and compares what happens with what they record");
  story.add_option("FILE", out.story.files, "stories")->required();
  story.add_flag("--rewrite", out.story.rewrite, "record what happens");
  story.add_flag("--json", out.story.json, "one JSON document and nothing else");
}

/// What is wrong with the command line and how to go on.
std::string Explain(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& words) {
  std::string const help = "\"vantord-tablet --help\" lists what there is";
  if (!words.empty() && words[0].front() != '-' &&
      std::find(kCommands.begin(), kCommands.end(), words[0]) == kCommands.end()) {
    return fmt::format("unknown command \"{}\"; {}", words[0], tablet::SuggestOneOf(words[0], kCommands));
  }
  if (words.empty() || app.get_subcommands().empty()) return fmt::format("{}; {}", error.what(), help);
  const CLI::App& command = *app.get_subcommands().front();
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options([](const CLI::Option* o) { return o->nonpositional(); })) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  }
  std::vector<std::string_view> const known(names.begin(), names.end());
  for (const std::string& word : words) {
    std::string const option = word.substr(0, word.find('='));
    if (option.size() < 2 || option.front() != '-' || std::find(known.begin(), known.end(), option) != known.end())
      continue;
    if (dynamic_cast<const CLI::ExtrasError*>(&error) == nullptr) continue;
    return fmt::format("unknown option \"{}\"; {}", option, tablet::SuggestOneOf(option, known));
  }
  return fmt::format("{}; \"vantord-tablet {} --help\" explains it", error.what(), command.get_name());
}

int Report(bool json, int code, const std::string& place, const std::string& problem, const std::string& next) {
  if (json) {
    nlohmann::ordered_json const document{
        {"schema", 1}, {"exit_code", code}, {"error", {{"place", place}, {"problem", problem}, {"next", next}}}};
    std::printf("%s\n", document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
    return code;
  }
  std::string const text = fmt::format("vantord-tablet: {}{}{}{}", place, place.empty() ? "" : ": ", problem,
                                       next.empty() ? "" : "; " + next);
  std::fprintf(stderr, "%s\n", text.c_str());
  return code;
}

int Dispatch(const CLI::App& app, Arguments& arguments, cli::Console& console) {
  if (app.got_subcommand("init")) {
    cli::MakeSample(arguments.sample, arguments.small, arguments.init_folder);
    console.Line(fmt::format("{} is a tablet now ({}{}); \"vantord-tablet run {}\" boots it",
                             arguments.init_folder.string(), arguments.sample, arguments.small ? ", small" : "",
                             arguments.init_folder.string()));
    return cli::kDone;
  }
  if (app.got_subcommand("run")) {
    arguments.run.patience = std::chrono::milliseconds(static_cast<std::int64_t>(arguments.patience_seconds * 1000));
    return cli::Run(arguments.run, console);
  }
  return cli::PlayStories(arguments.story, console);
}

}  // namespace

int main(int count, char** values) {
  std::vector<std::string> const words(values + 1, values + count);
  bool const json = std::find(words.begin(), words.end(), "--json") != words.end();
  cli::Console console;
  cli::EndOrderlyOnSignals([&console] { console.EndProgress(); });

  CLI::App app("Shows what the Vantord service does to a tablet, on a tablet that is a folder.", "vantord-tablet");
  app.require_subcommand(1);
  Arguments arguments;
  DefineInit(app, arguments);
  DefineRun(app, arguments);
  DefineStory(app, arguments);
  try {
    app.parse(count, values);
    return Dispatch(app, arguments, console);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);  // --help
  } catch (const CLI::ParseError& error) {
    return Report(json, ExitCode::kUsage, "", Explain(app, error, words), "");
  } catch (const UsageError& error) {
    return Report(json, ExitCode::kUsage, "", error.what(), "");
  } catch (const tablet::InputError& error) {
    return Report(json, ExitCode::kBadInput, error.place(), error.problem(), error.next());
  } catch (const std::filesystem::filesystem_error& error) {
    return Report(json, ExitCode::kBadInput, error.path1().string(), error.code().message(), "check its rights");
  } catch (const std::exception& error) {
    return Report(json, ExitCode::kOperationFailed, "", error.what(), "");
  }
}
