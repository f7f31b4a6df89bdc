// vantord-tablet world: a real machine's answers, compared with what the stand-in for Windows does.
#pragma once

#include <filesystem>

#include "cli/base/console.h"

namespace cli {

struct WorldOptions {
  std::filesystem::path file;
  std::filesystem::path page;  ///< to write the answers into; empty: none
  bool all = false;            ///< also print what agrees
  bool json = false;
};

/// Returns the exit code: kNotAsExpected for an answer that differs or a test that found something unexpected. Throws
/// InputError.
int CompareWorld(const WorldOptions& options, Console& console);

}  // namespace cli
