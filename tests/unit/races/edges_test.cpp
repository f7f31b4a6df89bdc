// Whether races are found although simulated threads run one at a time, and whether what Windows promises orders them.
#include "tests/unit/races/race_fixture.h"

#include <atomic>

namespace {

/// A step of the caller at which other threads run, as in nearly every function of the service.
void Call() { ::GetFileAttributesW(TEXT("C:\\nothing")); }

class Races : public race_tests::RaceTest {
 protected:
  int shared_ = 0;
  std::atomic<int> flag_{0};
};

TEST_F(Races, TwoThreadsThatWriteOneIntegerBetweenCallsAreFound) {
  auto const write = [this] {
    Call();
    ++shared_;
    Call();
  };
  EXPECT_EQ(RacesOf({write, write}), 1);
  EXPECT_EQ(shared_, 2);
}

TEST_F(Races, AnAtomicIntegerIsClean) {
  auto const write = [this] {
    Call();
    ++flag_;
    Call();
  };
  EXPECT_EQ(RacesOf({write, write}), 0);
  EXPECT_EQ(flag_, 2);
}

TEST_F(Races, AnAtomicFlagHandsOver) {
  EXPECT_EQ(RacesOf({[this] {
                       shared_ = 1;
                       flag_ = 1;
                     },
                     [this] {
                       while (flag_ == 0) ::Sleep(10);
                       ++shared_;
                     }}),
            0);
  EXPECT_EQ(shared_, 2);
}

TEST_F(Races, ARelaxedFlagIsNoSynchronisation) {
  EXPECT_EQ(RacesOf({[this] {
                       shared_ = 1;
                       flag_.store(1, std::memory_order_relaxed);
                     },
                     [this] {
                       while (flag_.load(std::memory_order_relaxed) == 0) ::Sleep(10);
                       ++shared_;
                     }}),
            1);
}

TEST_F(Races, TimeOrdersNothing) {
  EXPECT_EQ(RacesOf({[this] { shared_ = 1; },
                     [this] {
                       ::Sleep(60'000);
                       ++shared_;
                     }}),
            1);
}

TEST_F(Races, AnEventHandsOver) {
  HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(RacesOf({[&] {
                       ::Sleep(10);
                       shared_ = 1;
                       ::SetEvent(event);
                     },
                     [&] {
                       EXPECT_EQ(::WaitForSingleObject(event, INFINITE), DWORD{WAIT_OBJECT_0});
                       ++shared_;
                     }}),
            0);
  EXPECT_EQ(shared_, 2);
}

TEST_F(Races, WhatFollowsTheSettingOfAnEventIsNotHandedOver) {
  HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(RacesOf({[&] {
                       ::SetEvent(event);
                       shared_ = 1;
                     },
                     [&] {
                       ::Sleep(10);
                       EXPECT_EQ(::WaitForSingleObject(event, INFINITE), DWORD{WAIT_OBJECT_0});
                       ++shared_;
                     }}),
            1);
}

TEST_F(Races, AWaitThatTimesOutOrdersNothing) {
  HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(RacesOf({[&] {
                       ::Sleep(50);
                       shared_ = 1;
                       ::Sleep(100);
                       ::SetEvent(event);
                     },
                     [&] {
                       EXPECT_EQ(::WaitForSingleObject(event, 100), DWORD{WAIT_TIMEOUT});
                       ++shared_;
                     }}),
            1);
}

TEST_F(Races, AWorkItemComesBehindWhatItsQueuerDidBefore) {
  auto const work = [](void* context) -> DWORD { return static_cast<DWORD>(++*static_cast<int*>(context)); };
  EXPECT_EQ(RacesOf({[&] {
              shared_ = 1;
              ::QueueUserWorkItem(work, &shared_, WT_EXECUTELONGFUNCTION);
            }}),
            0);
  EXPECT_EQ(shared_, 2);
}

TEST_F(Races, AWorkItemDoesNotComeBehindWhatItsQueuerDoesLater) {
  auto const work = [](void* context) -> DWORD { return static_cast<DWORD>(++*static_cast<int*>(context)); };
  EXPECT_EQ(RacesOf({[&] {
              ::QueueUserWorkItem(work, &shared_, WT_EXECUTELONGFUNCTION);
              shared_ = 1;
            }}),
            1);
}

TEST_F(Races, AThreadThatMovesTheClockIsNotOrderedBeforeThoseThatThenBegin) {
  auto const& scheduler = machine().scheduler();
  machine().scheduler().At(scheduler.Now() + tablet::Millis{50},
                           [this] { machine().scheduler().Start(1, "late", [this] { ++shared_; }); });
  EXPECT_EQ(RacesOf({[this] {
              shared_ = 1;
              ::Sleep(100);
            }}),
            1);
}

TEST_F(Races, ALaterProcessComesBehindAnEarlierOne) {
  static int variable;
  for (tablet::ProcessId process : {1u, 2u}) {
    machine().scheduler().Start(process, "main", [] { ++variable; });
    Settle();
  }
  EXPECT_EQ(races(), 0);
}

}  // namespace
