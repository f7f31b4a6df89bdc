// The partner service: started when the modem is ready, told of a suspend.
#include <windows.h>

#include "tests/unit/service/service_fixture.h"
#include "vantord/common/diagnostic_log.h"

namespace {

using tablet::PartnerDescription;

constexpr char kStart[] = "CVantord::StartServiceOEM";
constexpr char kSend[] = "CVantord::SendModemControlMessage";
constexpr Millis kLong{3'600'000};

class PartnerService : public service_tests::ServiceTest {
 protected:
  void PowerOnWith(const PartnerDescription& partner) {
    PowerOnDeployed(With([&](auto& description) { description.partner = partner; }));
  }
  void BootWith(const PartnerDescription& partner) {
    PowerOnWith(partner);
    Boot();
  }
  /// The lines of the start without the function's name; each ends with a line feed of its own.
  std::vector<std::string> StartLines() {
    std::vector<std::string> lines = LinesOf(kStart);
    for (std::string& line : lines) {
      EXPECT_EQ(line.back(), '\n') << line;
      line = line.substr(sizeof kStart, line.size() - sizeof kStart - 1);
    }
    return lines;
  }
  std::vector<std::string> SendLines() { return LinesOf(kSend); }
  std::size_t Starts() { return machine().journal().Calls("StartServiceW").size(); }
  std::uint32_t PartnerState() { return machine().partner().Status().state; }
  /// How long each sleep of the partner's start was, in milliseconds, as texts.
  std::vector<std::string> Steps() { return ArgumentsOf("Sleep"); }
};

// Starting it.

TEST_F(PartnerService, IsStartedAndFollowedUntilItRuns) {
  BootWith({.starting = {.duration = Millis{2500}, .wait_hint = 20'000, .ends_in = tablet::kServiceRunning}});
  EXPECT_THAT(StartLines(), ElementsAre("119 : Service start pending...", "91 : Service started successfully."));
  EXPECT_THAT(Steps(), ElementsAre("1000", "2000")) << "the first status is the service manager's, with a hint of 2 s";
  EXPECT_EQ(PartnerState(), tablet::kServiceRunning);
}

TEST_F(PartnerService, IsStartedOnlyAfterTheModemsStartUp) {
  Boot();
  EXPECT_LT(At("RegQueryValueExW", "AmssFwImagePath"), At("OpenServiceW", "Pelt"));
  EXPECT_EQ(Starts(), 1u);
}

TEST_F(PartnerService, IsLeftAloneWhenItRunsOrStartsOrPauses) {
  for (std::uint32_t state : {tablet::kServiceRunning, tablet::kServiceStartPending, tablet::kServicePaused}) {
    BootWith({.state = state, .starting = {.duration = kLong, .ends_in = tablet::kServiceRunning}});
    EXPECT_THAT(StartLines(), ElementsAre("110 : Cannot start the service because it is already running")) << state;
    EXPECT_EQ(Starts(), 0u) << state;
    Stop();
  }
}

TEST_F(PartnerService, StuckInItsStopIsGivenUpAfterItsWaitHint) {
  BootWith({.state = tablet::kServiceStopPending, .stopping = {.duration = kLong, .wait_hint = 5000}});
  EXPECT_THAT(StartLines(), ElementsAre("66 : Timeout waiting for service to stop"));
  EXPECT_THAT(Steps(), ElementsAre("1000", "1000", "1000", "1000", "1000", "1000"));
  EXPECT_EQ(Starts(), 0u);
}

TEST_F(PartnerService, AWaitHintOfZeroTimesOutAfterOneStepOfASecond) {
  BootWith({.state = tablet::kServiceStopPending, .stopping = {.duration = kLong}});
  EXPECT_THAT(StartLines(), ElementsAre("66 : Timeout waiting for service to stop"));
  EXPECT_THAT(Steps(), ElementsAre("1000"));
}

TEST_F(PartnerService, AWaitHintOfZeroGivesStepsOfASecond) {
  BootWith({.starting = {.duration = Millis{3500},
                         .check_point_every = Millis{500},
                         .wait_hint = 0,
                         .ends_in = tablet::kServiceRunning}});
  EXPECT_THAT(Steps(), ElementsAre("1000", "1000", "1000", "1000"));
  EXPECT_THAT(StartLines(), Contains("91 : Service started successfully."));
}

TEST_F(PartnerService, ALongWaitHintGivesStepsOfTenSeconds) {
  BootWith({.starting = {.duration = Millis{15'000}, .wait_hint = 200'000, .ends_in = tablet::kServiceRunning}});
  EXPECT_THAT(Steps(), ElementsAre("1000", "10000", "10000"));
}

TEST_F(PartnerService, ATenthOfTheWaitHintIsTheStepBetween) {
  BootWith({.starting = {.duration = Millis{4500}, .wait_hint = 47'890, .ends_in = tablet::kServiceRunning}});
  EXPECT_THAT(Steps(), ElementsAre("1000", "4789"));
}

TEST_F(PartnerService, AStopWithProgressIsWaitedForHoweverLongItTakes) {
  BootWith({.state = tablet::kServiceStopPending,
            .stopping = {
                .duration = Millis{9500}, .check_point_every = Millis{900}, .wait_hint = 1000, .end_wait_hint = 1000}});
  EXPECT_THAT(StartLines(), ElementsAre("119 : Service start pending...", "91 : Service started successfully."));
  EXPECT_EQ(Steps().size(), 10u);
}

TEST_F(PartnerService, AStopThatEndsWithoutAWaitHintCountsAsTimedOut) {
  // Its last status carries neither a check point nor a wait hint: no progress, and any time is longer than none.
  BootWith({.state = tablet::kServiceStopPending, .stopping = {.duration = Millis{500}, .wait_hint = 60'000}});
  EXPECT_THAT(StartLines(), ElementsAre("66 : Timeout waiting for service to stop"));
  EXPECT_EQ(Starts(), 0u);
}

TEST_F(PartnerService, AStartThatEndsInAnotherStateIsReportedInFiveLines) {
  BootWith({.starting = {.duration = Millis{500},
                         .check_point_every = Millis{100},
                         .wait_hint = 3000,
                         .ends_in = tablet::kServiceStopped,
                         .exit_code = 1067}});
  EXPECT_THAT(StartLines(),
              ElementsAre("119 : Service start pending...", "94 : Service not started. ", "95 :   Current State: 1",
                          "96 :   Exit Code: 1067", "97 :   Check Point: 0", "98 :   Wait Hint: 0"));
}

TEST_F(PartnerService, AStartWithoutProgressIsLeftWithoutAWord) {
  BootWith({.starting = {.duration = kLong, .wait_hint = 2000, .ends_in = tablet::kServiceRunning}});
  EXPECT_THAT(Steps(), ElementsAre("1000", "1000", "1000", "1000")) << "its first own status counts as progress";
  EXPECT_THAT(StartLines(),
              ElementsAre("119 : Service start pending...", "94 : Service not started. ", "95 :   Current State: 2",
                          "96 :   Exit Code: 0", "97 :   Check Point: 1", "98 :   Wait Hint: 2000"));
}

TEST_F(PartnerService, TheTickCountMayWrapWhileItsStartIsFollowed) {
  // 5 s before the count of milliseconds starts anew; the looks come at 1, 3, 5, 7 and 9 s.
  constexpr Millis kBeforeTheWrap{0x1'0000'0000 - 5000};
  PowerOnWith({.starting = {.duration = Millis{7500}, .wait_hint = 20'000, .ends_in = tablet::kServiceRunning}});
  machine().scheduler().Sleep(kBeforeTheWrap);
  Boot();
  EXPECT_THAT(StartLines(), ElementsAre("119 : Service start pending...", "91 : Service started successfully."));
  EXPECT_THAT(Steps(), ElementsAre("1000", "2000", "2000", "2000", "2000"));
}

// What can fail on the way.

TEST_F(PartnerService, WithoutRightsOnTheServiceManagerItIsNotStarted) {
  Inject("OpenSCManagerW", ERROR_ACCESS_DENIED, 2);
  Boot();
  EXPECT_THAT(StartLines(), ElementsAre("134 : OpenSCManager failed (5)"));
}

TEST_F(PartnerService, WhenItIsNotInstalledThatIsLogged) {
  BootWith({.present = false});
  EXPECT_THAT(StartLines(), ElementsAre("139 : OpenService failed (1060)"));
  EXPECT_EQ(machine().journal().Calls("CloseServiceHandle").size(), 3u);
}

TEST_F(PartnerService, WithoutItsStatusItIsNotStarted) {
  Inject("QueryServiceStatusEx", ERROR_ACCESS_DENIED);
  Boot();
  EXPECT_THAT(StartLines(), ElementsAre("104 : QueryServiceStatusEx failed (5)"));
  EXPECT_EQ(Starts(), 0u);
}

TEST_F(PartnerService, AStatusThatFailsDuringItsStopEndsTheWait) {
  PowerOnWith({.state = tablet::kServiceStopPending, .stopping = {.duration = kLong, .wait_hint = 60'000}});
  Inject("QueryServiceStatusEx", ERROR_ACCESS_DENIED, 2);
  Boot();
  EXPECT_THAT(StartLines(), ElementsAre("61 : QueryServiceStatusEx failed (5)"));
  EXPECT_EQ(Starts(), 0u);
}

TEST_F(PartnerService, ARefusedStartIsLogged) {
  BootWith({.start_error = 1058});
  EXPECT_THAT(StartLines(), ElementsAre("116 : StartService failed (1058)"));
}

TEST_F(PartnerService, AStatusThatFailsRightAfterTheStartEndsTheWait) {
  Inject("QueryServiceStatusEx", ERROR_ACCESS_DENIED, 2);
  Boot();
  EXPECT_THAT(StartLines(), ElementsAre("119 : Service start pending...", "121 : QueryServiceStatusEx failed (5)"));
}

TEST_F(PartnerService, AStatusThatFailsDuringItsStartLeavesTheLastGoodOne) {
  PowerOnWith({.starting = {.duration = kLong, .wait_hint = 60'000, .ends_in = tablet::kServiceRunning}});
  Inject("QueryServiceStatusEx", ERROR_ACCESS_DENIED, 3);
  Boot();
  EXPECT_THAT(StartLines(), ElementsAre("119 : Service start pending...", "80 : QueryServiceStatusEx failed (5)",
                                        "94 : Service not started. ", "95 :   Current State: 2", "96 :   Exit Code: 0",
                                        "97 :   Check Point: 0", "98 :   Wait Hint: 2000"));
}

TEST_F(PartnerService, AStopOfTheServiceWaitsForThePartnersStart) {
  PowerOnWith({.starting = {.duration = Millis{20'000}, .wait_hint = 200'000, .ends_in = tablet::kServiceRunning}});
  Start();
  machine().scheduler().Sleep(Millis{1000});
  Stop();
  EXPECT_EQ(Now(), Millis{21'000}) << "the worker is through at 20 s, the next look is at 21 s";
  EXPECT_EQ(LastStatus().state, "STOPPED");
}

// Telling it of a suspend.

TEST_F(PartnerService, TheBeginOfANoticeIsLoggedBeforeTheServiceManagerIsOpened) {
  Boot();
  std::ptrdiff_t const started = At("StartServiceW");
  Happen("suspend");
  EXPECT_LT(At("_vsnwprintf", "SendModemControlMessage: (+)"), At("OpenSCManagerW", "", started));
}

TEST_F(PartnerService, ASuspendNoticeIsLoggedInTheErrorZoneEvenWhenItArrives) {
  ASSERT_FALSE(DefaultDescription().serial_controls) << "it arrives where services are controlled independently";
  Boot();
  g_ulZoneMask = ZONE_ERROR;
  Happen("suspend");
  EXPECT_THAT(SendLines(), ElementsAre(std::string(kSend) + ":162 : ControlService Success w/err 0x00000000"));
  EXPECT_THAT(machine().partner().received(), testing::SizeIs(1));
}

TEST_F(PartnerService, WithSerialControlsASuspendNoticeFailsAfterHalfAMinute) {
  PowerOnDeployed(With([](auto& description) { description.serial_controls = true; }));
  Boot();
  Happen("suspend");
  EXPECT_EQ(Now(), Millis{30'000});
  EXPECT_THAT(SendLines(), Contains(std::string(kSend) + ":165 : ControlService Fail??? w/err 0x0000041d"));
  EXPECT_THAT(machine().partner().received(), IsEmpty());
}

TEST_F(PartnerService, ASuspendNoticeThatIsRefusedIsLogged) {
  BootWith({.control_error = 1052});
  Happen("suspend");
  EXPECT_THAT(SendLines(), ElementsAre(std::string(kSend) + ":165 : ControlService Fail??? w/err 0x0000041c"));
  EXPECT_THAT(machine().partner().received(), IsEmpty());
}

TEST_F(PartnerService, ASuspendNoticeWithoutRightsIsLogged) {
  Boot();
  Inject("OpenSCManagerW", ERROR_ACCESS_DENIED);
  Happen("suspend");
  EXPECT_THAT(SendLines(), ElementsAre(std::string(kSend) + ":149 : OpenSCManager failed w/err 0x00000005"));
}

TEST_F(PartnerService, ASuspendNoticeToNobodyIsLogged) {
  BootWith({.present = false});
  Happen("suspend");
  EXPECT_THAT(SendLines(), ElementsAre(std::string(kSend) + ":155 : OpenService failed w/err 0x00000424"));
  EXPECT_THAT(machine().handles().OpenKinds(machine().services().process()), Not(Contains("service manager")));
}

TEST_F(PartnerService, ASuspendNoticeClosesTheServiceManagerFirst) {
  Boot();
  Happen("suspend");
  auto const& journal = machine().journal();
  std::string const manager = journal.Calls("OpenSCManagerW").back().result;
  std::string const service = journal.Calls("OpenServiceW").back().result;
  auto const closes = journal.Calls("CloseServiceHandle");
  ASSERT_EQ(closes.size(), 6u);
  EXPECT_EQ(closes[4].args, manager);
  EXPECT_EQ(closes[5].args, service);
}

TEST_F(PartnerService, ItsStartClosesTheServiceManagerLast) {
  Boot();
  auto const& journal = machine().journal();
  auto const closes = journal.Calls("CloseServiceHandle");
  ASSERT_EQ(closes.size(), 4u);
  EXPECT_EQ(closes[2].args, journal.Calls("OpenServiceW").back().result);
  EXPECT_EQ(closes[3].args, journal.Calls("OpenSCManagerW").back().result);
}

}  // namespace
