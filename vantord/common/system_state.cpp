#include "vantord/common/system_state.h"

#include <algorithm>
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

/// The states that setup has completed or resealed.
constexpr const WCHAR* kNonDefaultStates[] = {
    TEXT("IMAGE_STATE_COMPLETE"),
    kAudit,
    TEXT("IMAGE_STATE_GENERALIZE_RESEAL_TO_AUDIT"),
    TEXT("IMAGE_STATE_SPECIALIZE_RESEAL_TO_OOBE"),
    TEXT("IMAGE_STATE_GENERALIZE_RESEAL_TO_OOBE"),
};

/// Setup's image state. Its names are exact: another letter case makes another state.
/// Kept on purpose: one would expect one reading for the several questions of a start; each asks the registry again,
/// and a change between two of them is seen. Pinned by the test SystemStateTest.AChangeBetweenTwoQueriesIsSeen.
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

// Kept on purpose: one would expect an unreadable state to be an error, and both reseal-to-audit states to be audit
// mode. It counts as not audit, and only the specialize state counts. Pinned by the tests
// SystemStateTest.WithoutAnImageStateEveryQueryIsFalse and OnlyTheSpecializeStateIsAuditMode.
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
  // Kept on purpose: one would expect shared access, or a look at the attributes; a file that cannot be opened counts
  // as absent. Pinned by the test SystemStateTest.AFileThatIsOpenedExclusivelyElsewhereCountsAsAbsent.
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
  // Kept on purpose: one would expect names of states to be compared as Windows compares names; "image_state_complete"
  // is a default setup state. Pinned by the test SystemStateTest.AStateInLowerCaseIsADefaultSetupState.
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
  // Kept on purpose: one would expect a line for the other verdict too, and this one in a zone for information; it is
  // in the zone of failures. Pinned by the tests SystemStateTest.ADisabledCrashDumpIsNotLogged and
  // TheCrashDumpLineNeedsTheErrorZone.
  if (dumpKind == 0) return false;
  if (IsZoneOn(ZONE_ERROR)) {
    HelperDebugPrint(TEXT("%S:%d : dwDiagnosisDumpEnabled set."), "IsDiagnosisDumpEnabled", 251);
  }
  return true;
}
