// How far a check is, and how long it will still take.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/base/console.h"

namespace cli {

class CheckProgress {
 public:
  /// `bytes`: of each trial, which say what part of the work it is.
  CheckProgress(Console& console, std::string tablet, std::vector<std::uint64_t> bytes);

  void Done(std::size_t trial);

 private:
  Console& console_;
  std::string tablet_;
  std::vector<std::uint64_t> weights_;
  std::chrono::steady_clock::time_point begun_;
  std::uint64_t whole_ = 0;
  std::uint64_t done_ = 0;
  std::size_t finished_ = 0;
};

}  // namespace cli
