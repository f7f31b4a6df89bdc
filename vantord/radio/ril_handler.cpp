#include "vantord/radio/ril_handler.h"

#include "vantord/common/diagnostic_log.h"

namespace {

constexpr int kConnectAttempts = 100;
constexpr DWORD kConnectPauseMilliseconds = 1000;
constexpr DWORD kAnswerMilliseconds = 30000;
constexpr DWORD kAllNotificationClasses = 0xFFFFFFFF;

}  // namespace

CRILHandler::CRILHandler() {
  FunctionScope const scope("CRILHandler::CRILHandler");
  m_hEvent = EventHandle(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
}

CRILHandler::~CRILHandler() {
  // Before the event is closed: a callback may still be about to signal it.
  if (m_hRil != nullptr) RIL_Release(m_hRil);
}

bool CRILHandler::Init() {
  FunctionScope const scope("CRILHandler::Init");
  for (int attempt = 0; attempt < kConnectAttempts; ++attempt) {
    DWORD classes = kAllNotificationClasses;  // anew each time: the proxy may write to it
    HRESULT const result = RIL_Initialize(1, OnResult, OnNotify, &classes, 0, this, TEXT("Vantord"), &m_hRil);
    if (SUCCEEDED(result)) {
      DebugPrintZone(ZONE_INFO, TEXT("%S:%d : RIL_Initialize succeeded, hr = 0x%08x"), "CRILHandler::Init", 33, result);
      return true;
    }
    // Kept on purpose: also after the last failure, of which nothing is said
    // (pinned by RilHandler.ARadioThatIsNeverReachedIsTriedAHundredTimesAndPassedOverInSilence).
    ::Sleep(kConnectPauseMilliseconds);
  }
  return false;
}

void CRILHandler::RequestShutdown() {
  // Kept on purpose: neither the command's result nor the outcome of the wait is looked at
  // (pinned by RilHandler.ACommandThatFailsIsWaitedForAllTheSame).
  RIL_RadioCommand(m_hRil, nullptr, 1);
  ::WaitForSingleObject(m_hEvent.get(), kAnswerMilliseconds);
}

void CALLBACK CRILHandler::OnResult(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context) {
  FunctionScope const scope("RCB");
  if (context != nullptr) static_cast<CRILHandler*>(context)->ResultCallback();
}

// Kept on purpose: whatever command it answers (pinned by RilHandler.AnyCompletionEndsTheWaitWhateverItAnswers).
void CRILHandler::ResultCallback() {
  FunctionScope const scope("CRILHandler::ResultCallback");
  ::SetEvent(m_hEvent.get());
}

void CALLBACK CRILHandler::OnNotify(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context) {
  FunctionScope const scope("NCB");
  if (context != nullptr) static_cast<CRILHandler*>(context)->NotifyCallback();
}

void CRILHandler::NotifyCallback() { FunctionScope const scope("CRILHandler::NotifyCallback"); }
