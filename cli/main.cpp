// vantord-tablet: shows people without a tablet what the service does to one.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/console.h"
#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/unfinished.h"
#include "cli/commands/command.h"
#include "cli/program_docs.h"
#include "cli/version.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/nearest.h"

namespace {

using cli::Command;
using cli::Console;
using cli::ExitCode;
using cli::UsageError;

/// What is wrong with the command line and how to go on.
std::string Explain(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& words,
                    const std::vector<std::string_view>& commands) {
  std::string const help = "\"vantord-tablet --help\" lists the commands";
  if (!words.empty() && !words[0].empty() && words[0].front() != '-' && words[0] != "help" &&
      std::find(commands.begin(), commands.end(), words[0]) == commands.end()) {
    return fmt::format("unknown command \"{}\"; {}", words[0], tablet::SuggestOneOf(words[0], commands));
  }
  if (words.empty() || app.get_subcommands().empty()) return fmt::format("{}; {}", error.what(), help);
  const CLI::App& command = *app.get_subcommands().front();
  std::vector<std::string_view> words_below;
  for (const CLI::App* below : command.get_subcommands({})) words_below.push_back(below->get_name());
  if (!words_below.empty() && words.size() > 1 && !words[1].empty() && words[1].front() != '-' &&
      std::find(words_below.begin(), words_below.end(), words[1]) == words_below.end()) {
    return fmt::format("unknown subcommand \"{}\" after \"{}\"; {}", words[1], words[0],
                       tablet::SuggestOneOf(words[1], words_below));
  }
  std::vector<std::string> names;
  for (const CLI::App* const of : {&command, &app}) {
    for (const CLI::Option* option : of->get_options([](const CLI::Option* o) { return o->nonpositional(); })) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
      for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    }
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

/// A failure as --json and people get it.
int Report(Console& console, bool json, int code, const std::string& place, const std::string& problem,
           const std::string& next) {
  if (json) {
    cli::PrintJson(
        console,
        {{"schema", 1}, {"exit_code", code}, {"error", {{"place", place}, {"problem", problem}, {"next", next}}}});
  } else {
    console.Warn(fmt::format("{}{}{}{}", place, place.empty() ? "" : ": ", problem, next.empty() ? "" : "; " + next));
  }
  return code;
}

/// Examples and exit codes, after the options of --help.
std::string Footer(const Command& command) {
  std::string text = "Examples:\n";
  for (const std::string& example : command.examples()) text += fmt::format("    vantord-tablet {}\n", example);
  text += "\nExit codes:\n";
  for (const cli::ExitCodeText& code : cli::kExitCodes) text += fmt::format("    {:>3}  {}\n", code.code, code.means);
  return text;
}

/// "TEXT" and "INT" are no help: what an option takes is named by the option or by its operand.
void DropRawTypes(CLI::App& app) {
  for (CLI::Option* const option : app.get_options({})) {
    if (!option->nonpositional()) option->type_name("");
  }
}

/// What every command takes, before or after its name.
void DefineGlobals(CLI::App& app, Console& console) {
  app.set_version_flag("--version", cli::VersionText(), "print the version and exit");
  app.add_option_function<std::string>(
         "--color",
         [&console](const std::string& when) {
           using Colours = Console::Colours;
           console.Use(when == "auto" ? Colours::kAuto : when == "always" ? Colours::kAlways : Colours::kNever);
         },
         "colours: on a terminal (auto), always or never; NO_COLOR and FORCE_COLOR decide for auto")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
  app.add_flag_callback(
      "--quiet,-q", [&console] { console.BeQuiet(); }, "print failures only; the exit code says the rest");
}

/// What "help" and "help COMMAND" are short for.
void ExplainCommand(CLI::App& app, const std::vector<std::string>& words, const std::vector<std::string_view>& names) {
  std::vector<std::string> asked{"--help"};  // CLI11 takes words from the end
  bool const of_command = words.size() > 1 && !words[1].starts_with('-') && words[1] != "help";
  if (of_command && std::find(names.begin(), names.end(), words[1]) == names.end()) {
    throw UsageError(fmt::format("unknown command \"{}\"; {}", words[1], tablet::SuggestOneOf(words[1], names)));
  }
  if (of_command) asked.push_back(words[1]);
  app.parse(std::move(asked));
}

/// Reads the command line and does what it says. Returns the exit code.
int Run(int count, char** values, Console& console) {
  std::vector<std::string> const words(values + 1, values + count);
  bool const json = std::find(words.begin(), words.end(), "--json") != words.end();
  CLI::App app("Shows what the Vantord service does to a tablet, on a tablet that is a folder.", "vantord-tablet");
  app.require_subcommand(1);
  app.fallthrough();
  DefineGlobals(app, console);
  std::vector<std::unique_ptr<Command>> const commands = cli::MakeCommands();
  std::vector<std::string_view> names;
  for (const auto& command : commands) {
    CLI::App* const own = app.add_subcommand(std::string(command->name()), command->about());
    command->Define(*own);
    own->footer(Footer(*command));
    DropRawTypes(*own);
    names.push_back(command->name());
  }
  app.add_subcommand("help", "explains a command, as COMMAND --help does");
  auto const print = [&console](const std::string& text) {
    console.Document(text);
    throw CLI::Success();
  };
  for (cli::Shell const shell : {cli::Shell::kBash, cli::Shell::kZsh, cli::Shell::kFish}) {
    std::string const name(cli::NameOf(shell));
    app.add_flag_callback(
        "--" + name + "-completion", [&, shell] { print(cli::Completion(app, shell)); },
        "print the completion for " + name + " and exit");
  }
  app.add_flag_callback(
      "--man", [&] { print(cli::ManPage(app)); }, "print the manual page and exit");
  try {
    if (!words.empty() && words[0] == "help") {
      ExplainCommand(app, words, names);
    } else {
      app.parse(count, values);
    }
    std::string const asked = app.get_subcommands().front()->get_name();
    return (*std::find_if(commands.begin(), commands.end(), [&](auto& one) { return one->name() == asked; }))
        ->Run(console);
  } catch (const CLI::Success& asked) {
    std::ostringstream help;
    app.exit(asked, help, help);  // --help
    console.Document(help.str());
    return ExitCode::kDone;
  } catch (const CLI::ParseError& error) {
    return Report(console, json, ExitCode::kUsage, "", Explain(app, error, words, names), "");
  } catch (const UsageError& error) {
    return Report(console, json, ExitCode::kUsage, "", error.what(), "");
  } catch (const tablet::InputError& error) {
    return Report(console, json, ExitCode::kBadInput, error.place(), error.problem(), error.next());
  } catch (const std::filesystem::filesystem_error& error) {
    return Report(console, json, ExitCode::kBadInput, error.path1().string(), error.code().message(),
                  "check its rights");
  } catch (const std::exception& error) {
    return Report(console, json, ExitCode::kOperationFailed, "", error.what(), "");
  }
}

}  // namespace

int main(int count, char** values) {
  // Never destroyed: the signal thread may need it while the program ends.
  static auto* const console = new cli::Console;
  cli::EndOrderlyOnSignals([] { console->EndProgress(); });
  int const code = Run(count, values, *console);
  console->Finish();
  return code;
}
