#include "vantord/service/zone_mask.h"

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/registry.h"

void GetDebugZoneMask() {
  DWORD mask = 0;
  if (SGetRegistryDWORD(TEXT("SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters"), TEXT("ulZoneMask"), mask)) {
    g_ulZoneMask = mask;
    return;
  }
  // Kept on purpose: nobody ever receives this line, nor the reader's own before it, since the service asks for its
  // mask before it has a provider. One would expect the provider to come first. Pinned by
  // DiagnosticLogTest.AMissingZoneMaskIsSaidToNobody.
  DebugPrint(TEXT("%S:%d : Fail to get dwRegulZoneMask registry"), "GetDebugZoneMask", 71);
}
