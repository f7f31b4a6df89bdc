// vantord-tablet: shows people without a tablet what the service does to one.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/console.h"
#include "cli/base/exit_code.h"
#include "cli/base/work_folder.h"
#include "cli/commands/command.h"
#include "cli/program_docs.h"
#include "cli/version.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/nearest.h"

namespace {

using cli::Command;
using cli::ExitCode;
using cli::UsageError;

/// What is wrong with the command line and how to go on.
std::string Explain(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& words,
                    const std::vector<std::string_view>& commands) {
  std::string const help = "\"vantord-tablet --help\" lists what there is";
  if (!words.empty() && !words[0].empty() && words[0].front() != '-' &&
      std::find(commands.begin(), commands.end(), words[0]) == commands.end()) {
    return fmt::format("unknown command \"{}\"; {}", words[0], tablet::SuggestOneOf(words[0], commands));
  }
  if (words.empty() || app.get_subcommands().empty()) return fmt::format("{}; {}", error.what(), help);
  const CLI::App& command = *app.get_subcommands().front();
  std::vector<std::string_view> words_below;
  for (const CLI::App* below : command.get_subcommands({})) words_below.push_back(below->get_name());
  if (!words_below.empty() && words.size() > 1 && !words[1].empty() && words[1].front() != '-' &&
      std::find(words_below.begin(), words_below.end(), words[1]) == words_below.end()) {
    return fmt::format("unknown word \"{}\" behind \"{}\"; {}", words[1], words[0],
                       tablet::SuggestOneOf(words[1], words_below));
  }
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

}  // namespace

int main(int count, char** values) {
  std::vector<std::string> const words(values + 1, values + count);
  bool const json = std::find(words.begin(), words.end(), "--json") != words.end();
  cli::Console console;
  cli::EndOrderlyOnSignals([&console] { console.EndProgress(); });

  CLI::App app("Shows what the Vantord service does to a tablet, on a tablet that is a folder.", "vantord-tablet");
  app.require_subcommand(1);
  app.set_version_flag("--version", cli::VersionText(), "print version and commit and exit");
  std::vector<std::unique_ptr<Command>> const commands = cli::MakeCommands();
  std::vector<std::string_view> names;
  for (const auto& command : commands) {
    command->Define(*app.add_subcommand(std::string(command->name()), command->about()));
    names.push_back(command->name());
  }
  auto const print = [](const std::string& text) {
    std::fputs(text.c_str(), stdout);
    throw CLI::Success();
  };
  app.add_flag_callback(
      "--man", [&] { print(cli::ManPage(app)); }, "print the manual page and exit");
  app.add_flag_callback(
      "--bash-completion", [&] { print(cli::BashCompletion(app)); }, "print the completion for bash and exit");
  try {
    app.parse(count, values);
    std::string const asked = app.get_subcommands().front()->get_name();
    return (*std::find_if(commands.begin(), commands.end(), [&](auto& one) { return one->name() == asked; }))
        ->Run(console);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);  // --help
  } catch (const CLI::ParseError& error) {
    return Report(json, ExitCode::kUsage, "", Explain(app, error, words, names), "");
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
