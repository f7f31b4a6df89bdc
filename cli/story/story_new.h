// A first story of a tablet, from a run of it.
#pragma once

#include <filesystem>

#include "cli/story/story_file.h"

namespace cli {

/// A story of `tablet`, to be kept as `file`: it boots, is stopped, and the expectations are those that hold. Throws
/// InputError for a bad tablet.
Story NewStory(const std::filesystem::path& tablet, const std::filesystem::path& file);

}  // namespace cli
