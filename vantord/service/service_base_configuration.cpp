// The service's own configuration in the service manager.
#include <windows.h>

#include <winsvc.h>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/service/service_base.h"

namespace {

constexpr DWORD kResetPeriodSeconds = 86400;
constexpr DWORD kRestartDelayMilliseconds = 1000;

ServiceHandle OpenServiceHandle(const WCHAR* name) {
  ServiceHandle const manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  if (!manager) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : OpenSCManager failed (%d)"), "OpenServiceHandle", 19, ::GetLastError());
    return ServiceHandle();
  }
  ServiceHandle service(::OpenServiceW(manager.get(), name, SERVICE_ALL_ACCESS));
  if (!service) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : OpenService failed (%d)"), "OpenServiceHandle", 24, ::GetLastError());
  }
  return service;
}

}  // namespace

void CServiceBase::ConfigureFailureActions() {
  FunctionScope const scope("ConfigureFailureActions");
  ServiceHandle const service = OpenServiceHandle(m_name);
  if (!service) {
    // Deliberate: A handle that could not be opened is logged a second time. Expected: one message for one failure.
    // Test: ServiceConfiguration.WithoutRightsOnTheServiceManagerTheStartGoesOn
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : hService NULL"), "ConfigureFailureActions", 35);
    return;
  }
  SC_ACTION actions[3];
  for (SC_ACTION& action : actions) action = {SC_ACTION_RESTART, kRestartDelayMilliseconds};
  WCHAR rebootMessage[] = TEXT("Vantor Service is restarted.");
  SERVICE_FAILURE_ACTIONSW failure = {};
  failure.dwResetPeriod = kResetPeriodSeconds;
  failure.lpRebootMsg = rebootMessage;
  failure.cActions = 3;
  failure.lpsaActions = actions;
  if (!::ChangeServiceConfig2W(service.get(), SERVICE_CONFIG_FAILURE_ACTIONS, &failure)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Error in ChangeServiceConfig2 - GLE=0x%x"), "ConfigureFailureActions", 47,
                   ::GetLastError());
  }
}
