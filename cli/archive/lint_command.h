// vantord-tablet lint: what the service would do with archives.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <vector>

#include "cli/base/console.h"

namespace cli {

struct LintOptions {
  std::vector<std::filesystem::path> archives;
  std::optional<std::filesystem::path> tablet;
  std::chrono::milliseconds time_out{10'000};
  bool json = false;
};

/// Returns the exit code: kNotAsExpected unless every archive would be deployed without a warning. Throws InputError.
int LintArchives(const LintOptions& options, Console& console);

}  // namespace cli
