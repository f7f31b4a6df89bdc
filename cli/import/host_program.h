// Another program of the host at work.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

struct ProgramEnd {
  int exit_code = 0;   ///< 127: there is no such program; 128 + N: ended by signal N
  std::string errors;  ///< the last lines of its standard error
};

/// Runs a program from the search path until it ends. `on_line` gets each line of its standard output. It gets nothing
/// to read, and texts as UTF-8. Throws std::runtime_error when no process can be made.
ProgramEnd RunHostProgram(const std::vector<std::string>& words, const std::function<void(std::string_view)>& on_line);

}  // namespace cli
