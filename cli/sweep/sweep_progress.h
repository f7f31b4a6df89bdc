// The answers of a sweep's runs in a file, so that a sweep that was interrupted can go on.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <vector>

#include "cli/sweep/sweep_plan.h"

namespace cli {

class SweepProgress {
 public:
  /// Reads `file`, or makes it. Throws InputError for a file that does not belong to these tasks and calls.
  SweepProgress(const std::filesystem::path& file, const std::vector<KnownCall>& calls,
                const std::vector<SweepTask>& tasks);

  /// By task: what is known already.
  const std::map<std::size_t, nlohmann::json>& known() const { return known_; }
  /// Adds the answer of a task.
  void Keep(std::size_t task, const nlohmann::json& answer);

 private:
  std::map<std::size_t, nlohmann::json> known_;
  std::ofstream out_;
};

}  // namespace cli
