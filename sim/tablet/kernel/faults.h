// Faults: calls of the Windows API that fail on demand. A fault is data: which call, which of its occurrences, which
// error.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/base/win_error.h"

namespace tablet {

struct Fault {
  static constexpr std::uint32_t kEvery = UINT32_MAX;

  std::string call;              ///< the call's Windows name
  WinError error = 0;            ///< what it fails with: last error, status or configuration manager code
  std::uint32_t first = 1;       ///< the first occurrence that fails, counted from 1 since the fault was added
  std::uint32_t count = kEvery;  ///< how many occurrences fail from there on
};

class Faults {
 public:
  void Add(Fault fault) { faults_.push_back({.fault = std::move(fault)}); }
  void Clear() { faults_.clear(); }

  /// Counts one occurrence of `call` and returns the error it must fail with, or 0. The fault added first wins.
  WinError Ask(std::string_view call) { return AsksNothing() ? 0 : AskEach(call); }
  /// No call is counted, and none fails.
  bool AsksNothing() const { return !on_ask && faults_.empty(); }

  /// A fault and how often it occurred.
  struct Counted {
    Fault fault;
    std::uint32_t seen = 0;  ///< occurrences of its call since it was added
    std::uint32_t hits = 0;  ///< how many of them failed by it
  };
  const std::vector<Counted>& all() const { return faults_; }
  /// The calls of faults that never occurred.
  std::vector<std::string> Unused() const;

  /// Called for every occurrence of a call, before it fails or not.
  std::function<void(std::string_view call)> on_ask;
  /// Called when a fault occurs for the first time.
  std::function<void(const Counted&)> on_first_hit;

 private:
  WinError AskEach(std::string_view call);

  std::vector<Counted> faults_;
};

}  // namespace tablet
