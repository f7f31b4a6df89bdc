#include "vantord/service/zone_mask.h"

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/registry.h"

void GetDebugZoneMask() {
  DWORD mask = 0;
  if (SGetRegistryDWORD(TEXT("SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters"), TEXT("ulZoneMask"), mask)) {
    g_ulZoneMask = mask;
    return;
  }
  // Deliberate: A missing mask is logged before the trace provider exists, so the two messages are never delivered.
  // Expected: the provider first.
  // Test: DiagnosticLogTest.AMissingZoneMaskIsSaidToNobody
  DebugPrint(TEXT("%S:%d : Fail to get dwRegulZoneMask registry"), "GetDebugZoneMask", 71);
}
