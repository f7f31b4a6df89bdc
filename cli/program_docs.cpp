#include "cli/program_docs.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <vector>

#include "cli/base/exit_code.h"
#include "cli/samples/samples.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

using Options = std::vector<const CLI::Option*>;

std::vector<const CLI::App*> Commands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

Options NamedOptions(const CLI::App& app) {
  return app.get_options(
      [](const CLI::Option* option) { return option->nonpositional() && !option->get_group().empty(); });
}

Options Operands(const CLI::App& app) {
  return app.get_options(
      [](const CLI::Option* option) { return option->get_positional() && !option->nonpositional(); });
}

/// As they are typed, the short ones first.
std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() != 0; }

/// Text as roff shows it unchanged.
std::string Roff(const std::string& text) {
  std::string out;
  for (char const c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
  }
  // A line that begins with one of these would be a request.
  if (out.starts_with('.') || out.starts_with('\'')) out.insert(0, "\\&");
  return out;
}

std::string OperandText(const CLI::Option& option) {
  std::string const text =
      fmt::format("\\fI{}\\fR{}", Roff(option.get_name(true)), option.get_items_expected_max() > 1 ? "..." : "");
  return option.get_required() ? text : "[" + text + "]";
}

std::string OptionText(const CLI::Option& option) {
  std::string text = ".TP\n";
  std::string separator;
  for (const std::string& name : NamesOf(option)) {
    text += fmt::format("{}\\fB{}\\fR", separator, Roff(name));
    separator = ", ";
  }
  if (TakesValue(option)) text += fmt::format(" \\fI{}\\fR", Roff(option.get_type_name()));
  std::string const usual = option.get_default_str();
  return fmt::format("{}\n{}{}\n", text, Roff(option.get_description()),
                     usual.empty() ? "" : Roff(fmt::format(" [{}]", usual)));
}

/// The part after the options: examples and exit codes are those of --help.
std::string ManEnd() {
  std::string page = ".SH EXIT STATUS\n";
  for (const ExitCodeText& code : kExitCodes) page += fmt::format(".TP\n{}\n{}\n", code.code, Roff(code.means));
  return page + R"(.SH ENVIRONMENT
.TP
.B NO_COLOR
when set to anything, nothing is coloured
.TP
.B FORCE_COLOR
when set to anything but 0, colours are not for terminals only
.TP
.B TMPDIR
where runs work on their copy of a tablet's drive
)";
}

std::string Examples(const CLI::App& command) {
  std::string page;
  std::istringstream lines(command.get_footer());
  for (std::string line; std::getline(lines, line) && !line.empty();) {
    if (line.starts_with(' ')) page += fmt::format(".PP\n.EX\n{}\n.EE\n", Roff(line));
  }
  return page;
}

/// What an option takes, where that is one of a few words.
std::vector<std::string> ChoicesOf(const CLI::Option& option) {
  std::vector<std::string> choices;
  if (option.check_lname("sample")) {
    for (const Sample& sample : Samples()) choices.emplace_back(sample.name);
  } else if (option.check_lname("fault") || option.check_lname("cut-at")) {
    for (const tablet::CatalogedCall& call : tablet::FaultCatalog()) choices.emplace_back(call.name);
  } else if (option.check_lname("color")) {
    choices = {"auto", "always", "never"};
  } else if (option.check_lname("only")) {
    choices = {"fault", "allocation", "pair", "cut", "schedule"};
  }
  return choices;
}

/// The options of a command and those that every command takes.
Options AllOptions(const CLI::App& app, const CLI::App& command) {
  Options all = NamedOptions(command);
  for (const CLI::Option* option : NamedOptions(app)) {
    bool const is_own = option->check_lname("color") || option->check_lname("quiet");
    bool const hidden = std::any_of(all.begin(), all.end(),
                                    [&](const CLI::Option* own) { return own->get_lnames() == option->get_lnames(); });
    if (is_own && !hidden) all.push_back(option);
  }
  return all;
}

/// As the shells take a text between single quotes.
std::string Quoted(std::string text) {
  for (std::size_t at = 0; (at = text.find('\'', at)) != std::string::npos; at += 4) text.replace(at, 1, "'\\''");
  return "'" + text + "'";
}

std::string Joined(const std::vector<std::string>& words) { return fmt::format("{}", fmt::join(words, " ")); }

/// One branch of a bash case: what can follow the command's name.
std::string CompletionCase(const std::string& pattern, const Options& options) {
  std::vector<std::string> all;
  std::vector<std::string> with_value;
  std::string choices;
  for (const CLI::Option* option : options) {
    std::vector<std::string> const names = NamesOf(*option);
    all.insert(all.end(), names.begin(), names.end());
    if (TakesValue(*option)) with_value.insert(with_value.end(), names.begin(), names.end());
    std::vector<std::string> const words = ChoicesOf(*option);
    if (words.empty()) continue;
    choices += fmt::format("      [[ $previous == {} ]] && values='{}'\n", names.back(), Joined(words));
  }
  return fmt::format("    {})\n      options='{}'\n      with_value='{}'\n{}      ;;\n", pattern, Joined(all),
                     Joined(with_value), choices);
}

constexpr const char* kBashEnd =
    R"(  esac
  # What follows an option is one of its words, else most often a file or a number: bash's own completion does the first.
  if [[ -n $values ]]; then
    COMPREPLY=($(compgen -W "$values" -- "$word"))
  elif [[ " $with_value " == *" $previous "* ]]; then
    COMPREPLY=($(compgen -f -- "$word"))
  elif [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$word"))
  elif [[ $COMP_CWORD -eq 1 || ($COMP_CWORD -eq 2 && ${COMP_WORDS[1]} == help) ]]; then
    COMPREPLY=($(compgen -W "$commands" -- "$word"))
  else
    COMPREPLY=($(compgen -f -- "$word"))
  fi
}
complete -o filenames -F _vantord_tablet vantord-tablet
)";

std::string BashCompletion(const CLI::App& app) {
  std::vector<std::string> names;
  std::string cases;
  for (const CLI::App* command : Commands(app)) {
    names.push_back(command->get_name());
    cases += CompletionCase(command->get_name(), AllOptions(app, *command));
  }
  return fmt::format(
             "# Completion of vantord-tablet for bash, made by vantord-tablet --bash-completion.\n"
             "_vantord_tablet() {{\n"
             "  local word=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}\n"
             "  local commands='{}' options='' with_value='' values=''\n"
             "  case ${{COMP_WORDS[1]}} in\n{}",
             Joined(names), cases + CompletionCase("*", NamedOptions(app))) +
         kBashEnd;
}

/// In an argument specification of zsh these have a meaning.
std::string ZshText(std::string text) {
  for (std::size_t at = 0; (at = text.find_first_of("[]:\\", at)) != std::string::npos; at += 2) text.insert(at, "\\");
  return text;
}

std::string ZshCompletion(const CLI::App& app) {
  std::string commands;
  std::string cases;
  for (const CLI::App* command : Commands(app)) {
    commands += fmt::format("    {}\n", Quoted(command->get_name() + ":" + ZshText(command->get_description())));
    cases += fmt::format("    {})\n      _arguments", command->get_name());
    for (const CLI::Option* option : AllOptions(app, *command)) {
      std::vector<std::string> const words = ChoicesOf(*option);
      std::string value;
      if (TakesValue(*option)) value = words.empty() ? ":value:_files" : fmt::format(":value:({})", Joined(words));
      for (const std::string& name : NamesOf(*option)) {
        cases += " \\\n        " + Quoted(fmt::format("*{}[{}]{}", name, ZshText(option->get_description()), value));
      }
    }
    cases += command->get_name() == "help" ? " \\\n        '1:command:{_describe command commands}'"
                                           : " \\\n        '*:file:_files'";
    cases += "\n      ;;\n";
  }
  return fmt::format(
      "#compdef vantord-tablet\n"
      "# Completion of vantord-tablet for zsh, made by vantord-tablet --zsh-completion.\n"
      "_vantord_tablet() {{\n"
      "  local -a commands=(\n{}  )\n"
      "  if ((CURRENT == 2)); then\n    _describe command commands\n    return\n  fi\n"
      "  shift words\n  ((CURRENT -= 1))\n"
      "  case ${{words[1]}} in\n{}  esac\n}}\n"
      "if [[ $funcstack[1] == _vantord-tablet ]]; then\n  _vantord_tablet \"$@\"\nelse\n"
      "  compdef _vantord_tablet vantord-tablet\nfi\n",
      commands, cases);
}

std::string FishCompletion(const CLI::App& app) {
  std::string text = "# Completion of vantord-tablet for fish, made by vantord-tablet --fish-completion.\n";
  std::string const begin = "complete -c vantord-tablet";
  for (const CLI::App* command : Commands(app)) {
    text += fmt::format("{} -n __fish_use_subcommand -f -a {} -d {}\n", begin, command->get_name(),
                        Quoted(command->get_description()));
    for (const CLI::Option* option : AllOptions(app, *command)) {
      text += fmt::format("{} -n '__fish_seen_subcommand_from {}'", begin, command->get_name());
      for (const std::string& name : option->get_snames()) text += " -s " + name;
      for (const std::string& name : option->get_lnames()) text += " -l " + name;
      std::vector<std::string> const words = ChoicesOf(*option);
      if (TakesValue(*option)) text += words.empty() ? " -r -F" : fmt::format(" -x -a '{}'", Joined(words));
      text += fmt::format(" -d {}\n", Quoted(option->get_description()));
    }
  }
  return text;
}

}  // namespace

std::string ManPage(const CLI::App& app) {
  std::string page =
      fmt::format(".TH VANTORD\\-TABLET 1 \"\" \"vantord\\-tablet {}\"\n.SH NAME\n", VANTORD_TABLET_VERSION);
  page += "vantord\\-tablet \\- shows what the Vantord service does to a tablet that is a folder\n.SH SYNOPSIS\n";
  for (const CLI::App* command : Commands(app)) {
    page += fmt::format("\\fBvantord\\-tablet {}\\fR", Roff(command->get_name()));
    for (const CLI::Option* operand : Operands(*command)) page += " " + OperandText(*operand);
    page += " [\\fIoptions\\fR]\n.br\n";
  }
  page += ".SH DESCRIPTION\n" + Roff(app.get_description()) + "\n.SH OPTIONS\n";
  for (const CLI::Option* option : NamedOptions(app)) page += OptionText(*option);
  page += ".SH COMMANDS\n";
  for (const CLI::App* command : Commands(app)) {
    page += fmt::format(".SS {}\n{}\n", Roff(command->get_name()), Roff(command->get_description()));
    for (const CLI::Option* operand : Operands(*command))
      page += fmt::format(".TP\n\\fI{}\\fR\n{}\n", Roff(operand->get_name(true)), Roff(operand->get_description()));
    for (const CLI::Option* option : NamedOptions(*command)) page += OptionText(*option);
    page += Examples(*command);
  }
  return page + ManEnd();
}

std::string_view NameOf(Shell shell) {
  static constexpr std::array<std::string_view, 3> kNames{"bash", "zsh", "fish"};
  return kNames[static_cast<std::size_t>(shell)];
}

std::string Completion(const CLI::App& app, Shell shell) {
  if (shell == Shell::kBash) return BashCompletion(app);
  return shell == Shell::kZsh ? ZshCompletion(app) : FishCompletion(app);
}

}  // namespace cli
