// Whole runs of the service in which each of its allocations fails once. The service is the shared library that a died
// process is restarted from: its requests for memory are occurrences of a fault.
#include <dlfcn.h>

#include "sim/tablet/drive/pe_version.h"
#include "sim/tablet/kernel/fault_catalog.h"
#include "tests/testing/zip_builder.h"
#include "tests/unit/service/service_fixture.h"
#include "vantord/common/diagnostic_log.h"

namespace {

using Main = int (*)(int, WCHAR**);

constexpr char16_t kParameters[] = u"SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters";
constexpr char16_t kLogonUi[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI";
constexpr char16_t kDump[] = u"c:\\Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps\\modem.dmp";
constexpr char16_t kFirmware[] = u"c:\\windows\\system32\\qcdsp1v2850.mbn";

Main LoadService() {
  void* const library = ::dlopen("libvantord_again.so", RTLD_NOW | RTLD_LOCAL);
  return library == nullptr ? nullptr : reinterpret_cast<Main>(::dlsym(library, "wmain"));
}

class AllocationRunTest : public service_tests::ServiceTest {
 protected:
  /// A tablet on which a run does everything that takes memory: an image is deployed, by a map's entry that is too long
  /// for its buffer, and a crash is reported to the user.
  void PowerOnBusy() {
    PowerOnDeployed(With([](auto& description) { description.crash.sessions = {{.id = 1, .user = u"kim"}}; }));
    registry().PutText(std::u16string(service_tests::kModemClass) + u"\\0000 of a long name", u"AmssFwImagePath",
                       u"old");
    registry().PutText(std::u16string(kParameters) + u"\\CSC", u"XAA", u"ABCDE.bin of a long name");
    registry().PutDword(kParameters, u"Distribute", 1);
    machine().firmware().Put({u"SALES_CODE", *tablet::Guid::Parse("{9806d87d-b4fb-4d02-97d2-8597337abc83}")},
                             ToBytes("XAA"));
    testing_support::ZipBuilder archive;
    archive.Add("qcdsp1v2850.mbn", ToBytes("firmware"));
    drive().Put(u"c:\\windows\\system32\\modem_core\\ABCDE.bin", archive.Build());
    registry().PutDword(u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"CrashDumpEnabled", 1);
    registry().PutText(kLogonUi, u"SelectedUserSID", u"S-1-5-21-1001");
    registry().PutText(std::u16string(kLogonUi) + u"\\SessionData\\1", u"LoggedOnUserSID", u"S-1-5-21-1001");
    drive().Put(u"c:\\Windows\\ToastGenerator\\ToastGenerator.exe", tablet::MakeExecutableWithVersion(1, 0, 0, 0));
    drive().Put(kDump, ToBytes("dump"));
  }

  /// One run to its end, in which allocation `number` fails. Returns how many there were.
  std::size_t Run(std::uint32_t number) {
    static Main const service = LoadService();
    if (service == nullptr) throw std::runtime_error(::dlerror());
    PowerOnBusy();
    machine().faults().Add(
        {.call = std::string(tablet::kAllocation), .error = ERROR_NOT_ENOUGH_MEMORY, .first = number, .count = 1});
    machine().services().Start(u"Vantord", [] { return service(0, nullptr); });
    Settle();
    if (LastStatus().state == "RUNNING") Stop();
    return machine().faults().all().back().seen;
  }
  std::size_t Count() { return Run(UINT32_MAX); }
  std::size_t Lines(std::string_view text) {
    auto const lines = formatted();
    return static_cast<std::size_t>(std::ranges::count(lines, text));
  }
};

TEST_F(AllocationRunTest, EachAllocationMayFailAndTheServiceStillEndsAsItShould) {
  std::size_t const allocations = Count();
  ASSERT_TRUE(drive().Exists(kFirmware));
  ASSERT_EQ(Lines("CheckSSRDumpFile:4466 : Success to launch Toast for CPCrash"), 1u);
  ASSERT_GE(allocations, 15u);
  for (std::uint32_t number = 1; number <= allocations; ++number) {
    SCOPED_TRACE(testing::Message() << "allocation " << number << " of " << allocations);
    EXPECT_GE(Run(number), number);
    ASSERT_TRUE(machine().services().ended().has_value());
    EXPECT_FALSE(machine().services().ended()->died) << machine().services().ended()->reason;
    EXPECT_EQ(LastStatus().state, "STOPPED");
    EXPECT_EQ(LastStatus().exit_code, 0u);
  }
}

TEST_F(AllocationRunTest, WithoutMemoryForTheControlDeviceTheServiceStopsAsOnAWifiTablet) {
  std::size_t stops = 0;
  for (std::uint32_t number = 1, allocations = static_cast<std::uint32_t>(Count()); number <= allocations; ++number) {
    Run(number);
    if (Lines("CModemTemplate::ExistModemCtrl:113 : m_pModemCtrl NULL") == 0) continue;
    ++stops;
    EXPECT_EQ(Lines("CVantord::OnStart:69 : VantorService do not start for WIFI device"), 1u);
    EXPECT_EQ(LastStatus().state, "STOPPED");
    EXPECT_FALSE(drive().Exists(kFirmware));
  }
  EXPECT_EQ(stops, 2u) << "the device, and the interface that it is made of";
}

TEST_F(AllocationRunTest, WithoutMemoryForAListOrACommandLineTheStepThatNeededItFails) {
  std::size_t lists = 0;
  std::size_t starts = 0;
  std::size_t searches = 0;
  for (std::uint32_t number = 1, allocations = static_cast<std::uint32_t>(Count()); number <= allocations; ++number) {
    Run(number);
    lists += Lines("SRegistrySubKeys:1083 : RegistrySubKeys fail");
    starts += Lines("RunProcessAsUser:4259 : CreateProcessAsUser Error(8)");
    searches += Lines("GetActiveUserToken:4086 : FindExplorerProcessNameAndID Failed");
  }
  EXPECT_GE(lists, 3u) << "the modem's instances, one by name, and the sessions";
  EXPECT_EQ(starts, 1u);
  EXPECT_EQ(searches, 1u);
}

}  // namespace
