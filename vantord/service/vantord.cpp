#include "vantord/service/vantord.h"

#include <memory>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"
#include "vantord/modem/modem_qc.h"
#include "vantord/service/build_stamp.h"
#include "vantord/service/error.h"
#include "vantord/service/zone_mask.h"

namespace {

constexpr WCHAR kServiceName[] = TEXT("Vantord");

/// Deliberate: The service accepts neither shutdown nor pause and continue. Expected: at least shutdown.
/// Test: VantordService.AcceptsStopPowerAndPreshutdown
constexpr DWORD kControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_POWEREVENT | SERVICE_ACCEPT_PRESHUTDOWN;
static_assert(kControlsAccepted == 0x141);

constexpr DWORD kStopPollMilliseconds = 2000;

/// A queued work item. Owned by the thunk that runs it.
struct WorkItem {
  void (CVantord::*work)();
  CVantord* object;
};

}  // namespace

CVantord::CVantord() : CServiceBase(kServiceName, kControlsAccepted), m_fStopped(0) {
  // Deliberate: The constructor logs before the trace provider exists, so its message is never delivered. Expected: the
  // provider first.
  // Test: VantordService.WhatIsLoggedBeforeTheStartWorkIsNeverDelivered
  DebugPrintZone(ZONE_INFO, TEXT("%S:%d : Service m_controlsAccepted, %x"), "CVantord::CVantord", 41,
                 kControlsAccepted);
  m_hStoppedEvent = EventHandle(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!m_hStoppedEvent) RaiseLastError();
}

void CVantord::OnStart(DWORD, LPWSTR*) {
  GetDebugZoneMask();
  TraceProviderInit();
  DebugPrintZone(ZONE_INFO, TEXT("%S:%d : VantorService OnStart [%S, %S]"), "CVantord::OnStart", 62, kBuildDate,
                 kBuildTime);

  // Made as the concrete class: the base has no virtual destructor.
  m_pModem = std::make_shared<CModemQC>();
  if (!m_pModem->ExistModemCtrl()) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : VantorService do not start for WIFI device"), "CVantord::OnStart", 69);
    TraceProviderCleanup();
    // Not an error code: the start ends as a clean stop with exit code 0, without failure actions.
    throw -1;
  }

  RegisterDeviceEvent();
  RegisterPowerEvent();

  QueueWorker(&CVantord::ServiceWorkerThread);
}

void CVantord::QueueWorker(void (CVantord::*work)()) {
  auto item = std::make_unique<WorkItem>(WorkItem{work, this});
  if (::QueueUserWorkItem(WorkItemThunk, item.get(), WT_EXECUTELONGFUNCTION)) {
    // Owned by the thunk now, which may already have ended.
    (void)item.release();
    return;
  }
  DWORD const error = ::GetLastError();
  // Deliberate: If the worker cannot be queued, the provider and the notifications stay registered. Expected: a release
  // of both.
  // Test: VantordService.AWorkerThatCannotBeQueuedStopsTheServiceWithTheError
  RaiseError(error);
}

DWORD WINAPI CVantord::WorkItemThunk(LPVOID context) {
  std::unique_ptr<WorkItem> const item(static_cast<WorkItem*>(context));
  (item->object->*item->work)();
  return 0;  // the service object may be destroyed by now
}

void CVantord::ServiceWorkerThread() {
  DebugPrintZone(ZONE_INFO, TEXT("%S:%d : ServiceWorkerThread to run"), "CVantord::ServiceWorkerThread", 104);
  (void)m_pModem->Init();
  StartServiceOEM();
  if (::WaitForSingleObject(m_hStoppedEvent.get(), INFINITE) != WAIT_OBJECT_0) RaiseLastError();
  // After this store the thread that stops the service may destroy the object.
  m_fStopped = 1;
}

void CVantord::OnStop() {
  DebugPrintZone(ZONE_INFO, TEXT("%S:%d : VantorService OnStop"), "CVantord::OnStop", 114);
  StopWorker(1);
}

void CVantord::OnPreshutdown() {
  DebugPrintZone(ZONE_INFO, TEXT("%S:%d : VantorService OnPreshutdown"), "CVantord::OnPreshutdown", 119);
  StopWorker(0);
}

void CVantord::StopWorker(DWORD flag) {
  if (m_pModem) m_pModem->Deinit(flag);
  ::SetEvent(m_hStoppedEvent.get());
  // Deliberate: A stop waits without limit for start-up work that still runs. Expected: a time-out.
  // Test: VantordService.AStopDuringTheStartUpWaitsForItInStepsOfTwoSeconds
  while (m_fStopped == 0) ::Sleep(kStopPollMilliseconds);
  // Deliberate: The provider is unregistered when the worker has ended, so the last status report is in no trace.
  // Expected: the provider's end after the last message.
  // Test: VantordService.AStopUnregistersTheTraceProviderAndSaysNothingAfterIt
  TraceProviderCleanup();
}
