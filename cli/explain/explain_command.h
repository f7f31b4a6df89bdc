// vantord-tablet explain: what a trace of a real tablet shows.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "cli/base/console.h"

namespace cli {

struct ExplainOptions {
  std::filesystem::path file;         ///< "-": standard input
  std::optional<std::string> prefix;  ///< the value of TRACE_FORMAT_PREFIX
  bool json = false;
  bool quiet = false;    ///< the summaries only
  bool verbose = false;  ///< every message
};

/// Returns the exit code: kNotAsExpected when a start in the trace failed. Throws InputError for what is no trace and
/// UsageError for a prefix that is not understood.
int Explain(const ExplainOptions& options, Console& console);

}  // namespace cli
