// CVantord: the modem loader service.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "vantord/common/handles.h"
#include "vantord/modem/modem_template.h"
#include "vantord/service/service_base.h"

class CVantord : public CServiceBase {
 public:
  /// Raises the Windows error code if its event cannot be created.
  CVantord();

 protected:
  void OnStart(DWORD argumentCount, LPWSTR* arguments) override;
  void OnStop() override;
  void OnPreshutdown() override;
  void OnPowerEvent(DWORD eventType, LPVOID eventData) override;
  void OnDeviceEvent(DWORD eventType, LPVOID eventData) override;
  void OnDefaultControl(DWORD control) override;

  std::shared_ptr<CModemTemplate> m_pModem;  ///< empty until OnStart

 private:
  /// Initialises the modem, then waits until the service stops. On a pool thread.
  void ServiceWorkerThread();

  /// Handles a change of the console's display state; ignores null and other settings.
  void OnDisplayState(const POWERBROADCAST_SETTING* setting);

  /// Starts the partner service and waits while it makes progress. Failures are logged.
  void StartServiceOEM();
  /// Sends a custom control to the partner service. Failures are logged.
  void SendModemControlMessage(DWORD control);

  /// Queues a member function on the thread pool. Raises the Windows error code on failure.
  void QueueWorker(void (CVantord::*work)());
  static DWORD WINAPI WorkItemThunk(LPVOID context);

  /// Ends the modem and the worker; `flag` is 1 at a stop and 0 at a preshutdown. Waits for the worker without limit.
  void StopWorker(DWORD flag);

  std::atomic<DWORD> m_fStopped;  ///< set to 1 by the worker after it has seen the stop event
  EventHandle m_hStoppedEvent;    ///< manual reset; signalled by StopWorker
};
