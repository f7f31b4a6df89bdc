// Plays the verbs of a story on a tablet of its own.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/story/story_file.h"

namespace cli {

/// What happened under each verb, in their order. Each run of the tablet runs in a process of its own, since the
/// service keeps process-wide state; the tablet's folder carries everything else from one to the next.
/// Throws InputError for a verb that cannot be done, with its place.
std::vector<std::vector<std::string>> PlayStory(const Story& story);

}  // namespace cli
