// CServiceBase: the generic frame of a Windows service that has a process of its own. It owns the status record,
// routes controls to virtual operations, and guards each transition: pending state, operation, final state.
#pragma once

#include <windows.h>

#include <cfgmgr32.h>
#include <winsvc.h>

/// The display state of the console: 0 off, 1 on, 2 dimmed.
inline constexpr GUID kConsoleDisplayState = {
    0x6FE69556, 0x704A, 0x47A0, {0x8F, 0x24, 0xC2, 0x8D, 0x93, 0x6F, 0xDA, 0x47}};

class CServiceBase {
 public:
  CServiceBase(const CServiceBase&) = delete;
  CServiceBase& operator=(const CServiceBase&) = delete;
  virtual ~CServiceBase() = default;

  /// Device-interface events and the service manager's device events; `eventData` as the sender gives it.
  virtual void OnDeviceEvent(DWORD eventType, LPVOID eventData);

  /// Hands the process to the service manager; returns when the service has stopped. `service` must outlive the call.
  /// A dispatcher that cannot be reached is not reported.
  static void Run(CServiceBase& service);

 protected:
  /// `name` is not copied and must outlive the object.
  CServiceBase(const WCHAR* name, DWORD controlsAccepted);

  /// The start work. What it raises decides how the start ends: a DWORD is the exit code of a service that failed to
  /// start; anything else is a clean stop with exit code 0.
  virtual void OnStart(DWORD argumentCount, LPWSTR* arguments) = 0;
  virtual void OnStop();
  virtual void OnPause();
  virtual void OnContinue();
  virtual void OnShutdown();
  virtual void OnPreshutdown();
  virtual void OnPowerEvent(DWORD eventType, LPVOID eventData);
  virtual void OnDefaultControl(DWORD control);

  /// Subscribes to arrival and removal of USB device interfaces, delivered to OnDeviceEvent. A failure is logged.
  void RegisterDeviceEvent();
  /// Subscribes to the console's display state, delivered to OnPowerEvent. A failure is logged.
  void RegisterPowerEvent();

  /// Reports a state to the service manager. The wait hint is always 0 ms; the report's own failure is ignored.
  void SetServiceStatus(DWORD state, DWORD exitCode);

 private:
  static void WINAPI ServiceMain(DWORD argumentCount, LPWSTR* arguments);
  static DWORD WINAPI ServiceCtrlHandler(DWORD control, DWORD eventType, LPVOID eventData, LPVOID context);

  /// Restarts after a crash: three times after 1 s, counted anew each day. Failures are logged.
  void ConfigureFailureActions();

  // Undo the registrations, where made, and clear their handles in any case; each answers Windows' code.
  DWORD UnregisterDeviceEvent();
  DWORD UnregisterPowerEvent();

  // The guarded transitions.
  void Start(DWORD argumentCount, LPWSTR* arguments);
  void Stop();
  void Pause();
  void Continue();
  void Shutdown();
  void Preshutdown();

  static CServiceBase* s_service;  ///< the one instance, not owned; set by Run
  static DWORD s_checkPoint;       ///< next pending report's check point; process-wide, never reset

  const WCHAR* m_name;
  SERVICE_STATUS m_status;   ///< as last reported
  DWORD m_controlsAccepted;  ///< reported whenever the service is neither stopped nor start-pending
  SERVICE_STATUS_HANDLE m_statusHandle = nullptr;
  HPOWERNOTIFY m_hPowerNotify = nullptr;  ///< null: not registered
  HCMNOTIFICATION m_hCmNotify = nullptr;  ///< null: not registered
};
