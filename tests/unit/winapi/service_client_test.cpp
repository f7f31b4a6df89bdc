#include <windows.h>

#include <winsvc.h>

#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

class ServiceClient : public testing_support::TabletTest {
 protected:
  void PowerOnWith(const tablet::PartnerDescription& partner) {
    PowerOn(With([&](auto& description) { description.partner = partner; }));
  }
  static SC_HANDLE Manager() { return ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS); }
  static SC_HANDLE Open(const WCHAR* name) { return ::OpenServiceW(Manager(), name, SERVICE_ALL_ACCESS); }
  static SERVICE_STATUS_PROCESS Query(SC_HANDLE service) {
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    EXPECT_EQ(::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<LPBYTE>(&status), sizeof status,
                                     &needed),
              TRUE);
    EXPECT_EQ(needed, 36u);
    return status;
  }
  void StartSelf() {
    machine().services().Start(u"Vantord", [] {
      ::Sleep(INFINITE);
      return 0;
    });
  }
};

TEST_F(ServiceClient, OpensThePartnerAndTheServiceItself) {
  StartSelf();
  EXPECT_NE(Open(TEXT("Pelt")), nullptr);
  EXPECT_NE(Open(TEXT("PELT")), nullptr) << "names of services have no case";
  EXPECT_NE(Open(TEXT("Vantord")), nullptr);
  EXPECT_EQ(Open(TEXT("Other")), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_SERVICE_DOES_NOT_EXIST});
}

TEST_F(ServiceClient, APartnerThatIsNotInstalledDoesNotExist) {
  PowerOnWith({.present = false});
  EXPECT_EQ(Open(TEXT("Pelt")), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_SERVICE_DOES_NOT_EXIST});
}

TEST_F(ServiceClient, TheManagerIsDeniedWhereTheTabletSaysSo) {
  PowerOn(With([](auto& description) { description.manager_denied = true; }));
  EXPECT_EQ(Manager(), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_ACCESS_DENIED});
}

TEST_F(ServiceClient, HandlesAreClosedOnce) {
  SC_HANDLE const service = Open(TEXT("Pelt"));
  EXPECT_EQ(::CloseServiceHandle(service), TRUE);
  EXPECT_EQ(::CloseServiceHandle(service), FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  auto const event = reinterpret_cast<SC_HANDLE>(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
  EXPECT_EQ(::CloseServiceHandle(event), FALSE) << "an event is not a service handle";
}

TEST_F(ServiceClient, AServiceIsOpenedThroughTheManager) {
  EXPECT_EQ(::OpenServiceW(Open(TEXT("Pelt")), TEXT("Pelt"), SERVICE_ALL_ACCESS), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(ServiceClient, ThePartnersStatusFollowsItsPhases) {
  PowerOnWith({.starting = {.duration = Millis{1000},
                            .check_point_every = Millis{300},
                            .wait_hint = 700,
                            .ends_in = tablet::kServiceRunning,
                            .exit_code = 3,
                            .end_wait_hint = 9}});
  SC_HANDLE const partner = Open(TEXT("Pelt"));
  EXPECT_EQ(Query(partner).dwCurrentState, DWORD{SERVICE_STOPPED});
  EXPECT_EQ(::StartServiceW(partner, 0, nullptr), TRUE);
  SERVICE_STATUS_PROCESS const first = Query(partner);
  EXPECT_EQ(first.dwCurrentState, DWORD{SERVICE_START_PENDING});
  EXPECT_EQ(first.dwCheckPoint, 0u) << "the service manager's own status";
  EXPECT_EQ(first.dwWaitHint, 2000u);
  ::Sleep(999);
  SERVICE_STATUS_PROCESS const pending = Query(partner);
  EXPECT_EQ(pending.dwCurrentState, DWORD{SERVICE_START_PENDING});
  EXPECT_EQ(pending.dwCheckPoint, 4u);
  EXPECT_EQ(pending.dwWaitHint, 700u);
  EXPECT_EQ(pending.dwServiceType, DWORD{SERVICE_WIN32_OWN_PROCESS});
  ::Sleep(1);
  SERVICE_STATUS_PROCESS const running = Query(partner);
  EXPECT_EQ(running.dwCurrentState, DWORD{SERVICE_RUNNING});
  EXPECT_EQ(running.dwCheckPoint, 0u);
  EXPECT_EQ(running.dwWaitHint, 9u);
  EXPECT_EQ(running.dwWin32ExitCode, 3u);
}

TEST_F(ServiceClient, ThePartnerIsStartedOnce) {
  SC_HANDLE const partner = Open(TEXT("Pelt"));
  EXPECT_EQ(::StartServiceW(partner, 0, nullptr), TRUE);
  EXPECT_EQ(::StartServiceW(partner, 0, nullptr), FALSE);
  EXPECT_EQ(::GetLastError(), 1056u);
}

TEST_F(ServiceClient, ThePartnerCanRefuseItsStart) {
  PowerOnWith({.start_error = 1058});
  EXPECT_EQ(::StartServiceW(Open(TEXT("Pelt")), 0, nullptr), FALSE);
  EXPECT_EQ(::GetLastError(), 1058u);
}

TEST_F(ServiceClient, ControlsReachAPartnerThatRuns) {
  PowerOnWith({.state = tablet::kServiceRunning});
  SERVICE_STATUS status = {};
  ::Sleep(50);
  EXPECT_EQ(::ControlService(Open(TEXT("Pelt")), 134, &status), TRUE);
  EXPECT_EQ(status.dwCurrentState, DWORD{SERVICE_RUNNING});
  ASSERT_EQ(machine().partner().received().size(), 1u);
  EXPECT_EQ(machine().partner().received()[0].control, 134u);
  EXPECT_EQ(machine().partner().received()[0].time, Millis{50});
}

TEST_F(ServiceClient, ControlsAreRefusedInOtherStates) {
  SERVICE_STATUS status = {};
  EXPECT_EQ(::ControlService(Open(TEXT("Pelt")), 134, &status), FALSE);
  EXPECT_EQ(::GetLastError(), tablet::kServiceNotActive);
  PowerOnWith({.state = tablet::kServiceStopPending, .stopping = {.duration = Millis{1000}}});
  EXPECT_EQ(::ControlService(Open(TEXT("Pelt")), 134, &status), FALSE);
  EXPECT_EQ(::GetLastError(), tablet::kServiceCannotAcceptControl);
  PowerOnWith({.state = tablet::kServiceStartPending, .starting = {.duration = Millis{1000}}});
  EXPECT_EQ(::ControlService(Open(TEXT("Pelt")), 134, &status), FALSE);
  EXPECT_EQ(::GetLastError(), tablet::kServiceCannotAcceptControl);
  EXPECT_EQ(::ControlService(Open(TEXT("Pelt")), SERVICE_CONTROL_STOP, &status), FALSE);
  EXPECT_EQ(::GetLastError(), tablet::kInvalidServiceControl) << "a service that starts accepts no stop";
  PowerOnWith({.state = tablet::kServiceRunning, .control_error = 1052});
  EXPECT_EQ(::ControlService(Open(TEXT("Pelt")), 134, &status), FALSE);
  EXPECT_EQ(::GetLastError(), 1052u);
  EXPECT_THAT(machine().partner().received(), IsEmpty());
}

TEST_F(ServiceClient, ARefusedControlGivesTheStatusWithFourErrorsOnly) {
  for (auto const& [error, given] :
       {std::pair{1052u, true}, {1061u, true}, {1062u, true}, {1053u, false}, {5u, false}}) {
    PowerOnWith({.state = tablet::kServiceRunning, .control_error = error});
    SERVICE_STATUS status = {};
    EXPECT_EQ(::ControlService(Open(TEXT("Pelt")), 134, &status), FALSE);
    EXPECT_EQ(status.dwCurrentState == SERVICE_RUNNING, given) << error;
  }
}

TEST_F(ServiceClient, AStatusBufferThatIsTooSmallIsLeftAlone) {
  SERVICE_STATUS_PROCESS status = {};
  status.dwCurrentState = 77;
  DWORD needed = 0;
  EXPECT_EQ(::QueryServiceStatusEx(Open(TEXT("Pelt")), SC_STATUS_PROCESS_INFO, reinterpret_cast<LPBYTE>(&status), 35,
                                   &needed),
            FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_EQ(needed, 36u);
  EXPECT_EQ(status.dwCurrentState, 77u);
}

TEST_F(ServiceClient, FailureActionsAreKeptAsGiven) {
  StartSelf();
  SC_ACTION actions[] = {{SC_ACTION_RESTART, 5}, {SC_ACTION_NONE, 0}};
  WCHAR message[] = TEXT("again");
  SERVICE_FAILURE_ACTIONSW given = {60, message, nullptr, 2, actions};
  EXPECT_EQ(::ChangeServiceConfig2W(Open(TEXT("Vantord")), SERVICE_CONFIG_FAILURE_ACTIONS, &given), TRUE);
  const tablet::FailureActions& kept = machine().services().failure_actions();
  EXPECT_EQ(kept.reset_seconds, 60u);
  EXPECT_EQ(kept.reboot_message, u"again");
  EXPECT_EQ(kept.command, u"");
  EXPECT_THAT(kept.actions, ElementsAre(tablet::FailureAction{1, 5}, tablet::FailureAction{0, 0}));
}

TEST_F(ServiceClient, NullMembersOfFailureActionsLeaveWhatWasThere) {
  StartSelf();
  SC_ACTION actions[] = {{SC_ACTION_RESTART, 5}};
  WCHAR message[] = TEXT("again");
  WCHAR command[] = TEXT("run");
  WCHAR nothing[] = TEXT("");
  auto const change = [](SERVICE_FAILURE_ACTIONSW given) {
    EXPECT_EQ(::ChangeServiceConfig2W(Open(TEXT("Vantord")), SERVICE_CONFIG_FAILURE_ACTIONS, &given), TRUE);
  };
  change({60, message, command, 1, actions});
  tablet::FailureActions kept = machine().services().failure_actions();
  change({99, nullptr, nullptr, 7, nullptr});
  EXPECT_EQ(machine().services().failure_actions(), kept) << "the reset period belongs to the actions";
  change({99, nothing, nothing, 0, actions});
  EXPECT_EQ(machine().services().failure_actions(), tablet::FailureActions{}) << "empty texts and no actions delete";
}

TEST_F(ServiceClient, InjectedErrorsBecomeTheLastError) {
  SC_HANDLE const partner = Open(TEXT("Pelt"));
  SERVICE_STATUS status = {};
  SERVICE_STATUS_PROCESS process = {};
  DWORD needed = 0;
  for (const char* call : {"OpenSCManagerW", "OpenServiceW", "QueryServiceStatusEx", "StartServiceW", "ControlService",
                           "ChangeServiceConfig2W"}) {
    Inject(call, 31);
  }
  auto const fails = [](auto result) {
    DWORD const error = ::GetLastError();
    ::SetLastError(0);
    return !result && error == 31;
  };
  EXPECT_TRUE(fails(Manager()));
  EXPECT_TRUE(fails(::OpenServiceW(nullptr, TEXT("Pelt"), 0)));
  EXPECT_TRUE(fails(::QueryServiceStatusEx(partner, SC_STATUS_PROCESS_INFO, reinterpret_cast<LPBYTE>(&process),
                                           sizeof process, &needed)));
  EXPECT_TRUE(fails(::StartServiceW(partner, 0, nullptr)));
  EXPECT_TRUE(fails(::ControlService(partner, 134, &status)));
  EXPECT_TRUE(fails(::ChangeServiceConfig2W(partner, SERVICE_CONFIG_FAILURE_ACTIONS, nullptr)));
  EXPECT_EQ(machine().partner().Status().state, tablet::kServiceStopped);
}

TEST_F(ServiceClient, WhatIsNotModelledIsRefusedLoudly) {
  EXPECT_THAT(RefusalOf(machine(), [] { ::OpenSCManagerW(TEXT("other"), nullptr, 0); }),
              HasSubstr("another machine or database"));
  PowerOn(DefaultDescription());
  EXPECT_THAT(RefusalOf(machine(), [] { ::ChangeServiceConfig2W(Open(TEXT("Pelt")), 1, nullptr); }),
              HasSubstr("a level other than 2"));
  PowerOn(DefaultDescription());
  StartSelf();
  EXPECT_THAT(RefusalOf(machine(), [] { ::StartServiceW(Open(TEXT("Vantord")), 0, nullptr); }),
              HasSubstr("a service that starts itself"));
}

TEST_F(ServiceClient, TheTickCountIsTheVirtualClock) {
  ::Sleep(1234);
  EXPECT_EQ(::GetTickCount(), 1234u);
}

}  // namespace
