#include "cli/base/watchdog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace {

using std::chrono::milliseconds;

TEST(Watchdog, TellsAgainAfterThePatienceAgainAsLongAsNothingMoves) {
  std::vector<milliseconds> told;
  std::atomic<bool> enough = false;
  {
    cli::Watchdog const watchdog([] { return 7; }, milliseconds{3},
                                 [&](milliseconds still) {
                                   if (told.size() < 3) told.push_back(still);
                                   enough = told.size() == 3;
                                 });
    // It is processor time that counts: somebody has to use some.
    while (!enough) {
    }
  }
  EXPECT_THAT(told, testing::ElementsAre(milliseconds{3}, milliseconds{6}, milliseconds{9}));
}

TEST(Watchdog, CountsFromTheBeginningOnceSomethingHasMoved) {
  std::vector<milliseconds> told;
  std::atomic<std::uint64_t> beats = 0;
  std::atomic<bool> enough = false;
  {
    cli::Watchdog const watchdog([&] { return beats.load(); }, milliseconds{3},
                                 [&](milliseconds still) {
                                   if (told.size() < 3) told.push_back(still);
                                   enough = told.size() == 3;
                                   ++beats;
                                 });
    while (!enough) {
    }
  }
  EXPECT_THAT(told, testing::Each(milliseconds{3}));
}

}  // namespace
