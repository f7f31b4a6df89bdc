#include "vantord/service/service_base.h"

#include "vantord/common/diagnostic_log.h"
#include "vantord/service/error.h"

CServiceBase* CServiceBase::s_service = nullptr;
DWORD CServiceBase::s_checkPoint = 1;

CServiceBase::CServiceBase(const WCHAR* name, DWORD controlsAccepted)
    : m_name(name), m_status{}, m_controlsAccepted(controlsAccepted) {
  m_status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  m_status.dwCurrentState = SERVICE_START_PENDING;
  m_status.dwControlsAccepted = controlsAccepted;
}

void CServiceBase::OnDeviceEvent(DWORD, LPVOID) {}
void CServiceBase::OnStop() {}
void CServiceBase::OnPause() {}
void CServiceBase::OnContinue() {}
void CServiceBase::OnShutdown() {}
void CServiceBase::OnPreshutdown() {}
void CServiceBase::OnPowerEvent(DWORD, LPVOID) {}
void CServiceBase::OnDefaultControl(DWORD) {}

void CServiceBase::Run(CServiceBase& service) {
  s_service = &service;
  SERVICE_TABLE_ENTRYW const table[] = {{const_cast<LPWSTR>(service.m_name), ServiceMain}, {nullptr, nullptr}};
  // Deliberate: A program that the service manager did not start ends without a message. Expected: a message on the
  // console.
  // Test: ServiceBase.ADispatcherThatCannotBeReachedEndsTheProgramQuietly
  ::StartServiceCtrlDispatcherW(table);
}

void WINAPI CServiceBase::ServiceMain(DWORD argumentCount, LPWSTR* arguments) {
  s_service->m_statusHandle = ::RegisterServiceCtrlHandlerExW(s_service->m_name, ServiceCtrlHandler, nullptr);
  // Not caught: without a handler no status can be reported, and the process ends.
  if (s_service->m_statusHandle == nullptr) RaiseLastError();
  s_service->Start(argumentCount, arguments);
}

DWORD WINAPI CServiceBase::ServiceCtrlHandler(DWORD control, DWORD eventType, LPVOID eventData, LPVOID) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
      s_service->Stop();
      break;
    // Deliberate: Pause, continue and shutdown are handled although the accepted controls exclude them. Expected: no
    // handling of controls that are never accepted.
    // Test: ServiceBase.PauseContinueAndShutdownAreRouted
    case SERVICE_CONTROL_PAUSE:
      s_service->Pause();
      break;
    case SERVICE_CONTROL_CONTINUE:
      s_service->Continue();
      break;
    case SERVICE_CONTROL_SHUTDOWN:
      s_service->Shutdown();
      break;
    // Deliberate: An interrogation reports nothing. Expected: a report of the current state.
    // Test: ServiceBase.InterrogateReportsNothing
    case SERVICE_CONTROL_INTERROGATE:
      break;
    case SERVICE_CONTROL_DEVICEEVENT:
      s_service->OnDeviceEvent(eventType, eventData);
      break;
    case SERVICE_CONTROL_POWEREVENT:
      s_service->OnPowerEvent(eventType, eventData);
      break;
    case SERVICE_CONTROL_PRESHUTDOWN:
      s_service->Preshutdown();
      break;
    default:
      s_service->OnDefaultControl(control);
      break;
  }
  // Deliberate: The handler returns NO_ERROR for unknown controls too. Expected: ERROR_CALL_NOT_IMPLEMENTED.
  // Test: ServiceBase.TheHandlerAlwaysAnswersNoError
  return NO_ERROR;
}

void CServiceBase::SetServiceStatus(DWORD state, DWORD exitCode) {
  m_status.dwWin32ExitCode = exitCode;
  m_status.dwCurrentState = state;
  // Deliberate: Every report has wait hint 0, however long the state stays pending. Expected: an estimate.
  // Test: ServiceBase.TheWaitHintIsAlwaysZero
  m_status.dwWaitHint = 0;
  // Deliberate: The message shows the mask of accepted controls. Expected: the new state.
  // Test: ServiceBase.TheStatusMessageShowsTheAcceptedControls
  DebugPrintZone(ZONE_INFO, TEXT("%S:%d : Service SetServiceStatus, %x"), "CServiceBase::SetServiceStatus", 101,
                 m_controlsAccepted);
  // Deliberate: Controls are accepted while a stop is pending. Expected: none until the stop has ended.
  // Test: ServiceBase.ControlsAreAcceptedInEveryStateButStartPendingAndStopped
  bool const takesNone = state == SERVICE_STOPPED || state == SERVICE_START_PENDING;
  m_status.dwControlsAccepted = takesNone ? 0 : m_controlsAccepted;
  bool const settled = state == SERVICE_RUNNING || state == SERVICE_STOPPED;
  m_status.dwCheckPoint = settled ? 0 : s_checkPoint++;
  ::SetServiceStatus(m_statusHandle, &m_status);
}

void CServiceBase::Start(DWORD argumentCount, LPWSTR* arguments) {
  // No member may be used after a STOPPED report: the dispatcher may have returned on another thread and the object may
  // be destroyed.
  try {
    SetServiceStatus(SERVICE_START_PENDING, NO_ERROR);
    ConfigureFailureActions();
    OnStart(argumentCount, arguments);
    SetServiceStatus(SERVICE_RUNNING, NO_ERROR);
  } catch (DWORD error) {
    SetServiceStatus(SERVICE_STOPPED, error);
  } catch (...) {
    // Deliberate: A start that raises anything but a DWORD ends as a clean stop with exit code 0. Expected: an error
    // code.
    // Test: ServiceBase.AStartThatRaisesAnIntegerIsACleanStop
    SetServiceStatus(SERVICE_STOPPED, NO_ERROR);
  }
}

void CServiceBase::Stop() {
  DWORD const before = m_status.dwCurrentState;
  try {
    SetServiceStatus(SERVICE_STOP_PENDING, NO_ERROR);
    OnStop();
    if (DWORD const result = UnregisterDeviceEvent(); result != CR_SUCCESS) {
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Failed to CM_Unregister_Notification - (%d)"), "CServiceBase::Stop", 138,
                     result);
    }
    if (DWORD const result = UnregisterPowerEvent(); result != ERROR_SUCCESS) {
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Failed to PowerSettingUnregisterNotification - (%d)"),
                     "CServiceBase::Stop", 142, result);
    }
    SetServiceStatus(SERVICE_STOPPED, NO_ERROR);
  } catch (...) {
    SetServiceStatus(before, NO_ERROR);
  }
}

void CServiceBase::Preshutdown() {
  try {
    SetServiceStatus(SERVICE_STOP_PENDING, NO_ERROR);
    OnPreshutdown();
    if (DWORD const result = UnregisterDeviceEvent(); result != CR_SUCCESS) {
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Failed to CM_Unregister_Notification - (%d)"),
                     "CServiceBase::Preshutdown", 155, result);
    }
    if (DWORD const result = UnregisterPowerEvent(); result != ERROR_SUCCESS) {
      DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Failed to PowerSettingUnregisterNotification - (%d)"),
                     "CServiceBase::Preshutdown", 159, result);
    }
    SetServiceStatus(SERVICE_STOPPED, NO_ERROR);
  } catch (...) {
    // Deliberate: After a preshutdown that raises, the service stays stop-pending. Expected: the state before it, as
    // after Stop.
    // Test: ServiceBase.APreshutdownThatRaisesStaysStopPending
  }
}

void CServiceBase::Pause() {
  try {
    SetServiceStatus(SERVICE_PAUSE_PENDING, NO_ERROR);
    OnPause();
    SetServiceStatus(SERVICE_PAUSED, NO_ERROR);
  } catch (...) {
    SetServiceStatus(SERVICE_RUNNING, NO_ERROR);
  }
}

void CServiceBase::Continue() {
  try {
    SetServiceStatus(SERVICE_CONTINUE_PENDING, NO_ERROR);
    OnContinue();
    SetServiceStatus(SERVICE_RUNNING, NO_ERROR);
  } catch (...) {
    SetServiceStatus(SERVICE_PAUSED, NO_ERROR);
  }
}

void CServiceBase::Shutdown() {
  try {
    OnShutdown();
    SetServiceStatus(SERVICE_STOPPED, NO_ERROR);
  } catch (...) {
    // The system is shutting down: no report is useful.
  }
}
