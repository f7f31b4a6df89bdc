// The named sample tablets.
#pragma once

#include <filesystem>
#include <span>
#include <string_view>

namespace cli {

struct Sample {
  std::string_view name;
  std::string_view shows;  ///< one line for people
};

std::span<const Sample> Samples();

/// Makes the tablet folder of a sample. `small` makes its small variant of a few kilobytes. Throws InputError: the
/// sample is unknown, `folder` exists and is not an empty folder, or cannot be written; nothing remains then.
void MakeSample(std::string_view name, bool small, const std::filesystem::path& folder);

}  // namespace cli
