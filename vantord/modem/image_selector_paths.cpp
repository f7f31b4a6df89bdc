// The paths of the modem class driver's firmware: two values of its device's instance key.
#include <cwchar>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/registry.h"
#include "vantord/common/wide_format.h"
#include "vantord/modem/modem_qc.h"

namespace {

constexpr WCHAR kModemClassKey[] =
    TEXT("system\\currentcontrolset\\control\\class\\{4d36e97d-e325-11ce-bfc1-08002be10318}");
constexpr WCHAR kFirmwarePathValue[] = TEXT("AmssFwImagePath");
constexpr WCHAR kSoftwarePathValue[] = TEXT("AmssSwImagePath");
constexpr WCHAR kFirmwarePath[] = TEXT("\\SystemRoot\\System32\\qcdsp1v2850.mbn");
constexpr WCHAR kSoftwarePath[] = TEXT("\\SystemRoot\\System32\\qcdsp2850.mbn");

}  // namespace

// Deliberate: The first instance with a firmware path decides; the software path is not read. Expected: a check of
// every instance and of both paths.
// Test: ImagePaths.TheFirstInstanceWithAPathDecides, ImagePaths.TheSoftwarePathIsNeverLookedAt
bool CModemQC::CheckImageRegPath() {
  std::vector<WideString> instances;
  if (!SRegistrySubKeys(kModemClassKey, instances)) return false;

  for (const WideString& instance : instances) {
    WCHAR instanceKey[MAX_PATH] = {};
    FormatWideTo(instanceKey, TEXT("%s\\%s"), kModemClassKey, instance.c_str());
    DebugPrintZone(ZONE_MODEM_INFO, TEXT("%S:%d : wcsSystemClassDriverPath (%s)"), "CModemQC::CheckImageRegPath", 112,
                   instanceKey);

    // Modems of other makes have no such value.
    WCHAR path[MAX_PATH] = {};
    if (!SGetRegistrySZ(instanceKey, kFirmwarePathValue, path, sizeof(path))) {
      DebugPrintZone(ZONE_MODEM_INFO, TEXT("%S:%d : wcsAmssFwImagePath not exist in %s"), "CModemQC::CheckImageRegPath",
                     118, instance.c_str());
      continue;
    }
    if (_wcsicmp(path, kFirmwarePath) == 0) {
      DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Already updated to %s"), "CModemQC::CheckImageRegPath", 130, path);
      return false;
    }
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Needs to be updated from %s"), "CModemQC::CheckImageRegPath", 124, path);
    // Instance names have four digits: the path is far shorter than the field.
    CopyWide(m_wcsClassDriverPath, sizeof(m_wcsClassDriverPath) / sizeof(WCHAR), instanceKey);
    return true;
  }
  return false;
}

// Deliberate: The second value is written even if the first could not be. Expected: a stop at the first failure.
// Test: ImagePaths.AFailureOfTheFirstValueDoesNotStopTheSecond
void CModemQC::UpdateImageRegPath() {
  if (m_wcsClassDriverPath[0] == 0) return;
  if (SSetRegistrySZ(m_wcsClassDriverPath, kFirmwarePathValue, kFirmwarePath)) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Update QC_AMSS_FW_IMAGE_REG_NAME = %s!!!"),
                   "CModemQC::UpdateImageRegPath", 145, kFirmwarePath);
  }
  if (SSetRegistrySZ(m_wcsClassDriverPath, kSoftwarePathValue, kSoftwarePath)) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Update QC_AMSS_SW_IMAGE_REG_NAME = %s!!!"),
                   "CModemQC::UpdateImageRegPath", 149, kSoftwarePath);
  }
}
