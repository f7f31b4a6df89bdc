// A result of vantord-check: what a real Windows, or Wine, gave as answers. docs/schemas/kit-result.schema.json has the
// format.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace cli {

struct KitStep {
  std::string name;
  std::string outcome;  ///< "passed", "failed", "died", "timed out", "skipped", "not tried"
  std::vector<std::string> texts;
};

struct KitResult {
  std::string machine;
  std::string date;
  std::vector<KitStep> steps;
  std::map<std::string, std::string> answers;  ///< what was seen, by question
};

/// Reads the zip file that vantord-check wrote. Throws InputError.
KitResult ReadKitResult(const std::filesystem::path& file);

}  // namespace cli
