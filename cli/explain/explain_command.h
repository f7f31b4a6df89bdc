// vantord-tablet explain: what a trace of a real tablet shows.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "cli/base/console.h"

namespace cli {

struct ExplainOptions {
  std::filesystem::path file;                   ///< "-": standard input
  std::optional<std::string> prefix;            ///< the value of TRACE_FORMAT_PREFIX
  std::optional<std::filesystem::path> report;  ///< a page of HTML
  std::optional<std::filesystem::path> trace;   ///< a file in the Trace Event Format
  bool force = false;                           ///< these files replace others
  std::optional<std::filesystem::path> tablet;  ///< compares with a run of it
  std::optional<std::size_t> start;             ///< which start these show; nothing: the last that failed, or the last
  bool json = false;
  bool quiet = false;    ///< the summaries only
  bool verbose = false;  ///< every message
};

/// Returns the exit code: kNotAsExpected when a start in the trace failed or did something else than the tablet's run.
/// Throws InputError for what is not a trace and UsageError for a prefix that is not understood.
int Explain(const ExplainOptions& options, Console& console);

}  // namespace cli
