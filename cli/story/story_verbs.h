// What the verbs of a story say: their words taken apart, and what those do that act between two runs.
#pragma once

#include <filesystem>
#include <string>
#include <utility>

#include "cli/story/story_file.h"
#include "sim/tablet/machine/timeline.h"

namespace cli {

/// Throws InputError with the place of a part of the verb: "LINE:COLUMN: WORD".
[[noreturn]] void Refuse(const StoryVerb& verb, const std::string& problem, const std::string& next,
                         std::string_view part = {});

/// Rest of a verb as a first word and what follows.
std::pair<std::string, std::string> Split(const std::string& rest);

/// Rest of a verb as a path, quoted where it holds blanks, and what follows.
std::pair<std::string, std::string> SplitPath(const StoryVerb& verb);

/// The machine event of a verb; devices may name their class after the link.
tablet::TimelineEvent EventOf(const StoryVerb& verb);

/// Whether the verb acts on a powered-on tablet; each "boot" begins another run.
bool BelongsToRun(const StoryVerb& verb);

/// Does a verb that belongs to no run: "tablet", "bundle", "set", "registry", "firmware". Paths in it are relative to
/// `base`.
void DoSetUp(const StoryVerb& verb, const std::filesystem::path& folder, const std::filesystem::path& base);

}  // namespace cli
