// A stop against a start-up that is still at work, in a thousand orders of who runs next.
#include <windows.h>

#include <fmt/format.h>
#include <sched.h>

#include <cstdint>

#include "tests/unit/service/service_fixture.h"

namespace {

/// Keeps the test on one processor while it runs: the baton of simulated threads goes round many times faster there.
class OneProcessor {
 public:
  OneProcessor() {
    ::sched_getaffinity(0, sizeof before_, &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(::sched_getcpu(), &one);
    ::sched_setaffinity(0, sizeof one, &one);
  }
  ~OneProcessor() { ::sched_setaffinity(0, sizeof before_, &before_); }
  OneProcessor(const OneProcessor&) = delete;
  OneProcessor& operator=(const OneProcessor&) = delete;

 private:
  cpu_set_t before_{};
};

class Schedules : public service_tests::ServiceTest {
 protected:
  /// A run in which the stop comes in the midst of the start-up, a display event and a device beside it.
  void Live(std::uint64_t seed) {
    tablet::Description description = DefaultDescription();
    description.partner.starting = {.duration = Millis{5500},
                                    .check_point_every = Millis{0},
                                    .wait_hint = 20'000,
                                    .ends_in = tablet::kServiceRunning,
                                    .exit_code = 0,
                                    .end_wait_hint = 0};
    description.radio.failing_attempts = static_cast<std::uint32_t>(seed % 3);
    description.radio.answer_after = Millis{700};
    description.radio.notifications = 1;
    PowerOnDeployed(description, {.seed = seed});
    machine().journal().WantCalls(false);
    Start();
    tablet::Scheduler& scheduler = machine().scheduler();
    scheduler.Wait(tablet::kForever, [this] { return machine().services().status().state == tablet::kServiceRunning; });
    if (seed % 4 != 0) scheduler.Sleep(Millis{static_cast<int>(seed % 8) * 300});
    for (const char* word : {"suspend", seed % 2 == 0 ? "stop" : "preshutdown", "resume"}) {
      tablet::Happen(*tablet::MakeEvent(word, ""), machine());
    }
    tablet::Happen(*tablet::MakeEvent("display", "on"), machine());
    tablet::Happen(*tablet::MakeEvent("arrival", R"(\\?\USB#1)"), machine());
    Settle();
  }
};

TEST_F(Schedules, AStopDuringTheStartUpEndsInExactlyOneStoppedReport) {
  OneProcessor const here;
  for (std::uint64_t seed = 1; seed <= 1000; ++seed) {
    Live(seed);
    SCOPED_TRACE(fmt::format("seed {}", seed));
    ASSERT_FALSE(machine().scheduler().halted()) << machine().scheduler().halted()->message;
    ASSERT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "STOP_PENDING", "STOPPED"));
    ASSERT_TRUE(machine().services().ended().has_value());
    ASSERT_FALSE(machine().services().ended()->died) << machine().services().ended()->reason;
    ASSERT_EQ(machine().services().ended()->exit_code, 0);
    ASSERT_EQ(machine().partner().Status().state, tablet::kServiceRunning) << "the start-up was waited for";
    ASSERT_EQ(machine().notifications().device_registrations(), 0u);
    ASSERT_EQ(machine().radio().releases(), 1u);
  }
}

}  // namespace
