// How the program ends.
#pragma once

#include <stdexcept>
#include <string>

namespace cli {

enum ExitCode : int {
  kDone = 0,
  kOperationFailed = 1,
  kUsage = 2,
  kBadInput = 3,       ///< bad or missing
  kServiceFailed = 4,  ///< ended with an error code, died or hung
  kNotAsExpected = 5,  ///< an expectation was not met
  kLimitReached = 6,   ///< of time or steps
  kInterrupted = 130,  ///< by a signal, as shells have it
};

struct ExitCodeText {
  int code;
  const char* means;
};

/// For --help and the manual page.
inline constexpr ExitCodeText kExitCodes[] = {
    {kDone, "done, and nothing to complain of"},
    {kOperationFailed, "the operation failed, or standard output could not be written"},
    {kUsage, "the command line is wrong"},
    {kBadInput, "the input is bad or missing"},
    {kServiceFailed, "the service ended with an error code, died or hung"},
    {kNotAsExpected, "an expectation was not met: a warning, a difference"},
    {kLimitReached, "a limit of time or calls was reached"},
    {kInterrupted, "ended by a signal"},
};

/// The command line is wrong; the message says how to go on.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace cli
