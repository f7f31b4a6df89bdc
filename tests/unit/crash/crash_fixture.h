// A tablet whose modem may have crashed, and the service's log open.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/testing/tablet_fixture.h"

namespace crash_tests {

inline constexpr char16_t kDumpFolder[] = u"c:\\Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps\\";
inline constexpr char16_t kRetailLog[] = u"c:\\users\\public\\documents\\RetailLog";
/// What a crash that is collected as the tablet comes up goes into.
inline constexpr char16_t kCollected[] = u"c:\\users\\public\\documents\\RetailLog\\CPCrash_20260302_080000\\";
inline constexpr char16_t kLogonUi[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI";
inline constexpr char16_t kSetupState[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State";
inline constexpr char16_t kKim[] = u"S-1-5-21-1-2-3-1001";
inline constexpr char16_t kLee[] = u"S-1-5-21-1-2-3-1002";

class CrashTest : public testing_support::TabletTest {
 protected:
  /// No zone is on: these messages are sent whatever the mask.
  CrashTest();

  void PowerOnAgain(const tablet::Description& description);
  /// Kim is logged on in session 1, and on the screen; the toast program is there.
  static tablet::Description WithKim();
  void LogKimOn();

  void SelectUser(std::u16string_view sid) { registry().PutText(kLogonUi, u"SelectedUserSID", sid); }
  /// An empty `sid`: the session's key says nothing of a user.
  void PutSession(std::u16string_view name, std::u16string_view sid);
  void PutImageState(std::u16string_view state) { registry().PutText(kSetupState, u"ImageState", state); }

  void PutDump(std::u16string_view name, std::string_view text) { Put(kDumpFolder + std::u16string(name), text); }

  /// The results of all calls of that name so far.
  std::vector<std::string> Results(std::string_view call);
  /// The first process of that name in a session.
  std::shared_ptr<tablet::Process> ProcessNamed(std::u16string_view name, std::uint32_t session);
};

}  // namespace crash_tests
