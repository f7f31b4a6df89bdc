#include "kit/service/own_service.h"

#include <windows.h>

// Needs <windows.h> before it.
#include <winsvc.h>

#include "kit/machine/places.h"
#include "kit/machine/service_control.h"

namespace kit {

namespace {

constexpr DWORD kPause = 2000;
constexpr DWORD kWaitHint = 30000;
constexpr DWORD kServeMilliseconds = 10000;  // after the dispatcher has returned
constexpr DWORD kPowerEvent = 13;            // SERVICE_CONTROL_POWEREVENT
constexpr DWORD kSettingChange = 0x8013;     // PBT_POWERSETTINGCHANGE

/// The display's state, which every machine has.
constexpr GUID kDisplayState = {0x6fe69556, 0x704a, 0x47a0, {0x8f, 0x24, 0xc2, 0x8d, 0x93, 0x6f, 0xda, 0x47}};

std::wstring g_name;
std::wstring g_folder;
std::wstring g_behaviour;
SERVICE_STATUS_HANDLE g_status;
HANDLE g_stop;
HANDLE g_ended;  ///< set when ServiceMain ends

void Note(const std::string& text) { AppendText(g_folder + L"\\" + kServiceNotes, text + "\n"); }

void Report(DWORD state, DWORD accepted = 0, DWORD waitHint = 0) {
  static DWORD check_point = 0;
  SERVICE_STATUS status = {};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = accepted;
  status.dwWaitHint = waitHint;
  status.dwCheckPoint = waitHint == 0 ? 0 : ++check_point;
  ::SetServiceStatus(g_status, &status);
}

/// "5 at once", "1053 after 30 s".
std::string Timed(DWORD error, ULONGLONG since) {
  ULONGLONG const seconds = (::GetTickCount64() - since + 500) / 1000;
  // A busy machine is not a machine that waits.
  return std::to_string(error) + (seconds < 10 ? " at once" : " after " + std::to_string(seconds) + " s");
}

/// A call to the second service from this one's handler.
void CallOther(bool start) {
  ScHandle const manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  ScHandle const other(::OpenServiceW(manager, kSecondService, SERVICE_START | SERVICE_USER_DEFINED_CONTROL));
  SERVICE_STATUS answer = {};
  ULONGLONG const since = ::GetTickCount64();
  BOOL const done = start ? ::StartServiceW(other, 0, nullptr) : ::ControlService(other, kHarmless, &answer);
  Note((start ? "start " : "control ") + Timed(done ? 0 : ::GetLastError(), since));
}

DWORD WINAPI Stop(void*) {
  if (g_behaviour == kSlowStop) ::Sleep(2 * kPause);
  if (g_behaviour == kStopFails) {
    ::Sleep(kPause / 10);
    Report(SERVICE_RUNNING, SERVICE_ACCEPT_STOP);
    ::Sleep(kPause);
  }
  ::SetEvent(g_stop);
  return 0;
}

DWORD WINAPI Handle(DWORD control, DWORD eventType, LPVOID, LPVOID) {
  switch (control) {
    case SERVICE_CONTROL_STOP: {
      Report(SERVICE_STOP_PENDING, 0, kWaitHint);
      HANDLE const thread = ::CreateThread(nullptr, 0, &Stop, nullptr, 0, nullptr);
      if (thread != nullptr) ::CloseHandle(thread);
      return NO_ERROR;
    }
    case kPowerEvent:
      if (eventType == kSettingChange) Note("power setting");
      return NO_ERROR;
    case kControlOther:
      CallOther(false);
      return NO_ERROR;
    case kStartOther:
      CallOther(true);
      return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
      return NO_ERROR;
    default:
      Note("received " + std::to_string(control));
      return NO_ERROR;
  }
}

void RegisterForPower() {
  using Register = DWORD(WINAPI*)(LPCGUID, DWORD, HANDLE, void**);
  auto* const enroll = reinterpret_cast<Register>(
      reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryW(L"powrprof.dll"), "PowerSettingRegisterNotification")));
  constexpr DWORD kServiceRecipient = 1;  // DEVICE_NOTIFY_SERVICE_HANDLE
  void* notification = nullptr;
  DWORD const error =
      enroll == nullptr ? ERROR_PROC_NOT_FOUND : enroll(&kDisplayState, kServiceRecipient, g_status, &notification);
  Note("registered " + std::to_string(error));
  ::Sleep(kPause / 2);
  Note("waited");
}

/// As a service starts a program for a user, here for its own account: this program with --list, which does nothing.
void StartOnEmptyDesktop() {
  HANDLE token = nullptr;
  HANDLE primary = nullptr;
  ::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE, &token);
  ::DuplicateTokenEx(token, MAXIMUM_ALLOWED, nullptr, SecurityIdentification, TokenPrimary, &primary);
  WCHAR desktop[] = L"";
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.lpDesktop = desktop;
  PROCESS_INFORMATION process = {};
  std::wstring command = L"vantord-check --list";
  BOOL const done = ::CreateProcessAsUserW(primary, OwnPath().c_str(), command.data(), nullptr, nullptr, FALSE,
                                           CREATE_NO_WINDOW, nullptr, nullptr, &startup, &process);
  Note(done ? "desktop starts" : "desktop " + std::to_string(::GetLastError()));
  if (!done) return;
  if (::WaitForSingleObject(process.hProcess, kPause) == WAIT_TIMEOUT) ::TerminateProcess(process.hProcess, 1);
  ::CloseHandle(process.hProcess);
  ::CloseHandle(process.hThread);
}

void Serve(DWORD count, LPWSTR* arguments) {
  if (count > 1) g_behaviour = arguments[1];
  g_stop = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  g_status = ::RegisterServiceCtrlHandlerExW(g_name.c_str(), &Handle, nullptr);
  if (g_behaviour == kSilentStart) ::Sleep(kPause);
  if (g_behaviour == kSlowStart) {
    Report(SERVICE_START_PENDING, 0, kWaitHint);
    ::Sleep(2 * kPause);
  }
  Report(SERVICE_RUNNING, SERVICE_ACCEPT_STOP | (g_behaviour == kPreshutdown ? SERVICE_ACCEPT_PRESHUTDOWN : 0) |
                              (g_behaviour == kPower ? SERVICE_ACCEPT_POWEREVENT : 0));
  if (g_behaviour == kPower) RegisterForPower();
  if (g_behaviour == kDesktop) StartOnEmptyDesktop();
  ::WaitForSingleObject(g_stop, INFINITE);
  Report(SERVICE_STOPPED);
  if (g_behaviour == kLateStatus) {
    SERVICE_STATUS status = {SERVICE_WIN32_OWN_PROCESS, SERVICE_RUNNING, 0, 0, 0, 0, 0};
    ::SetLastError(0);
    BOOL const done = ::SetServiceStatus(g_status, &status);
    Note("late " + std::to_string(done ? 0 : ::GetLastError()));
    ::Sleep(kPause / 4);
    Note("alive");
  }
}

void WINAPI ServiceMain(DWORD count, LPWSTR* arguments) {
  Serve(count, arguments);
  ::SetEvent(g_ended);
}

}  // namespace

int RunOwnService(const std::wstring& name, const std::wstring& folder) {
  g_name = name;
  g_folder = folder;
  SERVICE_TABLE_ENTRYW const table[] = {{g_name.data(), &ServiceMain}, {nullptr, nullptr}};
  g_ended = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (!::StartServiceCtrlDispatcherW(table)) return 1;
  // It returns when the service reports STOPPED: its thread may still be at work, with texts that end with the process.
  ::WaitForSingleObject(g_ended, kServeMilliseconds);
  return 0;
}

}  // namespace kit
