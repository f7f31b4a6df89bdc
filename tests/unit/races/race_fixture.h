// Simulated threads under ThreadSanitizer, whose findings are counted instead of ending the test program.
#pragma once

#include <windows.h>

#include <functional>

#include "tests/unit/service/service_fixture.h"

namespace race_tests {

/// Races that ThreadSanitizer reported in this process so far.
int RacesFound();

class RaceTest : public service_tests::ServiceTest {
 protected:
  /// Runs the bodies as threads of one process until everything rests; returns the number of races found.
  int RacesOf(const std::vector<std::function<void()>>& bodies) {
    for (const auto& body : bodies) machine().scheduler().Start(1, "thread", body);
    Settle();
    return races();
  }
  /// Races found in this test.
  int races() const { return RacesFound() - before_; }

 private:
  int const before_ = RacesFound();
};

}  // namespace race_tests
