// vantord-tablet story: plays stories, compares or records.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "cli/base/console.h"

namespace cli {

struct StoryOptions {
  std::vector<std::filesystem::path> files;
  bool rewrite = false;
  bool json = false;
  std::optional<std::filesystem::path> junit;  ///< a report for build servers goes there
};

/// Answers the exit code: kNotAsExpected when a story tells something else than it records. Throws InputError.
int PlayStories(const StoryOptions& options, Console& console);

}  // namespace cli
