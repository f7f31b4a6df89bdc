// Notices that the service polls without end: the same few calls repeated, nothing written, while no time passes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/tablet/kernel/journal.h"

namespace cli {

class LoopWatch {
 public:
  /// Told of each event in order. Returns a sentence that names the loop once it has turned for long enough.
  std::optional<std::string> See(const tablet::Event& event);

 private:
  std::string Describe(const tablet::Event& event) const;

  tablet::Millis time_{0};
  std::vector<tablet::CallEvent> different_;  ///< the calls of the loop, in order
  std::uint64_t calls_ = 0;                   ///< that were among them
};

}  // namespace cli
