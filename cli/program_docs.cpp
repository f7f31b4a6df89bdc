#include "cli/program_docs.h"

#include <fmt/format.h>

#include <vector>

namespace cli {

namespace {

using Options = std::vector<const CLI::Option*>;

std::vector<const CLI::App*> Commands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

Options NamedOptions(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) { return option->nonpositional(); });
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

constexpr const char* kManEnd =
    R"(.SH EXIT STATUS
.TP
0
done, and nothing to complain of
.TP
1
the operation failed
.TP
2
the command line is wrong
.TP
3
the input is bad or missing
.TP
4
the service ended with an error code, died or hung
.TP
5
an expectation was not met
.TP
6
a limit of time or steps was reached
.TP
130
ended by a signal
.SH ENVIRONMENT
.TP
.B NO_COLOR
when set to anything, nothing is coloured
.TP
.B TMPDIR
where runs work on their copy of a tablet's drive
)";

/// One branch of a bash case: what can follow the command's name.
std::string CompletionCase(const CLI::App& command) {
  std::string all;
  std::string with_value;
  for (const CLI::Option* option : NamedOptions(command)) {
    for (const std::string& name : NamesOf(*option)) {
      all += fmt::format("{}{}", all.empty() ? "" : " ", name);
      if (TakesValue(*option)) with_value += fmt::format("{}{}", with_value.empty() ? "" : " ", name);
    }
  }
  return fmt::format("    {})\n      options='{}'\n      with_value='{}'\n      ;;\n", command.get_name(), all,
                     with_value);
}

constexpr const char* kCompletionEnd =
    R"(  esac
  # What follows an option that takes a value is most often a file or a number: bash's own completion does the first.
  if [[ " $with_value " == *" $previous "* ]]; then
    COMPREPLY=($(compgen -f -- "$word"))
  elif [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$word"))
  elif [[ $COMP_CWORD -eq 1 ]]; then
    COMPREPLY=($(compgen -W "$commands" -- "$word"))
  else
    COMPREPLY=($(compgen -f -- "$word"))
  fi
}
complete -o filenames -F _vantord_tablet vantord-tablet
)";

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
  }
  return page + kManEnd;
}

std::string BashCompletion(const CLI::App& app) {
  std::string names;
  std::string cases;
  for (const CLI::App* command : Commands(app)) {
    names += fmt::format("{}{}", names.empty() ? "" : " ", command->get_name());
    cases += CompletionCase(*command);
  }
  std::string own;
  for (const CLI::Option* option : NamedOptions(app)) {
    for (const std::string& name : NamesOf(*option)) own += fmt::format("{}{}", own.empty() ? "" : " ", name);
  }
  return fmt::format(
             "# Completion of vantord-tablet for bash, made by vantord-tablet --bash-completion.\n"
             "_vantord_tablet() {{\n"
             "  local word=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}\n"
             "  local commands='{}' options='{}' with_value=''\n"
             "  case ${{COMP_WORDS[1]}} in\n{}",
             names, own, cases) +
         kCompletionEnd;
}

}  // namespace cli
