#include "modem/modem_qc.h"

#include "common/diagnostic_log.h"
#include "common/log_session.h"
#include "common/registry.h"
#include "common/system_state.h"
#include "modem/image_selector.h"
#include "modem/registry_names.h"
#include "modem/trace_providers.h"
#include "service/ril/ril_handler.h"

namespace {

/// REG_DWORD under the parameters, read by the partner service only.
constexpr WCHAR kReadyForDumpsValue[] = TEXT("PELT_KNOW_TO_GO_SSR");

/// Kept on purpose: this service reads the value only to find out whether to write it, and never acts on it (pinned by
/// ModemQc.TellsThePartnerServiceThatDumpsMayBeTaken).
void AllowDumpsOfPartner() {
  DWORD ready = 0;
  if (SGetRegistryDWORD(kParametersKey, kReadyForDumpsValue, ready) && ready == 1) return;
  SSetRegistryDWORD(kParametersKey, kReadyForDumpsValue, 1);
}

}  // namespace

// Kept on purpose: whether the event could be made is not checked. Without one there is nothing that Deinit can signal
// (pinned by ModemQc.StartsAndEndsWithoutAStopEvent).
CModemQC::CModemQC() : m_hExitEvent(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  FunctionScope const scope("CModemQC::CModemQC");
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : CModemQC constructor successfully."), "CModemQC::CModemQC", 9);
}

CModemQC::~CModemQC() {
  ::CloseHandle(m_hExitEvent);
  m_hExitEvent = nullptr;
  delete m_pModemCtrl;
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
  SGetRegistryDWORD(kParametersKey, kDistributeValue, distribute);
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

  // The modem's crash dumps are collected here once there is a collector, if the system keeps dumps at all.
  return 0;
}

void CModemQC::DeployModemImage() {
  DebugPrintZone(ZONE_MODEM_INFO, TEXT("%S:%d : Extract Modem binary(change Path) and SSR will be run"),
                 "CModemQC::Init", 48);
  CImageSelector selector;
  // Without a complete image the driver keeps what it has, and the request stays for the next start.
  if (selector.SelectAndDeployImage() == 0) return;
  UpdateImageRegPath();
  // The silent reset follows here once first-boot setup is watched; it is due whether or not a path was written.
}

// Kept on purpose: stop and preshutdown end the modem in the same way (pinned by ModemQc.StopAndPreshutdownAreAlike).
void CModemQC::Deinit(DWORD) {
  CRILHandler radio;
  if (radio.Init()) radio.RequestShutdown();
  // Whether or not the radio was reached. The connection ends after this, with the handler.
  ::SetEvent(m_hExitEvent);
}
