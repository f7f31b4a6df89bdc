// What the service manager does when a service's process dies: its configured failure actions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

struct FailureAction {
  std::uint32_t type = 0;   ///< 0 none, 1 restart the service, 2 reboot, 3 run a command
  std::uint32_t delay = 0;  ///< milliseconds
  bool operator==(const FailureAction&) const = default;
};

struct FailureActions {
  std::uint32_t reset_seconds = 0;  ///< time without failure after which the count starts anew
  std::u16string reboot_message;
  std::u16string command;
  std::vector<FailureAction> actions;
  bool operator==(const FailureActions&) const = default;

  /// The action for the `count`-th failure (from 1): the last one repeats. Null without actions.
  const FailureAction* ForFailure(std::size_t count) const;
};

/// Counts failures as the service manager does: anew after a period without one.
class FailureCount {
 public:
  /// One more failure, now. Returns its number since the count last started.
  std::size_t Add(Millis now, std::uint32_t reset_seconds);

 private:
  std::size_t count_ = 0;
  Millis last_{0};
};

}  // namespace tablet
