#include "sim/tablet/system/failure_actions.h"

#include <algorithm>

namespace tablet {

namespace {
constexpr std::uint32_t kNeverReset = UINT32_MAX;  // Windows' INFINITE
}

const FailureAction* FailureActions::ForFailure(std::size_t count) const {
  if (actions.empty() || count == 0) return nullptr;
  return &actions[std::min(count, actions.size()) - 1];
}

std::size_t FailureCount::Add(Millis now, std::uint32_t reset_seconds) {
  bool const quiet = reset_seconds != kNeverReset && now - last_ > std::chrono::seconds(reset_seconds);
  count_ = quiet ? 1 : count_ + 1;
  last_ = now;
  return count_;
}

}  // namespace tablet
