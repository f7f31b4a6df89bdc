// CServiceBase: the frame of a Windows service with its own process. It owns the status record, routes controls to
// virtual operations, and guards each transition: pending state, operation, final state.
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
  /// Runs on the process's first thread, after Run has returned.
  virtual ~CServiceBase() = default;

  /// Device-interface events, on a thread of the configuration manager, and the service manager's device events, on the
  /// control thread; `eventData` is the sender's.
  virtual void OnDeviceEvent(DWORD eventType, LPVOID eventData);

  /// Connects the process to the service manager; returns after the service has stopped. `service` must outlive the
  /// call.
  static void Run(CServiceBase& service);

 protected:
  /// `name` is not copied and must outlive the object.
  CServiceBase(const WCHAR* name, DWORD controlsAccepted);

  /// The start work, called by the framework on the service thread. If it raises a DWORD, the start fails with that
  /// exit code; if it raises anything else, the service stops with exit code 0.
  virtual void OnStart(DWORD argumentCount, LPWSTR* arguments) = 0;
  // The framework calls the following on the control thread; what they raise is caught, except from OnPowerEvent and
  // OnDefaultControl.
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

  /// Requests a restart 1 s after each of the first three crashes of a day. Failures are logged.
  void ConfigureFailureActions();

  // Undo the registrations, if made, and clear their handles; each returns Windows' code.
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
  static DWORD s_checkPoint;       ///< check point of the next pending report; never reset

  const WCHAR* m_name;
  SERVICE_STATUS m_status;   ///< as last reported
  DWORD m_controlsAccepted;  ///< reported unless the service is stopped or start-pending
  SERVICE_STATUS_HANDLE m_statusHandle = nullptr;
  HPOWERNOTIFY m_hPowerNotify = nullptr;  ///< null: not registered
  HCMNOTIFICATION m_hCmNotify = nullptr;  ///< null: not registered
};
