// The radio client of the service's end.
#include <windows.h>

#include <memory>

#include "tests/unit/service/service_fixture.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/modem/modem_qc.h"
#include "vantord/radio/ril_handler.h"

namespace {

using tablet::RadioDescription;

class RilHandler : public service_tests::ServiceTest {
 protected:
  void PowerOnWith(const RadioDescription& radio) {
    PowerOnDeployed(With([&](auto& description) { description.radio = radio; }));
  }
  std::vector<std::string> LinesAfter(std::size_t count) {
    std::vector<std::string> lines = formatted();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(count));
    return lines;
  }
  /// Connects, sends the command and waits; how long that took.
  Millis Request() {
    CRILHandler handler;
    EXPECT_TRUE(handler.Init());
    Millis const before = Now();
    handler.RequestShutdown();
    return Now() - before;
  }
  std::vector<std::string> CallNames() {
    std::vector<std::string> names;
    for (const tablet::Event& event : machine().journal().events()) {
      const auto* call = std::get_if<tablet::CallEvent>(&event.what);
      if (call != nullptr && call->name != "_vsnwprintf") names.push_back(call->name);
    }
    return names;
  }
};

TEST_F(RilHandler, ConnectsAtTheFirstAttempt) {
  CRILHandler handler;
  EXPECT_TRUE(handler.Init());
  EXPECT_THAT(
      formatted(),
      ElementsAre("CRILHandler::CRILHandler: (+)", "CRILHandler::CRILHandler: (-)", "CRILHandler::Init: (+)",
                  "CRILHandler::Init:33 : RIL_Initialize succeeded, hr = 0x00000000", "CRILHandler::Init: (-)"));
  auto const calls = machine().journal().Calls("RIL_Initialize");
  ASSERT_THAT(calls, SizeIs(1));
  EXPECT_EQ(calls[0].args, "1, classes=0xffffffff, \"Vantord\"");
  EXPECT_EQ(Now(), Millis{0});
}

TEST_F(RilHandler, TriesAgainASecondAfterEachFailure) {
  PowerOnWith({.failing_attempts = 3});
  CRILHandler handler;
  EXPECT_TRUE(handler.Init());
  EXPECT_EQ(machine().radio().attempts(), 4u);
  EXPECT_EQ(Times("Sleep", "1000"), 3u);
  EXPECT_EQ(Now(), Millis{3000});
}

TEST_F(RilHandler, SFalseIsASuccessOfEachCall) {
  for (const char* const call : {"RIL_Initialize", "RIL_RadioCommand", "RIL_Release"}) Inject(call, 1);
  EXPECT_EQ(Request(), Millis{0}) << "the command completes at once";
  EXPECT_THAT(formatted(), Contains("CRILHandler::Init:33 : RIL_Initialize succeeded, hr = 0x00000001"));
  EXPECT_EQ(machine().radio().attempts(), 1u);
  EXPECT_EQ(machine().radio().commands(), 1u);
  EXPECT_EQ(machine().radio().releases(), 1u);
  for (const char* const call : {"RIL_Initialize", "RIL_RadioCommand", "RIL_Release"}) {
    auto const made = machine().journal().Calls(call);
    ASSERT_THAT(made, SizeIs(1)) << call;
    EXPECT_EQ(made[0].result, "1") << call;
  }
}

TEST_F(RilHandler, ARadioThatIsNeverReachedIsTriedAHundredTimesAndPassedOverInSilence) {
  PowerOnWith({.failing_attempts = RadioDescription::kAlways});
  CModemQC modem;
  std::string const exit_event = machine().journal().Calls("CreateEventW").back().result;
  std::size_t const before = formatted().size();
  modem.Deinit(1);
  EXPECT_EQ(machine().journal().Calls("RIL_Initialize").size(), 100u);
  EXPECT_EQ(Times("Sleep", "1000"), 100u) << "the last failure is slept on, too";
  EXPECT_EQ(Now(), Millis{100'000});
  EXPECT_THAT(machine().journal().Calls("RIL_RadioCommand"), IsEmpty());
  EXPECT_THAT(machine().journal().Calls("RIL_Release"), IsEmpty());
  EXPECT_THAT(LinesAfter(before), ElementsAre("CRILHandler::CRILHandler: (+)", "CRILHandler::CRILHandler: (-)",
                                              "CRILHandler::Init: (+)", "CRILHandler::Init: (-)"));
  EXPECT_EQ(Times("SetEvent", exit_event), 1u) << "the modem's event is signalled all the same";
}

TEST_F(RilHandler, TheHundredthAttemptStillCounts) {
  PowerOnWith({.failing_attempts = 99});
  CRILHandler handler;
  EXPECT_TRUE(handler.Init());
}

TEST_F(RilHandler, SendsOneCommandAndWaitsForItsCompletion) {
  PowerOnWith({.answer_after = Millis{7000}});
  EXPECT_EQ(Request(), Millis{7000});
  auto const calls = machine().journal().Calls("RIL_RadioCommand");
  ASSERT_THAT(calls, SizeIs(1));
  EXPECT_THAT(calls[0].args, testing::EndsWith(", 1"));
  EXPECT_EQ(machine().radio().releases(), 1u);
}

TEST_F(RilHandler, ACompletionIsLoggedOnFourLines) {
  CRILHandler handler;
  handler.Init();
  std::size_t const before = formatted().size();
  handler.RequestShutdown();
  Settle();
  EXPECT_THAT(LinesAfter(before), ElementsAre("RCB: (+)", "CRILHandler::ResultCallback: (+)",
                                              "CRILHandler::ResultCallback: (-)", "RCB: (-)"));
}

TEST_F(RilHandler, ACompletionIsLoggedBeforeItEndsTheWait) {
  CRILHandler handler;
  handler.Init();
  handler.RequestShutdown();
  Settle();
  std::vector<std::string> steps;
  for (const tablet::Event& event : machine().journal().events()) {
    const auto* const call = std::get_if<tablet::CallEvent>(&event.what);
    if (call == nullptr) continue;
    if (call->name == "SetEvent") steps.push_back(call->name);
    if (call->args.starts_with("CRILHandler::ResultCallback")) steps.push_back(call->args);
  }
  EXPECT_THAT(steps, ElementsAre("CRILHandler::ResultCallback: (+)", "SetEvent", "CRILHandler::ResultCallback: (-)"));
}

TEST_F(RilHandler, ACompletionWithoutAContextDoesNothingButItsTwoLines) {
  PowerOnWith({.answers = 0, .answers_null_context = true});
  CRILHandler handler;
  handler.Init();
  std::size_t const before = formatted().size();
  handler.RequestShutdown();
  EXPECT_EQ(Now(), Millis{30'000}) << "it completes nothing";
  EXPECT_THAT(LinesAfter(before), ElementsAre("RCB: (+)", "RCB: (-)"));
}

TEST_F(RilHandler, NewsAreLoggedAndNothingElse) {
  PowerOnWith({.notifications = 1});
  CRILHandler handler;
  handler.Init();
  Settle();
  std::size_t const before = formatted().size() - 4;
  EXPECT_THAT(LinesAfter(before), ElementsAre("NCB: (+)", "CRILHandler::NotifyCallback: (+)",
                                              "CRILHandler::NotifyCallback: (-)", "NCB: (-)"));
  EXPECT_THAT(machine().journal().Calls("SetEvent"), IsEmpty());
}

TEST_F(RilHandler, NewsWithoutAContextLeaveTwoLines) {
  PowerOnWith({.notifications = 1, .notifications_null_context = true});
  CRILHandler handler;
  handler.Init();
  std::size_t const before = formatted().size();
  Settle();
  EXPECT_THAT(LinesAfter(before), ElementsAre("NCB: (+)", "NCB: (-)"));
}

TEST_F(RilHandler, ACommandThatNeverCompletesCostsHalfAMinute) {
  PowerOnWith({.answers = 0});
  EXPECT_EQ(Request(), Millis{30'000});
  EXPECT_EQ(machine().radio().releases(), 1u);
}

TEST_F(RilHandler, ACommandThatFailsIsWaitedForAllTheSame) {
  Inject("RIL_RadioCommand", ERROR_ACCESS_DENIED);
  EXPECT_EQ(Request(), Millis{30'000});
}

TEST_F(RilHandler, AnyCompletionEndsTheWaitWhateverItAnswers) {
  // The first command completes a second after its wait was given up.
  PowerOnWith({.answer_after = Millis{31'000}});
  CRILHandler handler;
  handler.Init();
  handler.RequestShutdown();
  Inject("RIL_RadioCommand", ERROR_ACCESS_DENIED);
  handler.RequestShutdown();
  EXPECT_EQ(Now(), Millis{31'000});
}

TEST_F(RilHandler, ReleasesOnlyWhatItConnected) {
  { CRILHandler const handler; }
  EXPECT_EQ(machine().radio().releases(), 0u);
  {
    CRILHandler handler;
    handler.Init();
  }
  EXPECT_EQ(machine().radio().releases(), 1u);
}

TEST_F(RilHandler, SignalsTheModemsEventBeforeItDisconnects) {
  CModemQC modem;
  std::size_t const before = CallNames().size();
  modem.Deinit(0);
  std::vector<std::string> names = CallNames();
  names.erase(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(before));
  std::erase(names, "TraceMessage");
  EXPECT_THAT(names, ElementsAre("CreateEventW", "RIL_Initialize", "RIL_RadioCommand", "SetEvent",
                                 "WaitForSingleObject", "SetEvent", "RIL_Release", "CloseHandle"));
}

TEST_F(RilHandler, AStopOfTheServiceOutlastsARadioOutOfReach) {
  PowerOnWith({.failing_attempts = RadioDescription::kAlways});
  Boot();
  Stop();
  EXPECT_EQ(LastStatus().state, "STOPPED");
  EXPECT_EQ(Now(), Millis{102'000});
}

}  // namespace
