// The named sample tablets.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string_view>

namespace cli {

struct Sample {
  std::string_view name;
  std::string_view shows;  ///< one line for people
};

std::span<const Sample> Samples();

/// Told of each archive that is being made: its name, how many are done, and how many there will be.
using OnArchive = std::function<void(std::string_view name, std::uint64_t done, std::uint64_t whole)>;

/// Makes the tablet folder of a sample. `small` makes its small variant of a few kilobytes. Throws InputError: the
/// sample is unknown, `folder` exists and is not an empty folder, or cannot be written; nothing remains then.
void MakeSample(std::string_view name, bool small, const std::filesystem::path& folder,
                const OnArchive& on_archive = {});

}  // namespace cli
