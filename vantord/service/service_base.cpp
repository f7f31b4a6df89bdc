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
  // Kept on purpose: one would expect a word to whoever starts the program by hand
  // (pinned by ServiceBase.ADispatcherThatCannotBeReachedEndsTheProgramQuietly).
  ::StartServiceCtrlDispatcherW(table);
}

void WINAPI CServiceBase::ServiceMain(DWORD argumentCount, LPWSTR* arguments) {
  s_service->m_statusHandle = ::RegisterServiceCtrlHandlerExW(s_service->m_name, ServiceCtrlHandler, nullptr);
  // Nobody catches this: without a handler there is no status to report, and the process ends.
  if (s_service->m_statusHandle == nullptr) RaiseLastError();
  s_service->Start(argumentCount, arguments);
}

DWORD WINAPI CServiceBase::ServiceCtrlHandler(DWORD control, DWORD eventType, LPVOID eventData, LPVOID) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
      s_service->Stop();
      break;
    // Kept on purpose: pause, continue and shutdown are routed although the mask never accepts them
    // (pinned by ServiceBase.PauseContinueAndShutdownAreRouted).
    case SERVICE_CONTROL_PAUSE:
      s_service->Pause();
      break;
    case SERVICE_CONTROL_CONTINUE:
      s_service->Continue();
      break;
    case SERVICE_CONTROL_SHUTDOWN:
      s_service->Shutdown();
      break;
    // Kept on purpose: the status is not reported again (pinned by ServiceBase.InterrogateReportsNothing).
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
  // Kept on purpose: unknown controls too, where one would expect ERROR_CALL_NOT_IMPLEMENTED
  // (pinned by ServiceBase.TheHandlerAlwaysAnswersNoError).
  return NO_ERROR;
}

void CServiceBase::SetServiceStatus(DWORD state, DWORD exitCode) {
  m_status.dwWin32ExitCode = exitCode;
  m_status.dwCurrentState = state;
  // Kept on purpose: no hint, however long the state will be pending (pinned by ServiceBase.TheWaitHintIsAlwaysZero).
  m_status.dwWaitHint = 0;
  // Kept on purpose: the number is the mask of accepted controls where one would expect the new state
  // (pinned by ServiceBase.TheStatusMessageShowsTheAcceptedControls).
  DebugPrintZone(ZONE_INFO, TEXT("%S:%d : Service SetServiceStatus, %x"), "CServiceBase::SetServiceStatus", 101,
                 m_controlsAccepted);
  // Kept on purpose: controls are still accepted while a stop is pending
  // (pinned by ServiceBase.ControlsAreAcceptedInEveryStateButStartPendingAndStopped).
  bool const takesNone = state == SERVICE_STOPPED || state == SERVICE_START_PENDING;
  m_status.dwControlsAccepted = takesNone ? 0 : m_controlsAccepted;
  bool const settled = state == SERVICE_RUNNING || state == SERVICE_STOPPED;
  m_status.dwCheckPoint = settled ? 0 : s_checkPoint++;
  ::SetServiceStatus(m_statusHandle, &m_status);
}

void CServiceBase::Start(DWORD argumentCount, LPWSTR* arguments) {
  // After a STOPPED report nothing of the object may be touched: the dispatcher may have returned already, on another
  // thread, and the object may be gone.
  try {
    SetServiceStatus(SERVICE_START_PENDING, NO_ERROR);
    ConfigureFailureActions();
    OnStart(argumentCount, arguments);
    SetServiceStatus(SERVICE_RUNNING, NO_ERROR);
  } catch (DWORD error) {
    SetServiceStatus(SERVICE_STOPPED, error);
  } catch (...) {
    // Kept on purpose: a service that declines to run stops cleanly and wakes no failure action
    // (pinned by ServiceBase.AStartThatRaisesAnIntegerIsACleanStop).
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
    // Kept on purpose: the service stays stop-pending, where Stop goes back to the state before
    // (pinned by ServiceBase.APreshutdownThatRaisesStaysStopPending).
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
    // The machine is going down: there is nothing left to report to.
  }
}
