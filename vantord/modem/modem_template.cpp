#include "vantord/modem/modem_template.h"

#include <new>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/registry.h"
#include "vantord/modem/registry_names.h"

namespace {

constexpr WCHAR kServiceExecutable[] = TEXT("c:\\windows\\system32\\Vantord.exe");
constexpr WCHAR kPartnerExecutable[] = TEXT("c:\\windows\\system32\\PeltService.exe");

/// Bytes of the largest version block that is read.
constexpr DWORD kLargestVersionBlock = 4096;

struct ProductVersion {
  int part[4];  ///< most significant first
};

/// Deliberate: A file is skipped without a message if its version block is missing, unreadable or longer than 4096
/// bytes. Expected: a message.
/// Test: PackageVersions.ABlockOf4097BytesIsPassedOverInSilence
bool ReadProductVersion(const WCHAR* path, ProductVersion& version) {
  DWORD ignored = 0;
  DWORD const size = ::GetFileVersionInfoSizeW(path, &ignored);
  if (size == 0 || size > kLargestVersionBlock) return false;

  alignas(DWORD) BYTE block[kLargestVersionBlock] = {};
  if (!::GetFileVersionInfoW(path, 0, size, block)) return false;
  LPVOID root = nullptr;
  UINT rootBytes = 0;
  if (!::VerQueryValueW(block, TEXT("\\"), &root, &rootBytes) || root == nullptr) return false;

  auto const* info = static_cast<const VS_FIXEDFILEINFO*>(root);
  version = {{HIWORD(info->dwProductVersionMS), LOWORD(info->dwProductVersionMS), HIWORD(info->dwProductVersionLS),
              LOWORD(info->dwProductVersionLS)}};
  return true;
}

/// Null without memory for the object or its parts.
std::unique_ptr<CModemCtrlDevice> MakeModemCtrl() {
  try {
    return std::make_unique<CModemCtrlDevice>();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

CModemTemplate::CModemTemplate() : m_pModemCtrl(MakeModemCtrl()), m_modemState{0, 0}, m_bDisplayOn(0) {
  FunctionScope const scope("CModemTemplate::CModemTemplate");
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : CModemTemplate constructor successfully."),
                 "CModemTemplate::CModemTemplate", 9);
}

bool CModemTemplate::ExistModemCtrl() {
  if (m_pModemCtrl == nullptr) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : m_pModemCtrl NULL"), "CModemTemplate::ExistModemCtrl", 113);
    return false;
  }
  if (m_pModemCtrl->Open() == INVALID_HANDLE_VALUE) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : m_pModemCtrl Open Fail"), "CModemTemplate::ExistModemCtrl", 118);
    return false;
  }
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : m_pModemCtrl Open Success"), "CModemTemplate::ExistModemCtrl", 121);
  return true;
}

void CModemTemplate::ReadMobileBroadBandPackageVer() {
  WCHAR package[15] = {};
  if (SGetRegistrySZ(kServiceKey, TEXT("Version"), package, sizeof(package))) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : ReadMobileBroadBandPackageVer = %s"),
                   "CModemTemplate::ReadMobileBroadBandPackageVer", 18, package);
  }

  ProductVersion version = {};
  if (ReadProductVersion(kServiceExecutable, version)) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : GetVersionInfo - VANTORD_EXE = %d.%d.%d.%d"),
                   "CModemTemplate::ReadMobileBroadBandPackageVer", 24, version.part[0], version.part[1],
                   version.part[2], version.part[3]);
  }
  if (ReadProductVersion(kPartnerExecutable, version)) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : GetVersionInfo - PELTSERVICE_EXE = %d.%d.%d.%d"),
                   "CModemTemplate::ReadMobileBroadBandPackageVer", 29, version.part[0], version.part[1],
                   version.part[2], version.part[3]);
  }
}
