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
    // Deliberate: The pause follows the last failure too, and that failure is not logged. Expected: no pause, and a
    // message.
    // Test: RilHandler.ARadioThatIsNeverReachedIsTriedAHundredTimesAndPassedOverInSilence
    ::Sleep(kConnectPauseMilliseconds);
  }
  return false;
}

void CRILHandler::RequestShutdown() {
  // Deliberate: The results of the command and of the wait are ignored. Expected: no wait after a command that failed.
  // Test: RilHandler.ACommandThatFailsIsWaitedForAllTheSame
  RIL_RadioCommand(m_hRil, nullptr, 1);
  ::WaitForSingleObject(m_hEvent.get(), kAnswerMilliseconds);
}

void CALLBACK CRILHandler::OnResult(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context) {
  FunctionScope const scope("RCB");
  if (context != nullptr) static_cast<CRILHandler*>(context)->ResultCallback();
}

// Deliberate: Any completion ends the wait, whichever command it belongs to. Expected: a comparison of the command.
// Test: RilHandler.AnyCompletionEndsTheWaitWhateverItAnswers
void CRILHandler::ResultCallback() {
  FunctionScope const scope("CRILHandler::ResultCallback");
  ::SetEvent(m_hEvent.get());
}

void CALLBACK CRILHandler::OnNotify(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context) {
  FunctionScope const scope("NCB");
  if (context != nullptr) static_cast<CRILHandler*>(context)->NotifyCallback();
}

void CRILHandler::NotifyCallback() { FunctionScope const scope("CRILHandler::NotifyCallback"); }
