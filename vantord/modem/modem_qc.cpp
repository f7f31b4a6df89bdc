#include "vantord/modem/modem_qc.h"

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/registry.h"
#include "vantord/common/system_state.h"
#include "vantord/crash/silent_reset.h"
#include "vantord/crash/ssr_dump.h"
#include "vantord/modem/factory_trace_session.h"
#include "vantord/modem/image_selector.h"
#include "vantord/modem/log_session.h"
#include "vantord/modem/registry_names.h"
#include "vantord/radio/ril_handler.h"

namespace {

/// REG_DWORD under the parameters, read by the partner service only.
constexpr WCHAR kReadyForDumpsValue[] = TEXT("PELT_KNOW_TO_GO_SSR");

/// Deliberate: The value is read only to see whether to write it. Expected: a use of the value.
/// Test: ModemQc.TellsThePartnerServiceThatDumpsMayBeTaken
void AllowDumpsOfPartner() {
  DWORD ready = 0;
  if (SGetRegistryDWORD(kParametersKey, kReadyForDumpsValue, ready) && ready == 1) return;
  (void)SSetRegistryDWORD(kParametersKey, kReadyForDumpsValue, 1);
}

}  // namespace

// Deliberate: A failed creation of the event is not noticed; Deinit then signals nothing. Expected: a failed start.
// Test: ModemQc.StartsAndEndsWithoutAStopEvent
CModemQC::CModemQC() : m_hExitEvent(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  FunctionScope const scope("CModemQC::CModemQC");
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : CModemQC constructor successfully."), "CModemQC::CModemQC", 9);
}

// No step ends the sequence: each logs its own failure and the next follows. The result has no meaning.
DWORD CModemQC::Init() {
  DebugPrintZone(ZONE_MODEM_INFO, TEXT("%S:%d : CModemQC Init Starts."), "CModemQC::Init", 24);
  if (IsFactoryLoggingMode()) {
    Debug::StartLogSession(kFactorySessionName, kFactoryProviders, kFactoryProviderCount, kFactoryMinimumBuffers);
  }
  ReadMobileBroadBandPackageVer();

  // The request is read before the driver's paths; an unreadable one counts as 0.
  DWORD distribute = 0;
  (void)SGetRegistryDWORD(kParametersKey, kDistributeValue, distribute);
  bool const pathsAreOld = CheckImageRegPath();
  if (pathsAreOld || distribute == 1) {
    DeployModemImage();
  } else {
    AllowDumpsOfPartner();
  }

  // Deliberate: The factory logging mode is read twice, log lines included. Expected: the result of the first call.
  // Test: ModemQc.AsksTwiceWhetherItRunsOnTheFactoryLine
  if (IsFactoryLoggingMode()) {
    CImageSelector selector;
    selector.UpdateUEFIModemIDinAudit();
  }

  if (IsDiagnosisDumpEnabled()) CheckSSRDumpFile();
  return 0;
}

void CModemQC::DeployModemImage() {
  DebugPrintZone(ZONE_MODEM_INFO, TEXT("%S:%d : Extract Modem binary(change Path) and SSR will be run"),
                 "CModemQC::Init", 48);
  CImageSelector selector;
  // Without a complete image the driver's paths and the request stay as they are.
  if (selector.SelectAndDeployImage() == 0) return;
  UpdateImageRegPath();
  // Started whether or not a path was written.
  // Deliberate: The service does not wait for the thread. The thread uses the event itself: after it is closed, a
  // thread between two waits polls until the process ends. A stop before this line ends the thread only while setup
  // runs. Expected: a wait for the thread.
  // Test: ModemRestart.NobodyWaitsForTheSilentReset, ModemRestart.AStopDuringTheDeploymentDoesNotHoldTheResetBack
  ThreadHandle const closedAtOnce(
      ::CreateThread(nullptr, 0, ExecuteSilentResetQCThread, m_hExitEvent.get(), 0, nullptr));
}

// Deliberate: Stop and preshutdown end the modem in the same way. Expected: a use of the flag.
// Test: ModemQc.StopAndPreshutdownAreAlike
void CModemQC::Deinit(DWORD) {
  CRILHandler radio;
  if (radio.Init()) radio.RequestShutdown();
  // Whether or not the radio was reached. The handler disconnects after this.
  ::SetEvent(m_hExitEvent.get());
}
