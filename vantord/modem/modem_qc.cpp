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

/// Kept on purpose: this service reads the value only to find out whether to write it, and never acts on it (pinned by
/// ModemQc.TellsThePartnerServiceThatDumpsMayBeTaken).
void AllowDumpsOfPartner() {
  DWORD ready = 0;
  if (SGetRegistryDWORD(kParametersKey, kReadyForDumpsValue, ready) && ready == 1) return;
  (void)SSetRegistryDWORD(kParametersKey, kReadyForDumpsValue, 1);
}

}  // namespace

// Kept on purpose: whether the event could be made is not checked. Without one there is nothing that Deinit can signal
// (pinned by ModemQc.StartsAndEndsWithoutAStopEvent).
CModemQC::CModemQC() : m_hExitEvent(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  FunctionScope const scope("CModemQC::CModemQC");
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : CModemQC constructor successfully."), "CModemQC::CModemQC", 9);
}

// Nothing here fails as a whole: every step logs its own failure and the next one follows. The result says nothing.
DWORD CModemQC::Init() {
  DebugPrintZone(ZONE_MODEM_INFO, TEXT("%S:%d : CModemQC Init Starts."), "CModemQC::Init", 24);
  if (IsFactoryLoggingMode()) {
    Debug::StartLogSession(kFactorySessionName, kFactoryProviders, kFactoryProviderCount, kFactoryMinimumBuffers);
  }
  ReadMobileBroadBandPackageVer();

  // The request is read before the driver's paths are looked at; an unreadable one is none.
  DWORD distribute = 0;
  (void)SGetRegistryDWORD(kParametersKey, kDistributeValue, distribute);
  bool const pathsAreOld = CheckImageRegPath();
  if (pathsAreOld || distribute == 1) {
    DeployModemImage();
  } else {
    AllowDumpsOfPartner();
  }

  // Kept on purpose: asked again instead of remembered, log lines included (pinned by
  // ModemQc.AsksTwiceWhetherItRunsOnTheFactoryLine).
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
  // Without a complete image the driver keeps what it has, and the request stays for the next start.
  if (selector.SelectAndDeployImage() == 0) return;
  UpdateImageRegPath();
  // Due whether or not a path was written.
  // Kept on purpose: the thread is on its own from here, where one would expect the destructor to wait for it. It gets
  // the event itself, which is set before it is closed; a thread that is between two waits then finds it closed and
  // polls until the process ends, which is at once. A stop that came before this line ends it only while setup runs.
  // Pinned by the tests ModemRestart.NobodyWaitsForTheSilentReset and AStopDuringTheDeploymentDoesNotHoldTheResetBack.
  ThreadHandle const closedAtOnce(
      ::CreateThread(nullptr, 0, ExecuteSilentResetQCThread, m_hExitEvent.get(), 0, nullptr));
}

// Kept on purpose: stop and preshutdown end the modem in the same way (pinned by ModemQc.StopAndPreshutdownAreAlike).
void CModemQC::Deinit(DWORD) {
  CRILHandler radio;
  if (radio.Init()) radio.RequestShutdown();
  // Whether or not the radio was reached. The connection ends after this, with the handler.
  ::SetEvent(m_hExitEvent.get());
}
