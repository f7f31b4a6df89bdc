// `vantord-tablet run` in a process of its own: whatever becomes of the service there, its end is a document.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace cli {

struct ChildRun {
  nlohmann::ordered_json summary;  ///< what --json printed
  std::string summary_text;
  std::string events;  ///< JSON Lines, calls included
};

/// Runs `tablet` with these further arguments; `work` takes its files. Throws InputError when the run could not begin,
/// std::runtime_error when it ended without a summary.
ChildRun RunInChild(const std::filesystem::path& tablet, const std::vector<std::string>& arguments,
                    const std::filesystem::path& work);

/// This program: its name, its version, and a checksum that identifies the build.
nlohmann::ordered_json ProgramVersion();

}  // namespace cli
