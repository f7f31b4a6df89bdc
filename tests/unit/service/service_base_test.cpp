// The frame of the service, with a small service of the tests' own in it.
#include <windows.h>

#include <cstdlib>
#include <functional>
#include <iostream>

#include "tests/unit/service/service_fixture.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/service/error.h"
#include "vantord/service/service_base.h"

namespace {

using tablet::StatusEvent;

constexpr DWORD kMask = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_POWEREVENT | SERVICE_ACCEPT_PRESHUTDOWN;

/// What the service under test does in each operation; nothing by default.
struct Behaviour {
  std::function<void()> start, stop, preshutdown, pause, resume, shutdown;
  std::vector<std::string> seen;          ///< operations, in order
  std::vector<std::u16string> arguments;  ///< of the start
};

class ProbeService : public CServiceBase {
 public:
  explicit ProbeService(Behaviour& behaviour) : CServiceBase(TEXT("Probe"), kMask), m_behaviour(behaviour) {}

 protected:
  void OnStart(DWORD count, LPWSTR* arguments) override {
    m_behaviour.arguments.assign(arguments, arguments + count);
    Do("start", m_behaviour.start);
  }
  void OnStop() override { Do("stop", m_behaviour.stop); }
  void OnPreshutdown() override { Do("preshutdown", m_behaviour.preshutdown); }
  void OnPause() override { Do("pause", m_behaviour.pause); }
  void OnContinue() override { Do("continue", m_behaviour.resume); }
  void OnShutdown() override { Do("shutdown", m_behaviour.shutdown); }
  void OnDeviceEvent(DWORD type, LPVOID) override { m_behaviour.seen.push_back(fmtNumber("device ", type)); }
  void OnPowerEvent(DWORD type, LPVOID) override { m_behaviour.seen.push_back(fmtNumber("power ", type)); }
  void OnDefaultControl(DWORD control) override { m_behaviour.seen.push_back(fmtNumber("default ", control)); }

 private:
  static std::string fmtNumber(const char* what, DWORD number) { return what + std::to_string(number); }
  void Do(const char* name, const std::function<void()>& work) {
    m_behaviour.seen.emplace_back(name);
    if (work) work();
  }
  Behaviour& m_behaviour;
};

/// Only the start must be a service's own.
class SilentService : public CServiceBase {
 public:
  SilentService() : CServiceBase(TEXT("Probe"), kMask) {}

 protected:
  void OnStart(DWORD, LPWSTR*) override {}
};

class ServiceBase : public service_tests::ServiceTest {
 protected:
  void Boot() {
    machine().services().Start(u"Probe", [this] {
      ProbeService service(behaviour_);
      CServiceBase::Run(service);
      return 0;
    });
    Settle();
  }
  void Send(DWORD control) {
    ASSERT_EQ(machine().services().Send(control), DWORD{0});
    Settle();
  }
  /// Puts a control to the handler that the service manager itself would never send.
  void SendForced(DWORD control, DWORD eventType = 0) {
    machine().services().SendUnchecked(control, eventType);
    Settle();
  }
  std::vector<DWORD> CheckPoints() {
    std::vector<DWORD> points;
    for (const StatusEvent& status : machine().journal().Statuses()) points.push_back(status.check_point);
    return points;
  }
  std::vector<DWORD> Accepted() {
    std::vector<DWORD> masks;
    for (const StatusEvent& status : machine().journal().Statuses()) masks.push_back(status.controls_accepted);
    return masks;
  }
  DWORD LastExitCode() { return LastStatus().exit_code; }

  Behaviour behaviour_;
};

TEST_F(ServiceBase, ANormalRunReportsFourStates) {
  Boot();
  Send(SERVICE_CONTROL_STOP);
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "STOP_PENDING", "STOPPED"));
  ASSERT_TRUE(machine().services().ended().has_value());
  EXPECT_FALSE(machine().services().ended()->died);
}

// The count begins with the process, so the run has a process of its own.
TEST_F(ServiceBase, PendingReportsCountCheckPointsFromOneAndSettledOnesCarryZero) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto const run = [this] {
    Boot();
    Send(SERVICE_CONTROL_STOP);
    std::cerr << "check points " << testing::PrintToString(CheckPoints());
    std::_Exit(0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), testing::HasSubstr("check points { 1, 0, 2, 0 }"));
}

TEST_F(ServiceBase, ControlsAreAcceptedInEveryStateButStartPendingAndStopped) {
  Boot();
  Send(SERVICE_CONTROL_STOP);
  EXPECT_THAT(Accepted(), ElementsAre(0u, kMask, kMask, 0u));
}

TEST_F(ServiceBase, TheServiceHasAProcessOfItsOwn) {
  Boot();
  EXPECT_EQ(machine().services().status().type, DWORD{SERVICE_WIN32_OWN_PROCESS});
}

TEST_F(ServiceBase, TheStartWorkGetsTheArgumentsOfTheServiceManager) {
  Boot();
  EXPECT_THAT(behaviour_.arguments, ElementsAre(u"Probe"));
}

TEST_F(ServiceBase, TheWaitHintIsAlwaysZero) {
  Boot();
  Send(SERVICE_CONTROL_STOP);
  for (const StatusEvent& status : machine().journal().Statuses()) EXPECT_EQ(status.wait_hint, 0u) << status.state;
}

TEST_F(ServiceBase, NoReportOfARunWithoutErrorsCarriesOne) {
  Boot();
  SendForced(SERVICE_CONTROL_PAUSE);
  SendForced(SERVICE_CONTROL_CONTINUE);
  behaviour_.pause = [] { throw -1; };
  behaviour_.resume = [] { throw -1; };
  SendForced(SERVICE_CONTROL_PAUSE);
  SendForced(SERVICE_CONTROL_CONTINUE);
  Send(SERVICE_CONTROL_STOP);
  EXPECT_EQ(States().size(), 12u);
  for (const StatusEvent& status : machine().journal().Statuses()) EXPECT_EQ(status.exit_code, 0u) << status.state;
}

TEST_F(ServiceBase, TheStatusMessageShowsTheAcceptedControls) {
  Boot();
  std::string const report = "CServiceBase::SetServiceStatus:101 : Service SetServiceStatus, 141";
  EXPECT_THAT(formatted(), ElementsAre(report, "ConfigureFailureActions: (+)", "ConfigureFailureActions: (-)", report));
}

TEST_F(ServiceBase, TheStatusMessageIsSilentOutsideTheInfoZone) {
  g_ulZoneMask = ~ZONE_INFO;
  Boot();
  EXPECT_THAT(formatted(), testing::Not(testing::Contains(testing::HasSubstr("SetServiceStatus"))));
}

TEST_F(ServiceBase, InterrogateReportsNothing) {
  Boot();
  Send(SERVICE_CONTROL_INTERROGATE);
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING"));
  EXPECT_THAT(behaviour_.seen, ElementsAre("start"));
}

TEST_F(ServiceBase, AStartThatRaisesAnIntegerIsACleanStop) {
  behaviour_.start = [] { throw -1; };
  Boot();
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "STOPPED"));
  EXPECT_EQ(LastExitCode(), 0u);
}

TEST_F(ServiceBase, AStartThatRaisesAnErrorCodeStopsWithThatCode) {
  behaviour_.start = [] { RaiseError(ERROR_ACCESS_DENIED); };
  Boot();
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "STOPPED"));
  EXPECT_EQ(LastExitCode(), DWORD{ERROR_ACCESS_DENIED});
}

TEST_F(ServiceBase, AStartThatRaisesTheLastErrorStopsWithIt) {
  behaviour_.start = [] {
    ::SetLastError(ERROR_DISK_FULL);
    RaiseLastError();
  };
  Boot();
  EXPECT_EQ(LastExitCode(), DWORD{ERROR_DISK_FULL});
}

TEST_F(ServiceBase, AStopThatRaisesGoesBackToTheStateBefore) {
  behaviour_.stop = [] { RaiseError(ERROR_ACCESS_DENIED); };
  Boot();
  Send(SERVICE_CONTROL_STOP);
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "STOP_PENDING", "RUNNING"));
  EXPECT_EQ(LastExitCode(), 0u);
}

TEST_F(ServiceBase, AStopThatRaisesWhilePausedGoesBackToPaused) {
  behaviour_.stop = [] { throw -1; };
  Boot();
  SendForced(SERVICE_CONTROL_PAUSE);
  SendForced(SERVICE_CONTROL_STOP);
  EXPECT_EQ(States().back(), "PAUSED");
}

TEST_F(ServiceBase, APreshutdownStopsTheServiceThroughItsOwnOperation) {
  Boot();
  Send(SERVICE_CONTROL_PRESHUTDOWN);
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "STOP_PENDING", "STOPPED"));
  EXPECT_THAT(behaviour_.seen, ElementsAre("start", "preshutdown"));
}

TEST_F(ServiceBase, APreshutdownThatRaisesStaysStopPending) {
  behaviour_.preshutdown = [] { throw -1; };
  Boot();
  Send(SERVICE_CONTROL_PRESHUTDOWN);
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "STOP_PENDING"));
  EXPECT_FALSE(machine().services().ended().has_value());
}

TEST_F(ServiceBase, PauseContinueAndShutdownAreRouted) {
  Boot();
  SendForced(SERVICE_CONTROL_PAUSE);
  SendForced(SERVICE_CONTROL_CONTINUE);
  SendForced(SERVICE_CONTROL_SHUTDOWN);
  EXPECT_THAT(behaviour_.seen, ElementsAre("start", "pause", "continue", "shutdown"));
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "PAUSE_PENDING", "PAUSED", "CONTINUE_PENDING",
                                    "RUNNING", "STOPPED"));
}

TEST_F(ServiceBase, AServiceThatOverridesOnlyItsStartTakesEveryControl) {
  machine().services().Start(u"Probe", [] {
    SilentService service;
    CServiceBase::Run(service);
    return 0;
  });
  Settle();
  SendForced(SERVICE_CONTROL_DEVICEEVENT, 0x8000);
  SendForced(SERVICE_CONTROL_POWEREVENT, 4);
  SendForced(130);
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING")) << "events change nothing";
  SendForced(SERVICE_CONTROL_PAUSE);
  SendForced(SERVICE_CONTROL_CONTINUE);
  SendForced(SERVICE_CONTROL_SHUTDOWN);
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "PAUSE_PENDING", "PAUSED", "CONTINUE_PENDING",
                                    "RUNNING", "STOPPED"));
}

TEST_F(ServiceBase, AShutdownReportsStoppedWithoutAPendingReport) {
  Boot();
  SendForced(SERVICE_CONTROL_SHUTDOWN);
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING", "STOPPED"));
}

TEST_F(ServiceBase, AShutdownThatRaisesReportsNothing) {
  behaviour_.shutdown = [] { throw -1; };
  Boot();
  SendForced(SERVICE_CONTROL_SHUTDOWN);
  EXPECT_THAT(States(), ElementsAre("START_PENDING", "RUNNING"));
}

TEST_F(ServiceBase, APauseThatRaisesRunsOnAndAContinueThatRaisesStaysPaused) {
  behaviour_.pause = [] { throw -1; };
  behaviour_.resume = [] { throw -1; };
  Boot();
  SendForced(SERVICE_CONTROL_PAUSE);
  SendForced(SERVICE_CONTROL_CONTINUE);
  EXPECT_THAT(States(),
              ElementsAre("START_PENDING", "RUNNING", "PAUSE_PENDING", "RUNNING", "CONTINUE_PENDING", "PAUSED"));
}

TEST_F(ServiceBase, PowerAndDeviceControlsCarryTheirEventTypeAndAllOthersGoToTheDefault) {
  Boot();
  SendForced(SERVICE_CONTROL_POWEREVENT, 4);
  SendForced(SERVICE_CONTROL_DEVICEEVENT, 0x8000);
  for (DWORD control : {6u, 7u, 8u, 9u, 10u, 12u, 14u, 128u, 130u, 255u}) SendForced(control);
  EXPECT_THAT(behaviour_.seen,
              ElementsAre("start", "power 4", "device 32768", "default 6", "default 7", "default 8", "default 9",
                          "default 10", "default 12", "default 14", "default 128", "default 130", "default 255"));
}

TEST_F(ServiceBase, TheHandlerAlwaysAnswersNoError) {
  Boot();
  for (DWORD control : {1u, 4u, 77u, 200u}) {
    SendForced(control);
    EXPECT_EQ(machine().services().last_answer(), 0u) << control;
  }
}

TEST_F(ServiceBase, AFailingStatusReportIsIgnored) {
  Inject("SetServiceStatus", ERROR_INVALID_HANDLE, 1, 2);
  Boot();
  SendForced(SERVICE_CONTROL_STOP);
  EXPECT_THAT(behaviour_.seen, ElementsAre("start", "stop"));
  EXPECT_THAT(States(), ElementsAre("STOP_PENDING", "STOPPED"));
}

TEST_F(ServiceBase, WithoutAControlHandlerTheProcessDiesOfTheErrorCode) {
  Inject("RegisterServiceCtrlHandlerExW", ERROR_ACCESS_DENIED);
  Boot();
  ASSERT_TRUE(machine().services().ended().has_value());
  EXPECT_TRUE(machine().services().ended()->died);
  EXPECT_THAT(machine().services().ended()->reason, testing::HasSubstr("Windows error code 5"));
  EXPECT_THAT(behaviour_.seen, IsEmpty());
}

TEST_F(ServiceBase, ADispatcherThatCannotBeReachedEndsTheProgramQuietly) {
  Inject("StartServiceCtrlDispatcherW", ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
  Boot();
  ASSERT_TRUE(machine().services().ended().has_value());
  EXPECT_EQ(machine().services().ended()->exit_code, 0);
  EXPECT_THAT(States(), IsEmpty());
  EXPECT_THAT(machine().journal().DebuggerTexts(), IsEmpty());
}

// The service manager of the tablet itself.

TEST_F(ServiceBase, ControlsThatAreNotAcceptedAreRefusedWithWindowsCodes) {
  EXPECT_EQ(machine().services().Send(tablet::kControlStop), tablet::kServiceNotActive);
  Boot();
  EXPECT_EQ(machine().services().Send(tablet::kControlShutdown), tablet::kInvalidServiceControl);
  EXPECT_EQ(machine().services().Send(77), tablet::kInvalidServiceControl);
  behaviour_.stop = [this] {
    EXPECT_EQ(machine().services().Send(200), tablet::kServiceCannotAcceptControl);
    EXPECT_EQ(machine().services().Send(tablet::kControlPreshutdown), tablet::kServiceCannotAcceptControl);
  };
  Send(SERVICE_CONTROL_STOP);
  EXPECT_EQ(machine().services().Send(tablet::kControlStop), tablet::kServiceNotActive);
}

}  // namespace
