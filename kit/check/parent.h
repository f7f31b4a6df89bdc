// Runs tests in child processes, which a test may end or hang.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kit/result/result.h"

namespace kit {

/// Runs these tests, in order, and adds their outcomes and answers to `result`. `progress` is called with each step
/// that has ended. Bounded in time: each test ends after its limit, and so does a child that does nothing.
void RunTests(const std::vector<std::string>& tests, Result& result, const std::function<void(const Step&)>& progress);

/// Ends the child that runs and waits until it has, from any thread.
void EndChild();

}  // namespace kit
