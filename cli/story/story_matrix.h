// One story over several tablets that differ in one thing.
#pragma once

#include <string>
#include <vector>

#include "cli/story/story_file.h"

namespace cli {

struct Variation {
  std::string name;  ///< "code KOR"; empty for a story without a matrix
  Story story;       ///< without the verb "matrix"
};

/// "matrix code VZW KOR" gives a story for each sales code in firmware, "matrix id ..." for each image ID in the
/// registry; "none" takes it away. "$code" or "$id" in later verbs is the value. Throws InputError with file, line and
/// column.
std::vector<Variation> VariationsOf(const Story& story);

}  // namespace cli
