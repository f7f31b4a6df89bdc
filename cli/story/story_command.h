// vantord-tablet story: plays stories, compares or records.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "cli/base/console.h"

namespace cli {

struct StoryOptions {
  std::vector<std::filesystem::path> files;
  std::optional<std::filesystem::path>
      new_of;  ///< writes a first story of this tablet, to the one file or to the output
  bool rewrite = false;
  bool force = false;  ///< replaces the report, or the new story
  bool json = false;
  std::optional<std::filesystem::path> junit;  ///< a report for build servers goes there
};

/// Plays every story, also after one that cannot be played. Returns the exit code: kNotAsExpected when an output
/// differs from its recording, kBadInput when a story cannot be played. Throws InputError for a report that cannot be
/// written.
int PlayStories(const StoryOptions& options, Console& console);

}  // namespace cli
