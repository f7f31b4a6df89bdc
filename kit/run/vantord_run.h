// One run of Vantord itself on a test device.
#pragma once

#include <vector>

#include "kit/result/result.h"

namespace kit {

/// What --run does, for the person who is asked.
inline constexpr const char* kRunPlan =
    "This installs Vantord itself on this test device, starts it, stops it, records its trace, and removes it again. It\n"
    "takes up to three minutes. The registry's values of modems are put back as they were.";

/// Installs, starts and stops Vantord, and returns what happened: statuses as the service manager shows them, messages,
/// changed values and files. BeginRun was called; UndoRun is the caller's.
std::vector<Fact> RunVantord();

}  // namespace kit
