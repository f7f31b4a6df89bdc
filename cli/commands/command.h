// One command of vantord-tablet: its options, and what it does. A command is a file of this folder and a line in
// list.cpp.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/console.h"

namespace cli {

/// The program's first thread calls everything here: `Define` once, `Run` for the command that was typed.
class Command {
 public:
  virtual ~Command() = default;

  virtual std::string_view name() const = 0;
  /// Half a sentence for --help.
  virtual std::string about() const = 0;
  /// What people type most often, without the program's name; for --help and the manual page.
  virtual std::vector<std::string> examples() const = 0;
  /// Adds options and operands to `app`, which is the command's own.
  virtual void Define(CLI::App& app) = 0;
  /// Returns the exit code. Throws InputError for bad input and UsageError for options that do not fit.
  virtual int Run(Console& console) = 0;
};

/// Every command, in the order in which --help shows them.
std::vector<std::unique_ptr<Command>> MakeCommands();

}  // namespace cli
