#include "vantord/common/system_state.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/registry.h"

namespace {

constexpr const WCHAR* kCrashControlKey = TEXT("SYSTEM\\CurrentControlSet\\Control\\CrashControl");
constexpr const WCHAR* kSetupStateKey = TEXT("SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State");
constexpr const WCHAR* kFactoryLibrary = TEXT("C:\\MfgDiag\\Dlls\\RILRouter.dll");
constexpr const WCHAR* kAudit = TEXT("IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT");
constexpr const WCHAR* kUndeployable = TEXT("IMAGE_STATE_UNDEPLOYABLE");

/// The completed and resealed states.
constexpr const WCHAR* kNonDefaultStates[] = {
    TEXT("IMAGE_STATE_COMPLETE"),
    kAudit,
    TEXT("IMAGE_STATE_GENERALIZE_RESEAL_TO_AUDIT"),
    TEXT("IMAGE_STATE_SPECIALIZE_RESEAL_TO_OOBE"),
    TEXT("IMAGE_STATE_GENERALIZE_RESEAL_TO_OOBE"),
};

/// Setup's image state. Letter case counts.
/// Deliberate: Each query reads the registry again, so a change between two queries is seen. Expected: one read for all
/// queries of a start.
/// Test: SystemStateTest.AChangeBetweenTwoQueriesIsSeen
class ImageState {
 public:
  ImageState() : m_isRead(SGetRegistrySZ(kSetupStateKey, TEXT("ImageState"), m_text, sizeof(m_text))) {}
  bool IsRead() const { return m_isRead; }
  const WCHAR* Text() const { return m_text; }
  bool Is(const WCHAR* state) const { return wcscmp(m_text, state) == 0; }

 private:
  WCHAR m_text[MAX_PATH] = {};
  bool m_isRead;
};

}  // namespace

// Deliberate: An unreadable state counts as not audit mode, and of the two reseal-to-audit states only the specialize
// one is audit mode. Expected: an error, and both states.
// Test: SystemStateTest.WithoutAnImageStateEveryQueryIsFalse, SystemStateTest.OnlyTheSpecializeStateIsAuditMode
bool IsAuditMode() {
  ImageState const state;
  if (!state.IsRead()) {
    HelperDebugPrint(TEXT("%S:%d : SGetRegistrySZ FAILED"), "IsAuditMode", 1623);
    return false;
  }
  if (state.Is(kAudit)) {
    HelperDebugPrint(TEXT("%S:%d : IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! AUDIT MODE!!!"), "IsAuditMode", 1612);
    return true;
  }
  HelperDebugPrint(TEXT("%S:%d : Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = %s"), "IsAuditMode", 1617,
                   state.Text());
  return false;
}

bool IsUndeployMode() {
  ImageState const state;
  if (!state.IsRead()) {
    HelperDebugPrint(TEXT("%S:%d : SGetRegistrySZ FAILED"), "IsUndeployMode", 1647);
    return false;
  }
  if (state.Is(kUndeployable)) {
    HelperDebugPrint(TEXT("%S:%d : IMAGE_STATE_UNDEPLOYABLE! OOBE MODE!!!"), "IsUndeployMode", 1636);
    return true;
  }
  HelperDebugPrint(TEXT("%S:%d : Not IMAGE_STATE_UNDEPLOYABLE! szImageState = %s"), "IsUndeployMode", 1641,
                   state.Text());
  return false;
}

bool CheckFileExist(const WCHAR* path) {
  // Deliberate: A file that cannot be opened counts as missing. Expected: shared access, or a read of the attributes.
  // Test: SystemStateTest.AFileThatIsOpenedExclusivelyElsewhereCountsAsAbsent
  FileHandle const file(::CreateFileW(path, 0, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file) {
    HelperDebugPrint(TEXT("%S:%d : The %s is exist!!!"), "CheckFileExist", 1724, path);
    return true;
  }
  HelperDebugPrint(TEXT("%S:%d : The %s is NOT exist!!!"), "CheckFileExist", 1730, path);
  return false;
}

bool IsFactoryLoggingMode() {
  if (IsAuditMode()) {
    HelperDebugPrint(TEXT("%S:%d : It is Audit mode. fRet = true!!"), "IsFactoryLoggingMode", 1683);
    return true;
  }
  if (IsUndeployMode()) {
    if (CheckFileExist(kFactoryLibrary)) {
      HelperDebugPrint(TEXT("%S:%d : RILRouter is exist. fRet = true!!"), "IsFactoryLoggingMode", 1690);
      return true;
    }
    HelperDebugPrint(TEXT("%S:%d : It is OOBE mode. fRet = false!!"), "IsFactoryLoggingMode", 1695);
    return false;
  }
  HelperDebugPrint(TEXT("%S:%d : It is USER mode. fRet = false!!"), "IsFactoryLoggingMode", 1701);
  return false;
}

bool IsDefaultSetupState() {
  ImageState const state;
  if (!state.IsRead()) {
    HelperDebugPrint(TEXT("%S:%d : SGetRegistrySZ FAILED"), "IsDefaultSetupState", 1598);
    return false;
  }
  // Deliberate: States are compared with letter case: "image_state_complete" is a default setup state. Expected: a
  // comparison without case.
  // Test: SystemStateTest.AStateInLowerCaseIsADefaultSetupState
  if (std::any_of(std::begin(kNonDefaultStates), std::end(kNonDefaultStates),
                  [&](const WCHAR* listed) { return state.Is(listed); })) {
    HelperDebugPrint(TEXT("%S:%d : Non Default Setup State! (%s)"), "IsDefaultSetupState", 1587, state.Text());
    return false;
  }
  HelperDebugPrint(TEXT("%S:%d : Default Setup State! (%s)"), "IsDefaultSetupState", 1592, state.Text());
  return true;
}

bool IsDiagnosisDumpEnabled() {
  DWORD dumpKind = 0;
  if (!SGetRegistryDWORD(kCrashControlKey, TEXT("CrashDumpEnabled"), dumpKind)) return false;
  // Deliberate: Only an enabled crash dump is logged, and in the error zone. Expected: a line for each verdict, in the
  // information zone.
  // Test: SystemStateTest.ADisabledCrashDumpIsNotLogged, SystemStateTest.TheCrashDumpLineNeedsTheErrorZone
  if (dumpKind == 0) return false;
  if (IsZoneOn(ZONE_ERROR)) {
    HelperDebugPrint(TEXT("%S:%d : dwDiagnosisDumpEnabled set."), "IsDiagnosisDumpEnabled", 251);
  }
  return true;
}
