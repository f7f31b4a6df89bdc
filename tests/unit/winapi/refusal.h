// What the stand-in says when it is asked for something that it does not model.
#pragma once

#include <functional>
#include <string>

#include "sim/tablet/machine/tablet.h"

namespace testing_support {

/// Runs `body` as a process of its own, which the refusal ends together with the run; the refusal's text, or an empty
/// one when nothing was refused. The tablet is good for nothing else afterwards: power on again.
inline std::string RefusalOf(tablet::Tablet& machine, std::function<void()> body) {
  machine.scheduler().Start(1, "refused", std::move(body));
  machine.scheduler().Wait(tablet::kForever, [] { return false; });
  return machine.scheduler().halted() ? machine.scheduler().halted()->message : std::string();
}

}  // namespace testing_support

using testing_support::RefusalOf;
