// A service that has nothing to do.
#include <windows.h>

#include <chrono>

#include "tests/unit/service/service_fixture.h"

namespace {

class ParkedService : public service_tests::ServiceTest {
 protected:
  struct Activity {
    std::uint64_t calls = 0;        ///< of the Windows API, by any thread
    std::uint64_t clock_steps = 0;  ///< one for each deadline that anybody had, that of this test too
    std::uint64_t happenings = 0;   ///< in the journal
  };
  Activity During(Millis time) {
    tablet::Scheduler& scheduler = machine().scheduler();
    std::uint64_t const calls = scheduler.calls();
    std::size_t const happenings = machine().journal().events().size();
    Activity activity;
    scheduler.OnTick([&] { ++activity.clock_steps; });
    scheduler.Sleep(time);
    scheduler.OnTick(nullptr);
    activity.calls = scheduler.calls() - calls;
    activity.happenings = machine().journal().events().size() - happenings;
    return activity;
  }
};

TEST_F(ParkedService, WakesZeroTimesInADay) {
  Start();
  // Long enough for every start-up; a thread that polls does not come to rest.
  machine().scheduler().Sleep(std::chrono::minutes{5});
  ASSERT_EQ(LastStatus().state, "RUNNING");
  Activity const day = During(std::chrono::hours{24});
  EXPECT_EQ(day.calls, 0u);
  EXPECT_EQ(day.clock_steps, 1u) << "a thread of the service had a deadline of its own";
  EXPECT_EQ(day.happenings, 0u);
  EXPECT_EQ(LastStatus().state, "RUNNING");
}

TEST_F(ParkedService, AServiceThatWaitsForItsPartnerIsSeenAtWork) {
  tablet::Description description = DefaultDescription();
  description.partner.starting = {.duration = std::chrono::minutes{1},
                                  .check_point_every = std::chrono::seconds{1},
                                  .wait_hint = 20'000,
                                  .ends_in = tablet::kServiceRunning,
                                  .exit_code = 0,
                                  .end_wait_hint = 0};
  PowerOnDeployed(description);
  Start();
  Activity const minute = During(std::chrono::minutes{1});
  EXPECT_GT(minute.calls, 10u);
  EXPECT_GT(minute.clock_steps, 10u);
}

}  // namespace
