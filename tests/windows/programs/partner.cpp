// The partner service "Pelt" in tests: it starts at once, accepts every control and stops on request.
// It records its start and each control in C:\vantord-test\partner.jsonl.
#include <windows.h>

// Needs <windows.h> before it.
#include <winsvc.h>

#include <string>

#include "tests/windows/programs/note.h"

namespace {

constexpr char kNotes[] = "C:\\vantord-test\\partner.jsonl";

SERVICE_STATUS_HANDLE g_handle;
HANDLE g_stop;

void Report(DWORD state) {
  SERVICE_STATUS status = {};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
  ::SetServiceStatus(g_handle, &status);
}

DWORD WINAPI Handle(DWORD control, DWORD, LPVOID, LPVOID) {
  Note(kNotes, ("{\"partner\": \"receives control " + std::to_string(control) + "\"}").c_str());
  if (control == SERVICE_CONTROL_STOP) ::SetEvent(g_stop);
  return NO_ERROR;
}

void WINAPI ServiceMain(DWORD, LPWSTR*) {
  g_stop = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  g_handle = ::RegisterServiceCtrlHandlerExW(L"Pelt", &Handle, nullptr);
  Note(kNotes, "{\"partner\": \"is started\"}");
  Report(SERVICE_RUNNING);
  ::WaitForSingleObject(g_stop, INFINITE);
  Report(SERVICE_STOPPED);
}

}  // namespace

extern "C" int wmain() {
  WCHAR name[] = L"Pelt";
  SERVICE_TABLE_ENTRYW const table[] = {{name, &ServiceMain}, {nullptr, nullptr}};
  return ::StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
