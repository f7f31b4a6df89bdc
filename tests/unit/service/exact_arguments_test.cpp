// What the service asks Windows for, to the letter: access rights, share modes, dispositions, flags and sizes of every
// call by which it reaches the registry, files, services, devices, tokens and processes.
#include <windows.h>

#include <map>
#include <regex>
#include <set>
#include <span>

#include "tests/testing/modem_fixture.h"
#include "tests/unit/service/service_fixture.h"

namespace {

using modem_tests::kCscMap;
using modem_tests::kParameters;
using modem_tests::kService;
using modem_tests::kSetupState;
using testing::ElementsAreArray;

constexpr char16_t kDumpFolder[] = u"c:\\Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps\\";
constexpr char16_t kLogonUi[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI";
constexpr char16_t kCrashControl[] = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
constexpr char16_t kArchivedFile[] = u"c:\\windows\\system32\\qcdsp1v2850.mbn";

/// The distinct arguments of one call in all runs, without handles and process ids.
using Arguments = std::map<std::string, std::set<std::string>>;

std::string WithoutHandles(const std::string& arguments) {
  static std::regex const handle(R"(^(0x[0-9a-f]+|HKEY_LOCAL_MACHINE)(, |$))");
  return std::regex_replace(arguments, handle, "");
}

class ExactArguments : public service_tests::ServiceTest {
 protected:
  static std::u16string Instance(std::u16string_view name) {
    return std::u16string(service_tests::kModemClass) + u"\\" + std::u16string(name);
  }

  /// A whole run of the service, with a suspend before its stop, on a tablet that `prepare` makes.
  void Run(const tablet::Description& description, const std::function<void()>& prepare) {
    PowerOnDeployed(description);
    prepare();
    Boot();
    Happen("suspend");
    Stop();
    for (const tablet::Event& event : machine().journal().events()) {
      if (const auto* call = std::get_if<tablet::CallEvent>(&event.what)) Note(*call);
    }
  }
  void PutArchive(std::u16string_view path) {
    ZipBuilder zip;
    zip.Add("qcdsp1v2850.mbn", ToBytes("firmware"), 0);
    drive().Put(path, zip.Build());
  }

  /// Kim's tablet: never deployed, its modem has crashed, the image chosen by the default.
  void RunOfAUser() {
    tablet::Description description = DefaultDescription();
    description.crash.sessions = {{.id = 1, .user = u"kim"}};
    description.partner.state = tablet::kServiceStopped;
    Run(description, [this] {
      // An instance without a path comes first: the size of the buffer shows where there is no value.
      registry().RemoveKey(Instance(u"0000"));
      registry().PutText(Instance(u"0000"), u"DriverDesc", u"another modem");
      registry().PutText(Instance(u"0001"), u"AmssFwImagePath", u"old.mbn");
      registry().PutDword(kCrashControl, u"CrashDumpEnabled", 3);
      registry().PutText(kLogonUi, u"SelectedUserSID", u"S-1");
      registry().PutText(std::u16string(kLogonUi) + u"\\SessionData\\1", u"LoggedOnUserSID", u"S-1");
      registry().PutText(std::u16string(kLogonUi) + u"\\SessionData\\2", u"Other", u"");
      machine().firmware().Put({u"SALES_CODE", *tablet::Guid::Parse("{9806d87d-b4fb-4d02-97d2-8597337abc83}")},
                               ToBytes("KOO"));
      drive().Put(u"c:\\Windows\\ToastGenerator\\ToastGenerator.exe", ToBytes("MZ"));
      drive().Put(kDumpFolder + std::u16string(u"modem.dmp"), ToBytes("dump"));
      drive().Put(kArchivedFile, ToBytes("old"), tablet::kAttributeReadOnly);
      PutArchive(modem_tests::kVzwArchive);
    });
  }
  /// The factory line: deployed already, the image ID goes into firmware.
  void RunOfTheFactory() {
    Run(DefaultDescription(), [this] {
      registry().PutText(kSetupState, u"ImageState", u"IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT");
      registry().PutText(kService, u"ModemImageID", u"ATT");
      registry().PutDword(kParameters, u"Distribute", 1);
    });
  }
  /// First-boot setup, with the factory's library.
  void RunOfSetup() {
    Run(DefaultDescription(), [this] {
      registry().PutText(kSetupState, u"ImageState", u"IMAGE_STATE_UNDEPLOYABLE");
      drive().Put(u"C:\\MfgDiag\\Dlls\\RILRouter.dll", ToBytes("MZ"));
    });
  }
  /// A tablet whose registry is empty but for one instance that cannot be enumerated; a crash, and nobody logged on.
  void RunWithoutValues() {
    Run(DefaultDescription(), [this] {
      registry().RemoveKey(kSetupState);
      registry().PutDword(kCrashControl, u"CrashDumpEnabled", 3);
      drive().Put(kDumpFolder + std::u16string(u"modem.dmp"), ToBytes("dump"));
      Inject("RegEnumKeyExW", ERROR_ACCESS_DENIED);
    });
  }
  Arguments made_;

 private:
  void Note(const tablet::CallEvent& call) {
    std::string arguments = WithoutHandles(call.args);
    // Where the value was read, the size is the value's, not the buffer's.
    bool const shows_size = call.name == "RegQueryValueExW" || call.name == "RegEnumKeyExW";
    if (shows_size && call.result == "0") return;
    if (call.name == "OpenProcess") arguments = call.args.substr(0, call.args.find(','));
    if (call.name == "OpenSCManagerW" || call.name.ends_with("Alloc")) arguments = call.args;
    if (call.name == "OpenProcessToken") arguments = call.args.substr(call.args.find(", ") + 2);
    made_[call.name].insert(arguments);
  }
};

struct Row {
  const char* call;
  std::vector<std::string> arguments;  ///< every distinct one, in order
};

// Read: 0x20019 (KEY_READ); written: 0x20006 (KEY_WRITE); deleted from and listed: 0xf003f (KEY_ALL_ACCESS). A query's
// number is the size of its buffer.
const Row kRegistry[] = {
    {"RegCreateKeyExW",
     {R"("SOFTWARE\Microsoft\Windows\CurrentVersion\Setup\State", 0x20019)",
      R"("SYSTEM\CurrentControlSet\Control\CrashControl", 0x20019)",
      R"("SYSTEM\CurrentControlSet\Services\Vantord", 0x20019)",
      R"("SYSTEM\CurrentControlSet\Services\Vantord\Parameters", 0x20006)",
      R"("SYSTEM\CurrentControlSet\Services\Vantord\Parameters", 0x20019)",
      R"("SYSTEM\CurrentControlSet\Services\Vantord\Parameters\CSC", 0x20019)",
      R"("SYSTEM\CurrentControlSet\Services\Vantord\Parameters\ImageID", 0x20019)",
      R"("Software\Microsoft\Windows\CurrentVersion\Authentication\LogonUI", 0x20019)",
      R"("Software\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData\1", 0x20019)",
      R"("Software\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData\2", 0x20019)",
      R"("system\currentcontrolset\control\class\{4d36e97d-e325-11ce-bfc1-08002be10318}\0000", 0x20019)",
      R"("system\currentcontrolset\control\class\{4d36e97d-e325-11ce-bfc1-08002be10318}\0001", 0x20006)",
      R"("system\currentcontrolset\control\class\{4d36e97d-e325-11ce-bfc1-08002be10318}\0001", 0x20019)"}},
    {"RegOpenKeyExW",
     {R"("SYSTEM\CurrentControlSet\Services\Vantord\Parameters", 0xf003f)",
      R"("Software\Microsoft\Windows\CurrentVersion\Authentication\LogonUI\SessionData", 0xf003f)",
      R"("system\currentcontrolset\control\class\{4d36e97d-e325-11ce-bfc1-08002be10318}", 0xf003f)"}},
    {"RegQueryValueExW",
     {R"("ATT", 20)", R"("AmssFwImagePath", 520)", R"("CrashDumpEnabled", 4)", R"("Distribute", 4)",
      R"("ImageState", 520)", R"("KOO", 20)", R"("LoggedOnUserSID", 520)", R"("ModemImageID", 20)",
      R"("PELT_KNOW_TO_GO_SSR", 4)", R"("SelectedUserSID", 520)", R"("Version", 30)", R"("ulZoneMask", 4)"}},
    {"RegSetValueExW",
     {R"("AmssFwImagePath", type 1, 74 bytes)", R"("AmssSwImagePath", type 1, 70 bytes)",
      R"("PELT_KNOW_TO_GO_SSR", type 4, 4 bytes)"}},
    {"RegDeleteValueW", {R"("Distribute")"}},
    {"RegEnumKeyExW", {"0, 260"}},
};

// Of an opening: access, share mode, disposition, flags and attributes.
const Row kFilesAndDevices[] = {
    {"GetCurrentDirectoryW", {"260"}},
    {"CreateFileW",
     {R"("C:\MfgDiag\Dlls\RILRouter.dll", 0x0, 0x0, 3, 0x80)", R"("\\.\AMSSStats", 0xc0000000, 0x0, 3, 0x0)",
      R"("\\?\QCMS#modem#0#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}", 0xc0000000, 0x3, 3, 0x40020000)",
      R"("\\?\ROOT#SAFI#0000#{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}", 0xc0000000, 0x3, 3, 0x80)",
      R"("c:\Windows\ToastGenerator\\ToastResource_20180816.zip", 0x80000000, 0x1, 3, 0x80)",
      R"("c:\windows\system32\modem_core\VZW.bin", 0x80000000, 0x1, 3, 0x80)",
      R"("c:\windows\system32\qcdsp1v2850.mbn", 0x10000000, 0x0, 2, 0x20)"}},
    {"SetFileAttributesW",
     {R"("c:\windows\system32\modem_core", 0x12)", R"("c:\windows\system32\modem_core\VZW.bin", 0x22)",
      R"("c:\windows\system32\qcdsp1v2850.mbn", 0x0)"}},
    {"GetCurrentDirectoryW", {"260"}},
    {"DeviceIoControl",
     {"0x68922002, 1055 in, 4 out", "0x68922006, 1044 in, 8 out", "0x6892200a, 1040 in, 8 out",
      "0x9ca30c00, 1042 in, 0 out, not counted"}},
    {"CM_Get_Device_Interface_ListW", {"{D49F5C0E-E540-4DBE-BF78-97ED9BD987A4}, 57 characters"}},
    {"SetupDiGetClassDevsW", {"{FD9FF848-46D1-4CE7-8940-6DF2F1E6EFF6}, 0x12"}},
    {"SetupDiEnumDeviceInterfaces", {"0"}},
    {"SetupDiGetDeviceInterfaceDetailW", {"0 bytes", "120 bytes"}},
    {"CM_Register_Notification", {"{A5DCBF10-6530-11D2-901F-00C04FB951ED}"}},
    {"PowerSettingRegisterNotification", {"{6FE69556-704A-47A0-8F24-C28D936FDA47}"}},
};

// 0xf003f: SC_MANAGER_ALL_ACCESS, 0xf01ff: SERVICE_ALL_ACCESS and TOKEN_ALL_ACCESS, 0x1fffff: PROCESS_ALL_ACCESS,
// 0x2000000: MAXIMUM_ALLOWED, 0x2: TOKEN_DUPLICATE, 0x28: TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY.
const Row kServicesAndProcesses[] = {
    {"OpenSCManagerW", {"0xf003f"}},
    {"OpenServiceW", {R"("Pelt", 0xf01ff)", R"("Vantord", 0xf01ff)"}},
    {"QueryServiceStatusEx", {"36 bytes"}},
    {"ChangeServiceConfig2W", {"level 2"}},
    {"ControlService", {"134"}},
    {"OpenProcessToken", {"0x2", "0x28"}},
    {"LookupPrivilegeValueW", {R"("SeSystemEnvironmentPrivilege")"}},
    {"DuplicateTokenEx", {"0xf01ff, level 1, type 1"}},
    {"OpenProcess", {"0x1fffff", "0x2000000"}},
    {"K32EnumProcesses", {"4096 bytes"}},
    {"K32EnumProcessModules", {"8 bytes"}},
    {"K32GetModuleBaseNameW", {"260 characters"}},
    {"CreateEnvironmentBlock", {"inherit=1"}},
    {"CreateProcessAsUserW", {R"("c:\Windows\ToastGenerator\ToastGenerator.exe", " CPCrash", 0x430)"}},
    {"CreateEventW", {"manual=0, initial=0", "manual=1, initial=0"}},
    {"WaitForSingleObject", {"30000", "4294967295"}},
    {"QueueUserWorkItem", {"flags=0x10"}},
    {"CreateThread", {"flags=0x0"}},
    {"RIL_Initialize", {R"(1, classes=0xffffffff, "Vantord")"}},
    {"RIL_RadioCommand", {"1"}},
};

// 0x8: HEAP_ZERO_MEMORY, 0x40: LPTR. The two allocations from the heap are the list of the modem's devices and the
// description of the trace session; the others are the key, the path and the requests and replies of the firmware.
const Row kMemoryAndTexts[] = {
    {"HeapAlloc", {"0x8, 114 bytes", "0x8, 138 bytes"}},
    {"LocalAlloc",
     {"0x40, 1040 bytes", "0x40, 1044 bytes", "0x40, 1055 bytes", "0x40, 120 bytes", "0x40, 4 bytes", "0x40, 520 bytes",
      "0x40, 8 bytes"}},
    {"MultiByteToWideChar",
     {"0, 0x0, -1 bytes, room for 11", "0, 0x0, -1 bytes, room for 4", "65001, 0x0, 16 bytes, room for 261"}},
    {"WideCharToMultiByte", {"65001, 0x0, -1 characters, room for 10"}},
    {"StringFromGUID2",
     {"{6FE69556-704A-47A0-8F24-C28D936FDA47}, room for 50", "{A5DCBF10-6530-11D2-901F-00C04FB951ED}, room for 50",
      "{D49F5C0E-E540-4DBE-BF78-97ED9BD987A4}, room for 50"}},
};

TEST_F(ExactArguments, EveryCallOfFourRunsAsksForWhatItShould) {
  RunOfAUser();
  RunOfTheFactory();
  RunOfSetup();
  RunWithoutValues();
  for (std::span<const Row> const table :
       {std::span<const Row>(kRegistry), std::span<const Row>(kFilesAndDevices),
        std::span<const Row>(kServicesAndProcesses), std::span<const Row>(kMemoryAndTexts)}) {
    for (const Row& row : table) EXPECT_THAT(made_[row.call], ElementsAreArray(row.arguments)) << row.call;
  }
}

}  // namespace
