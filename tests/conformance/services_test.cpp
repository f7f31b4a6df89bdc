// The service manager's clients. Every world has a partner service, which is stopped at first.
#include "tests/conformance/world.h"

// Needs <windows.h> before it.
#include <winsvc.h>

namespace {

using conformance::Error;

constexpr DWORD kUserControl = 134;
constexpr int kMostPolls = 1000;

class Services : public conformance::World {
 protected:
  Services()
      : manager_(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)),
        partner_(Open(conformance::PartnerName())) {
    EXPECT_NE(manager_, nullptr);
    EXPECT_NE(partner_, nullptr);
  }
  ~Services() override {
    ::CloseServiceHandle(partner_);
    ::CloseServiceHandle(manager_);
  }

  SC_HANDLE Open(const WCHAR* name) { return ::OpenServiceW(manager_, name, SERVICE_ALL_ACCESS); }

  SERVICE_STATUS_PROCESS Query() {
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    EXPECT_TRUE(::QueryServiceStatusEx(partner_, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                                       sizeof(status), &needed));
    return status;
  }

  /// Starts the partner and waits until it runs.
  void Start() {
    EXPECT_EQ(Error(::StartServiceW(partner_, 0, nullptr)), 0u);
    for (int i = 0; i < kMostPolls && Query().dwCurrentState != SERVICE_RUNNING; ++i) ::Sleep(10);
    EXPECT_EQ(Query().dwCurrentState, DWORD{SERVICE_RUNNING});
  }

  SC_HANDLE manager_;
  SC_HANDLE partner_;
};

TEST_F(Services, AreOpenedByNameInAnyLetterCase) {
  conformance::Text upper = conformance::PartnerName();
  for (WCHAR& one : upper) one = one >= TEXT('a') && one <= TEXT('z') ? static_cast<WCHAR>(one - 32) : one;
  SC_HANDLE const same = Open(upper.c_str());
  EXPECT_NE(same, nullptr);
  EXPECT_TRUE(::CloseServiceHandle(same));
  EXPECT_EQ(Open(TEXT("NoSuchService")), nullptr);
  EXPECT_EQ(::GetLastError(), 1060u);
}

TEST_F(Services, AreOpenedThroughTheManager) {
  EXPECT_EQ(::OpenServiceW(partner_, conformance::PartnerName(), SERVICE_ALL_ACCESS), nullptr);
  EXPECT_EQ(::GetLastError(), 6u);
}

TEST_F(Services, HandlesAreClosedOnce) {
  SC_HANDLE const handle = Open(conformance::PartnerName());
  EXPECT_TRUE(::CloseServiceHandle(handle));
  EXPECT_EQ(Error(::CloseServiceHandle(handle)), 6u);
}

TEST_F(Services, AStatusBufferThatIsTooSmallIsToldTheSize) {
  SERVICE_STATUS_PROCESS status = {};
  DWORD needed = 0;
  EXPECT_EQ(
      Error(::QueryServiceStatusEx(partner_, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), 35, &needed)),
      122u);
  EXPECT_EQ(needed, 36u);
}

/// The whole run of the partner in one test: what one leaves running, the next would find.
TEST_F(Services, APartnerIsStartedOnceControlledAndStopped) {
  SERVICE_STATUS status = {};
  EXPECT_EQ(Query().dwCurrentState, DWORD{SERVICE_STOPPED});
  EXPECT_EQ(Error(::ControlService(partner_, kUserControl, &status)), 1062u);
  Start();
  EXPECT_EQ(Query().dwServiceType, DWORD{SERVICE_WIN32_OWN_PROCESS});
  EXPECT_EQ(Query().dwCheckPoint, 0u);
  EXPECT_EQ(Error(::StartServiceW(partner_, 0, nullptr)), 1056u);
  EXPECT_EQ(Error(::ControlService(partner_, kUserControl, &status)), 0u);
  EXPECT_EQ(status.dwCurrentState, DWORD{SERVICE_RUNNING});
  EXPECT_EQ(Error(::ControlService(partner_, SERVICE_CONTROL_STOP, &status)), 0u);
}

}  // namespace
