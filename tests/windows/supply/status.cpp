// Status reports: after each one the service manager is queried. Polling from outside would miss short states.
#include "tests/windows/supply/supply.h"

// Needs <windows.h> before it.
#include <winsvc.h>

namespace supply {

namespace {

using Report = BOOL(WINAPI*)(SERVICE_STATUS_HANDLE, LPSERVICE_STATUS);
Report g_report;

void RecordShownStatus() {
  SC_HANDLE const manager = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  SC_HANDLE const service = ::OpenServiceW(manager, kServiceName, SERVICE_QUERY_STATUS);
  SERVICE_STATUS_PROCESS status = {};
  DWORD needed = 0;
  if (::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof(status),
                             &needed)) {
    Record("\"kind\":\"status\",\"state\":" + std::to_string(status.dwCurrentState) + ",\"controls_accepted\":" +
           std::to_string(status.dwControlsAccepted) + ",\"exit_code\":" + std::to_string(status.dwWin32ExitCode) +
           ",\"check_point\":" + std::to_string(status.dwCheckPoint));
  } else {
    Record("\"kind\":\"status\",\"query_error\":" + std::to_string(::GetLastError()));
  }
  ::CloseServiceHandle(service);
  ::CloseServiceHandle(manager);
}

/// The last report is left to the client outside: the process may end during the query.
BOOL WINAPI ReportAndRecord(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status) {
  bool const isLast = status->dwCurrentState == SERVICE_STOPPED;
  BOOL const reported = g_report(handle, status);
  DWORD const lastError = ::GetLastError();
  if (!isLast) RecordShownStatus();
  ::SetLastError(lastError);
  return reported;
}

}  // namespace

void RedirectStatus() {
  g_report = reinterpret_cast<Report>(Redirect("SetServiceStatus", reinterpret_cast<void*>(&ReportAndRecord)));
}

}  // namespace supply
