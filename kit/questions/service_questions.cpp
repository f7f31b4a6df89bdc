// Questions to the service manager, asked of the kit's own two services.
#include <gtest/gtest.h>

#include <windows.h>

// Needs <windows.h> before it.
#include <winsvc.h>

#include <string>
#include <vector>

#include "kit/check/child.h"
#include "kit/machine/places.h"
#include "kit/machine/service_control.h"
#include "kit/service/own_service.h"

namespace {

using kit::Saw;

constexpr DWORD kWait = 20000;  // for a state that comes soon
constexpr DWORD kShortWait = 5000;
constexpr DWORD kLongWait = 100000;  // for what the service manager may delay by 30 s, twice
constexpr DWORD kPoll = 20;

class ServiceQuestions : public ::testing::Test {
 protected:
  ServiceQuestions()
      : manager_(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)),
        first_(::OpenServiceW(manager_, kit::kFirstService, SERVICE_ALL_ACCESS)),
        second_(::OpenServiceW(manager_, kit::kSecondService, SERVICE_ALL_ACCESS)) {
    ::DeleteFileW(NotesPath().c_str());
    // What a test before this one left running.
    kit::EndService(first_);
    kit::EndService(second_);
  }
  ~ServiceQuestions() override {
    kit::EndService(first_);
    kit::EndService(second_);
  }

  static std::wstring NotesPath() { return kit::Folder() + L"\\" + kit::kServiceNotes; }
  static std::string Notes() { return kit::ReadFileText(NotesPath()); }
  /// The rest of the first line that begins with `start`; waits for it. "nothing" if there is none in time.
  static std::string AwaitNote(const std::string& start, DWORD milliseconds) {
    ULONGLONG const end = ::GetTickCount64() + milliseconds;
    for (;;) {
      std::string const notes = "\n" + Notes();
      std::size_t const at = notes.find("\n" + start);
      std::size_t const rest = at + 1 + start.size();
      if (at != std::string::npos && notes.find('\n', rest) != std::string::npos) {
        return notes.substr(rest, notes.find('\n', rest) - rest);
      }
      if (::GetTickCount64() > end) return "nothing";
      ::Sleep(kPoll);
    }
  }

  static DWORD StartIt(SC_HANDLE service, const WCHAR* behaviour) {
    LPCWSTR arguments[] = {behaviour};
    return ::StartServiceW(service, 1, arguments) ? 0 : ::GetLastError();
  }
  /// Starts a service and waits until it runs.
  static void Start(SC_HANDLE service, const WCHAR* behaviour) {
    ASSERT_EQ(StartIt(service, behaviour), 0u);
    ASSERT_TRUE(kit::AwaitState(service, SERVICE_RUNNING, kWait));
  }
  /// The wait hint of the service's own first report; 0 if it does not come. The service manager's is 2000.
  DWORD AwaitWaitHint() {
    for (ULONGLONG const end = ::GetTickCount64() + kWait; ::GetTickCount64() < end; ::Sleep(kPoll)) {
      DWORD const hint = kit::QueryService(first_).dwWaitHint;
      if (hint > 2000) return hint;
    }
    return 0;
  }
  static DWORD Control(SC_HANDLE service, DWORD control) {
    SERVICE_STATUS answer = {};
    return ::ControlService(service, control, &answer) ? 0 : ::GetLastError();
  }
  kit::ScHandle manager_;
  kit::ScHandle first_;
  kit::ScHandle second_;
};

TEST_F(ServiceQuestions, AControlFromInsideAHandler) {
  Start(second_, kit::kQuick);
  Start(first_, kit::kQuick);
  Control(first_, kit::kControlOther);
  Saw("serial-controls", AwaitNote("control ", kLongWait));
}

TEST_F(ServiceQuestions, AStartFromInsideAHandler) {
  Start(first_, kit::kQuick);
  Control(first_, kit::kStartOther);
  Saw("serial-start", AwaitNote("start ", kLongWait));
}

TEST_F(ServiceQuestions, AControlAfterAStop) {
  Start(first_, kit::kSlowStop);
  ASSERT_EQ(Control(first_, SERVICE_CONTROL_STOP), 0u);
  Saw("control-after-stop", std::to_string(Control(first_, kit::kHarmless)));
  EXPECT_TRUE(kit::AwaitState(first_, SERVICE_STOPPED, kWait));
}

TEST_F(ServiceQuestions, AControlWhileTheServiceStarts) {
  ASSERT_EQ(StartIt(first_, kit::kSlowStart), 0u);
  ASSERT_NE(AwaitWaitHint(), 0u);
  Saw("control-while-starting", std::to_string(Control(first_, kit::kHarmless)));
  Saw("stop-while-starting", std::to_string(Control(first_, SERVICE_CONTROL_STOP)));
  EXPECT_TRUE(kit::AwaitState(first_, SERVICE_RUNNING, kWait));
}

TEST_F(ServiceQuestions, TheFirstStatus) {
  ASSERT_EQ(StartIt(first_, kit::kSilentStart), 0u);
  SERVICE_STATUS_PROCESS const status = kit::QueryService(first_);
  bool const pending = status.dwCurrentState == SERVICE_START_PENDING;
  if (!pending) Saw("first-status", "state " + std::to_string(status.dwCurrentState));
  Saw("first-status", std::to_string(status.dwCheckPoint));
  Saw("first-status", std::to_string(status.dwWaitHint));
  EXPECT_TRUE(kit::AwaitState(first_, SERVICE_RUNNING, kWait));
}

TEST_F(ServiceQuestions, AStatusAfterStopped) {
  Start(first_, kit::kLateStatus);
  ASSERT_EQ(Control(first_, SERVICE_CONTROL_STOP), 0u);
  std::string const error = AwaitNote("late ", kShortWait);
  bool const goes_on = AwaitNote("alive", kShortWait) != "nothing";
  Saw("status-after-stopped", goes_on ? "error " + error + ", the process goes on" : "the process ends");
}

TEST_F(ServiceQuestions, APreshutdownNoticeByHand) {
  constexpr DWORD kPreshutdownControl = 15;
  Start(first_, kit::kPreshutdown);
  Saw("preshutdown-by-hand", std::to_string(Control(first_, kPreshutdownControl)));
}

TEST_F(ServiceQuestions, ThePresentValueOfAPowerSetting) {
  Start(first_, kit::kPower);
  std::string const registered = AwaitNote("registered ", kWait);
  if (registered != "0") GTEST_SKIP() << "the registration failed with " << registered;
  AwaitNote("waited", kWait);
  Saw("power-setting-first", AwaitNote("power setting", 0) == "nothing" ? "no" : "yes");
}

TEST_F(ServiceQuestions, AProgramOnAnEmptyDesktop) {
  Start(first_, kit::kDesktop);
  Saw("empty-desktop", AwaitNote("desktop ", kWait));
}

TEST_F(ServiceQuestions, FailureActionsWithNulls) {
  WCHAR text[] = L"text";
  WCHAR command[] = L"command";
  SC_ACTION actions[] = {{SC_ACTION_NONE, 1000}, {SC_ACTION_NONE, 2000}};
  SERVICE_FAILURE_ACTIONSW set = {86400, text, command, 2, actions};
  ASSERT_TRUE(::ChangeServiceConfig2W(first_, SERVICE_CONFIG_FAILURE_ACTIONS, &set)) << ::GetLastError();
  set = {77, nullptr, nullptr, 7, nullptr};
  ASSERT_TRUE(::ChangeServiceConfig2W(first_, SERVICE_CONFIG_FAILURE_ACTIONS, &set)) << ::GetLastError();
  std::vector<BYTE> memory(8192);
  DWORD needed = 0;
  if (!::QueryServiceConfig2W(first_, SERVICE_CONFIG_FAILURE_ACTIONS, memory.data(), static_cast<DWORD>(memory.size()),
                              &needed)) {
    GTEST_SKIP() << "failure actions cannot be queried here: error " << ::GetLastError();
  }
  auto const* const kept = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(memory.data());
  Saw("failure-actions-null", std::to_string(kept->dwResetPeriod));
  Saw("failure-actions-null", kept->lpRebootMsg == nullptr ? "nothing" : kit::ToUtf8(kept->lpRebootMsg));
  Saw("failure-actions-null", std::to_string(kept->cActions) + " actions");
}

/// The last one: Wine loses track of such a service.
TEST_F(ServiceQuestions, AStopThatFails) {
  Start(first_, kit::kStopFails);
  ASSERT_EQ(Control(first_, SERVICE_CONTROL_STOP), 0u);
  ASSERT_TRUE(kit::AwaitState(first_, SERVICE_RUNNING, kWait));
  Saw("stop-that-fails", std::to_string(Control(first_, kit::kHarmless)));
}

}  // namespace
