// The partner service "Pelt": started after the modem's start-up, notified of a suspend. Each function opens and closes
// its own handles.
#include <windows.h>

#include <winsvc.h>

#include <algorithm>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/service/vantord.h"

namespace {

constexpr WCHAR kPartnerName[] = TEXT("Pelt");
constexpr char kStartFunction[] = "CVantord::StartServiceOEM";

constexpr DWORD kShortestStep = 1000;
constexpr DWORD kLongestStep = 10000;

bool QueryStatus(const ServiceHandle& service, SERVICE_STATUS_PROCESS& status) {
  DWORD needed = 0;
  return ::QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<LPBYTE>(&status),
                                sizeof(status), &needed) != FALSE;
}

/// Measures how long a service makes no progress: since when, and at which check point.
class ProgressWatch {
 public:
  explicit ProgressWatch(const SERVICE_STATUS_PROCESS& status) { Remember(status); }

  /// Sleeps a tenth of the wait hint, but at least 1 s and at most 10 s.
  static void Step(const SERVICE_STATUS_PROCESS& status) {
    ::Sleep(std::clamp(status.dwWaitHint / 10, kShortestStep, kLongestStep));
  }

  /// True if the check point has not changed for longer than the wait hint, which is not clamped as the step is.
  bool IsStuck(const SERVICE_STATUS_PROCESS& status) {
    if (status.dwCheckPoint > m_checkPoint) {
      Remember(status);
      return false;
    }
    return ::GetTickCount() - m_since > status.dwWaitHint;
  }

 private:
  void Remember(const SERVICE_STATUS_PROCESS& status) {
    m_since = ::GetTickCount();
    m_checkPoint = status.dwCheckPoint;
  }
  DWORD m_since = 0;
  DWORD m_checkPoint = 0;
};

/// Waits for a pending stop. Returns true after its end; logs why it gives up.
bool WaitForPendingStop(const ServiceHandle& service, SERVICE_STATUS_PROCESS& status) {
  ProgressWatch watch(status);
  while (status.dwCurrentState == SERVICE_STOP_PENDING) {
    ProgressWatch::Step(status);
    if (!QueryStatus(service, status)) {
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : QueryServiceStatusEx failed (%d)\n"), kStartFunction, 61,
                     ::GetLastError());
      return false;
    }
    // Deliberate: A partner that has stopped and reports wait hint 0 is logged as timed out. Expected: the check only
    // while the stop is pending.
    // Test: PartnerService.AStopThatEndsWithoutAWaitHintCountsAsTimedOut
    if (watch.IsStuck(status)) {
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Timeout waiting for service to stop\n"), kStartFunction, 66);
      return false;
    }
  }
  return true;
}

/// Waits for a pending start; `status` is the last one that could be read.
/// Deliberate: The wait for a start without progress ends without a message. Expected: a message of its own.
/// Test: PartnerService.AStartWithoutProgressIsLeftWithoutAWord
void FollowPendingStart(const ServiceHandle& service, SERVICE_STATUS_PROCESS& status) {
  ProgressWatch watch(status);
  while (status.dwCurrentState == SERVICE_START_PENDING) {
    ProgressWatch::Step(status);
    SERVICE_STATUS_PROCESS next = {};
    if (!QueryStatus(service, next)) {
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : QueryServiceStatusEx failed (%d)\n"), kStartFunction, 80,
                     ::GetLastError());
      return;
    }
    status = next;
    if (watch.IsStuck(status)) return;
  }
}

void ReportStart(const SERVICE_STATUS_PROCESS& status) {
  if (status.dwCurrentState == SERVICE_RUNNING) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Service started successfully.\n"), kStartFunction, 91);
    return;
  }
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Service not started. \n"), kStartFunction, 94);
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d :   Current State: %d\n"), kStartFunction, 95, status.dwCurrentState);
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d :   Exit Code: %d\n"), kStartFunction, 96, status.dwWin32ExitCode);
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d :   Check Point: %d\n"), kStartFunction, 97, status.dwCheckPoint);
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d :   Wait Hint: %d\n"), kStartFunction, 98, status.dwWaitHint);
}

void StartPartner(const ServiceHandle& service) {
  SERVICE_STATUS_PROCESS status = {};
  if (!QueryStatus(service, status)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : QueryServiceStatusEx failed (%d)\n"), kStartFunction, 104,
                   ::GetLastError());
    return;
  }
  // Deliberate: A service that starts or pauses counts as running. Expected: RUNNING alone.
  // Test: PartnerService.IsLeftAloneWhenItRunsOrStartsOrPauses
  if (status.dwCurrentState != SERVICE_STOPPED && status.dwCurrentState != SERVICE_STOP_PENDING) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Cannot start the service because it is already running\n"), kStartFunction,
                   110);
    return;
  }
  if (!WaitForPendingStop(service, status)) return;
  if (!::StartServiceW(service.get(), 0, nullptr)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : StartService failed (%d)\n"), kStartFunction, 116, ::GetLastError());
    return;
  }
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Service start pending...\n"), kStartFunction, 119);
  if (!QueryStatus(service, status)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : QueryServiceStatusEx failed (%d)\n"), kStartFunction, 121,
                   ::GetLastError());
    return;
  }
  FollowPendingStart(service, status);
  ReportStart(status);
}

}  // namespace

void CVantord::StartServiceOEM() {
  ServiceHandle const manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  if (!manager) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : OpenSCManager failed (%d)\n"), kStartFunction, 134, ::GetLastError());
    return;
  }
  ServiceHandle const service(::OpenServiceW(manager.get(), kPartnerName, SERVICE_ALL_ACCESS));
  if (!service) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : OpenService failed (%d)\n"), kStartFunction, 139, ::GetLastError());
    return;
  }
  StartPartner(service);
}

void CVantord::SendModemControlMessage(DWORD control) {
  FunctionScope const scope("CVantord::SendModemControlMessage");
  ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  if (!manager) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : OpenSCManager failed w/err 0x%08lx"), "CVantord::SendModemControlMessage",
                   149, ::GetLastError());
    return;
  }
  ServiceHandle const service(::OpenServiceW(manager.get(), kPartnerName, SERVICE_ALL_ACCESS));
  if (!service) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : OpenService failed w/err 0x%08lx"), "CVantord::SendModemControlMessage",
                   155, ::GetLastError());
  } else {
    SERVICE_STATUS status = {};
    // Deliberate: Success is logged in the error zone, with the last error of an earlier call. Expected: the detail
    // zone and no error number.
    // Test: PartnerService.ASuspendNoticeIsLoggedInTheErrorZoneEvenWhenItArrives
    if (::ControlService(service.get(), control, &status)) {
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : ControlService Success w/err 0x%08lx"),
                     "CVantord::SendModemControlMessage", 162, ::GetLastError());
    } else {
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : ControlService Fail??? w/err 0x%08lx"),
                     "CVantord::SendModemControlMessage", 165, ::GetLastError());
    }
  }
  // Deliberate: The service manager's handle is closed before the service's. Expected: the reverse order, as in
  // StartServiceOEM.
  // Test: PartnerService.ASuspendNoticeClosesTheServiceManagerFirst
  manager.Close();
}
