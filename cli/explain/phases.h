// How long the parts of a start took, by the messages at their ends.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "sim/tablet/kernel/journal.h"

namespace cli {

struct Phase {
  std::string_view name;
  tablet::Millis from{0};
  std::optional<tablet::Millis> to;  ///< nothing: its end is not in the trace
};

class Phases {
 public:
  void Take(const tablet::TraceEvent& message, tablet::Millis time);
  /// At the end of the start: a stop ends with the last message.
  void Finish(tablet::Millis last);

  /// In the order in which they began.
  const std::vector<Phase>& all() const { return all_; }

 private:
  void Begin(std::string_view name, tablet::Millis time);
  void End(std::string_view name, tablet::Millis time);
  void TakeBound(const tablet::TraceEvent& message, tablet::Millis time);

  std::vector<Phase> all_;
  std::size_t extractions_ = 0;
};

}  // namespace cli
