#include "cli/samples/crash_samples.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "cli/samples/sample_archive.h"
#include "sim/tablet/drive/pe_version.h"

namespace cli {

namespace {

constexpr std::string_view kKim = "S-1-5-21-2891047133-1204871593-3380512846-1001";

constexpr std::string_view kKimInSession1 = R"(
[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData\1]
"LoggedOnUserSID"="S-1-5-21-2891047133-1204871593-3380512846-1001"
)";

constexpr std::string_view kLeeInSession1KimInSession2 = R"(
[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData\1]
"LoggedOnUserSID"="S-1-5-21-2891047133-1204871593-3380512846-1002"

[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData\2]
"LoggedOnUserSID"="S-1-5-21-2891047133-1204871593-3380512846-1001"
)";

constexpr std::array<CrashSample, 5> kCrashSamples{{
    {.name = "crashed-modem",
     .base = "already-deployed",
     .keys = "  \"sessions\": [{ \"id\": 1, \"user\": \"kim\" }],\n",
     .user = kKim,
     .logged_on = kKimInSession1,
     .crashed = true},
    {.name = "crashed-nobody-logged-on",
     .base = "already-deployed",
     .keys = "  \"sessions\": [{ \"id\": 1 }],\n",
     .user = {},
     .logged_on = {},
     .crashed = true},
    {.name = "crashed-two-sessions",
     .base = "already-deployed",
     .keys = "  \"sessions\": [{ \"id\": 1, \"user\": \"lee\" }, { \"id\": 2, \"user\": \"kim\" }],\n",
     .user = kKim,
     .logged_on = kLeeInSession1KimInSession2,
     .crashed = true},
    {.name = "oobe-then-desktop",
     .base = "fresh",
     .keys = "  \"setup\": [{ \"at_ms\": 12000, \"image_state\": \"IMAGE_STATE_COMPLETE\" }],\n",
     .user = {},
     .logged_on = {},
     .image_state = "IMAGE_STATE_UNDEPLOYABLE"},
    {.name = "no-amss-driver",
     .base = "fresh",
     .keys = "  \"amss\": { \"present\": false },\n",
     .user = {},
     .logged_on = {}},
}};

}  // namespace

const CrashSample* FindCrashSample(std::string_view name) {
  auto const found =
      std::ranges::find_if(kCrashSamples, [&](const CrashSample& sample) { return sample.name == name; });
  return found == kCrashSamples.end() ? nullptr : &*found;
}

std::string CrashRegistry(const CrashSample& sample) {
  std::string text = fmt::format(R"(Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Setup\State]
"ImageState"="{}"

[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\CrashControl]
"CrashDumpEnabled"=dword:{:08x}
)",
                                 sample.image_state, sample.crashed ? 3 : 0);
  if (!sample.user.empty()) {
    text += fmt::format(R"(
; Who is logged on where, and whom the logon screen has selected
[HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\LogonUI]
"SelectedUserSID"="{}"
)",
                        sample.user);
  }
  return text + std::string(sample.logged_on);
}

void PutCrash(const CrashSample& sample, bool small, tablet::Drive& drive) {
  if (!sample.crashed) return;
  constexpr std::uint64_t kDumpBytes = 3 << 20;
  constexpr std::uint64_t kSmallDumpBytes = 3 << 10;
  std::u16string const folder = u"C:\\Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps\\";
  drive.Put(folder + u"modem.dmp", FirmwareContent("modem.dmp", small ? kSmallDumpBytes : kDumpBytes));
  drive.Put(folder + u"reason.txt", FirmwareContent("reason.txt", 200));
  drive.Put(u"C:\\Windows\\ToastGenerator\\ToastGenerator.exe", tablet::MakeExecutableWithVersion(1, 0, 3, 0));
}

}  // namespace cli
