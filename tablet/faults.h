// Faults: calls of the Windows API that fail on demand. What must survive any of them is the service's business; a
// fault is data: which call, which of its occurrences, which error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tablet/win_error.h"

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
  void Add(Fault fault) { faults_.push_back({std::move(fault), 0}); }
  void Clear() { faults_.clear(); }

  /// Counts one occurrence of `call` and answers the error it must fail with, or 0. The fault added first wins.
  WinError Ask(std::string_view call);

  /// The calls of faults that never came to pass.
  std::vector<std::string> Unused() const;

 private:
  struct Counted {
    Fault fault;
    std::uint32_t seen;
  };
  std::vector<Counted> faults_;
};

}  // namespace tablet
