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

/// Kept on purpose: neither shutdown nor pause and continue (pinned by VantordService.AcceptsStopPowerAndPreshutdown).
constexpr DWORD kControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_POWEREVENT | SERVICE_ACCEPT_PRESHUTDOWN;
static_assert(kControlsAccepted == 0x141);

constexpr DWORD kStopPollMilliseconds = 2000;

/// What a queued work item needs to know. Owned by the thunk that runs it.
struct WorkItem {
  void (CVantord::*work)();
  CVantord* object;
};

}  // namespace

CVantord::CVantord() : CServiceBase(kServiceName, kControlsAccepted), m_fStopped(0) {
  // Kept on purpose: issued before the trace provider exists, so never delivered
  // (pinned by VantordService.WhatIsLoggedBeforeTheStartWorkIsNeverDelivered).
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

  // Owned as the class it was made as: the base has no virtual destructor.
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
    // The thunk's from here on; it may have ended by now.
    (void)item.release();
    return;
  }
  DWORD const error = ::GetLastError();
  // Kept on purpose: provider and notifications stay registered; the process ends right after the STOPPED report
  // (pinned by VantordService.AWorkerThatCannotBeQueuedStopsTheServiceWithTheError).
  RaiseError(error);
}

DWORD WINAPI CVantord::WorkItemThunk(LPVOID context) {
  std::unique_ptr<WorkItem> const item(static_cast<WorkItem*>(context));
  (item->object->*item->work)();
  return 0;  // the service object may be gone by now
}

void CVantord::ServiceWorkerThread() {
  DebugPrintZone(ZONE_INFO, TEXT("%S:%d : ServiceWorkerThread to run"), "CVantord::ServiceWorkerThread", 104);
  (void)m_pModem->Init();
  StartServiceOEM();
  if (::WaitForSingleObject(m_hStoppedEvent.get(), INFINITE) != WAIT_OBJECT_0) RaiseLastError();
  // From this store on the object may be destroyed by the thread that stops the service.
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
  // Kept on purpose: no upper bound. A start-up that is still at work is waited for, however long it takes
  // (pinned by VantordService.AStopDuringTheStartUpWaitsForItInStepsOfTwoSeconds).
  while (m_fStopped == 0) ::Sleep(kStopPollMilliseconds);
  // Kept on purpose: nothing is logged from here on, not even the last status report
  // (pinned by VantordService.AStopUnregistersTheTraceProviderAndSaysNothingAfterIt).
  TraceProviderCleanup();
}
