#include <atomic>

#include "tests/testing/tablet_fixture.h"

namespace {

using tablet::Wake;

class SchedulerTest : public testing_support::TabletTest {
 protected:
  tablet::Scheduler& scheduler() { return machine().scheduler(); }
};

TEST_F(SchedulerTest, SleepingCostsNoRealTimeAndMovesTheClockExactly) {
  scheduler().Sleep(Millis{130'000});
  EXPECT_EQ(scheduler().Now(), Millis{130'000});
}

TEST_F(SchedulerTest, AThreadRunsWhenTheOthersWaitAndSeesTheSameClock) {
  Millis seen{-1};
  scheduler().Start(1, "worker", [&] {
    scheduler().Sleep(Millis{500});
    seen = scheduler().Now();
  });
  EXPECT_EQ(seen, Millis{-1});
  scheduler().Sleep(Millis{1000});
  EXPECT_EQ(seen, Millis{500});
}

TEST_F(SchedulerTest, AWaitEndsByItsConditionBeforeItsDeadline) {
  bool flag = false;
  scheduler().Start(1, "setter", [&] {
    scheduler().Sleep(Millis{20});
    flag = true;
  });
  EXPECT_EQ(scheduler().WaitFor(Millis{100}, [&] { return flag; }), Wake::kReady);
  EXPECT_EQ(scheduler().Now(), Millis{20});
}

TEST_F(SchedulerTest, AWaitEndsAtItsDeadline) {
  EXPECT_EQ(scheduler().WaitFor(Millis{100}, [] { return false; }), Wake::kDeadline);
  EXPECT_EQ(scheduler().Now(), Millis{100});
}

TEST_F(SchedulerTest, TheMachineIsWokenWhenNothingCanHappenAnyMore) {
  scheduler().Start(1, "parked", [&] { scheduler().Wait(tablet::kForever, [] { return false; }); });
  EXPECT_EQ(scheduler().Wait(tablet::kForever, [] { return false; }), Wake::kStalled);
  EXPECT_TRUE(scheduler().IsProcessParked(1));
}

TEST_F(SchedulerTest, SeedZeroServesInTheOrderOfArrival) {
  std::string order;
  for (char name : {'a', 'b', 'c'}) {
    scheduler().Start(1, std::string(1, name), [&order, name, this] {
      order += name;
      scheduler().Yield();
      order += name;
    });
  }
  scheduler().Sleep(Millis{1});
  EXPECT_EQ(order, "aabbcc");
}

std::string OrderUnderSeed(tablet::Scheduler& scheduler) {
  std::string order;
  for (char name : {'a', 'b', 'c'}) {
    scheduler.Start(1, std::string(1, name), [&order, name, &scheduler] {
      for (int i = 0; i < 8; ++i) {
        order += name;
        scheduler.Yield();
      }
    });
  }
  scheduler.Sleep(Millis{1});
  return order;
}

TEST_F(SchedulerTest, ASeedGivesTheSameInterleavingEveryTimeAndAnotherSeedAnother) {
  PowerOn(DefaultDescription(), {.seed = 7});
  std::string const first = OrderUnderSeed(scheduler());
  PowerOn(DefaultDescription(), {.seed = 7});
  EXPECT_EQ(OrderUnderSeed(scheduler()), first);
  PowerOn(DefaultDescription(), {.seed = 8});
  EXPECT_NE(OrderUnderSeed(scheduler()), first);
}

TEST_F(SchedulerTest, AnActionThatIsCancelledDoesNotRun) {
  std::string log;
  std::uint64_t const first = scheduler().At(Millis{10}, [&] { log += "a"; });
  scheduler().At(Millis{20}, [&] { log += "b"; });
  scheduler().Cancel(first);
  scheduler().Cancel(0);
  scheduler().Sleep(Millis{30});
  EXPECT_EQ(log, "b");
}

TEST_F(SchedulerTest, ActionsRunAtTheirTimeInTheOrderTheyWereAskedFor) {
  std::string log;
  scheduler().At(Millis{20}, [&] { log += "b"; });
  scheduler().At(Millis{10}, [&] { log += "a"; });
  scheduler().At(Millis{20}, [&] { log += "c"; });
  scheduler().Sleep(Millis{15});
  EXPECT_EQ(log, "a");
  scheduler().Sleep(Millis{15});
  EXPECT_EQ(log, "abc");
}

TEST_F(SchedulerTest, AnExceptionThatLeavesAThreadEndsItsProcessWithNothingUnwound) {
  struct Witness {
    bool& unwound;
    ~Witness() { unwound = true; }
  };
  bool unwound = false;
  bool sibling_went_on = false;
  std::string why;
  scheduler().OnDeath([&](tablet::ProcessId process, const std::string&, const std::string& text) {
    EXPECT_EQ(process, 5u);
    why = text;
  });
  scheduler().Start(5, "sibling", [&] {
    scheduler().Sleep(Millis{50});
    sibling_went_on = true;
  });
  scheduler().Start(5, "thrower", [&] {
    Witness const witness{unwound};
    throw std::uint32_t{1117};
  });
  scheduler().Sleep(Millis{100});
  EXPECT_EQ(why, "an exception with Windows error code 1117");
  EXPECT_FALSE(sibling_went_on);
  EXPECT_FALSE(unwound);
  EXPECT_THAT(scheduler().LiveThreads(5), testing::IsEmpty());
}

TEST_F(SchedulerTest, ThePowerIsCutAtTheVeryCallThatWasNamed) {
  int made = 0;
  scheduler().CutPowerAt(scheduler().calls() + 7);
  scheduler().Start(1, "caller", [&] {
    for (;; ++made) scheduler().Yield("Sleep");
  });
  EXPECT_EQ(scheduler().WaitFor(Millis{10}, [] { return false; }), Wake::kStalled);
  EXPECT_EQ(made, 6);
  ASSERT_TRUE(scheduler().halted().has_value());
  EXPECT_EQ(scheduler().halted()->reason, tablet::Halt::Reason::kPowerCut);
  EXPECT_EQ(scheduler().halted()->message, "the power is cut at call 7, Sleep");
}

TEST_F(SchedulerTest, AThreadThatCallsAndNeverWaitsLetsTheOthersRunAfterTenThousandCalls) {
  int calls = 0;
  int seen = 0;
  std::atomic<bool> stop = false;
  scheduler().Start(1, "busy", [&] {
    for (; !stop; ++calls) scheduler().Yield();
  });
  scheduler().Start(1, "patient", [&] {
    seen = calls;
    stop = true;
  });
  scheduler().Sleep(Millis{10});
  EXPECT_TRUE(stop);
  EXPECT_NEAR(seen, 10'000, 1);
}

TEST_F(SchedulerTest, APollThatNeverWaitsHaltsTheRunByName) {
  PowerOn(DefaultDescription(), {.call_limit = 1000});
  scheduler().Start(1, "poller", [&] {
    for (;;) scheduler().Yield();
  });
  EXPECT_EQ(scheduler().WaitFor(Millis{10}, [] { return false; }), Wake::kStalled);
  ASSERT_TRUE(scheduler().halted().has_value());
  EXPECT_EQ(scheduler().halted()->reason, tablet::Halt::Reason::kCallLimit);
  EXPECT_THAT(scheduler().halted()->message, testing::HasSubstr("\"poller\" polls for ever"));
  EXPECT_EQ(scheduler().calls(), 1001u);
}

}  // namespace
