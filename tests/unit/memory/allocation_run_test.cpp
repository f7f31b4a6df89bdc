// Whole runs of the service in which each of its allocations fails once. The service is the shared library that a died
// process is restarted from: what that library asks this program's operator new for is the service's own.
#include <dlfcn.h>
#include <link.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "sim/tablet/drive/pe_version.h"
#include "tests/testing/zip_builder.h"
#include "tests/unit/service/service_fixture.h"
#include "vantord/common/diagnostic_log.h"

namespace {

struct Range {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
};
Range service_code;                   ///< where the service's instructions are
std::atomic<std::size_t> asked{0};    ///< allocations of the service until now
std::atomic<std::size_t> failing{0};  ///< the one that fails, counted from 1; 0: none

bool MustFail(const void* caller) {
  auto const address = reinterpret_cast<std::uintptr_t>(caller);
  return address >= service_code.begin && address < service_code.end && ++asked == failing;
}

void* Allocate(std::size_t size, const void* caller) {
  if (!MustFail(caller)) {
    if (void* const block = std::malloc(size == 0 ? 1 : size)) return block;
  }
  throw std::bad_alloc();
}

/// Not inline: the compiler would report an inlined pair of this new and delete as a mistake.
[[gnu::noinline]] void Free(void* block) { std::free(block); }

void* AllocateOrNull(std::size_t size, const void* caller) {
  return MustFail(caller) ? nullptr : std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size, __builtin_return_address(0)); }
void* operator new[](std::size_t size) { return Allocate(size, __builtin_return_address(0)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size, __builtin_return_address(0));
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size, __builtin_return_address(0));
}
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }
void operator delete[](void* block, std::size_t) noexcept { Free(block); }

namespace {

using testing_support::ToBytes;
using Main = int (*)(int, WCHAR**);

constexpr char16_t kParameters[] = u"SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters";
constexpr char16_t kLogonUi[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI";
constexpr char16_t kDump[] = u"c:\\Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps\\modem.dmp";
constexpr char16_t kFirmware[] = u"c:\\windows\\system32\\qcdsp1v2850.mbn";

Main LoadService() {
  void* const library = ::dlopen(VANTORD_AGAIN, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return nullptr;
  ::dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void*) {
        if (std::string_view(info->dlpi_name) != VANTORD_AGAIN) return 0;
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          auto const& segment = info->dlpi_phdr[i];
          if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
          service_code = {info->dlpi_addr + segment.p_vaddr, info->dlpi_addr + segment.p_vaddr + segment.p_memsz};
        }
        return 1;
      },
      nullptr);
  return reinterpret_cast<Main>(::dlsym(library, "wmain"));
}

class AllocationRunTest : public service_tests::ServiceTest {
 protected:
  /// A tablet on which a run does everything that takes memory: an image is deployed, by a map's entry that is too long
  /// for its buffer, and a crash is reported to the user.
  void PowerOnBusy() {
    tablet::Description description = DefaultDescription();
    description.crash.sessions = {{.id = 1, .user = u"kim"}};
    PowerOnDeployed(description);
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

  /// One run to its end, in which allocation `number` fails.
  void Run(std::size_t number) {
    static Main const service = LoadService();
    ASSERT_NE(service, nullptr) << ::dlerror();
    PowerOnBusy();
    asked = 0;
    failing = number;
    machine().services().Start(u"Vantord", [] { return service(0, nullptr); });
    Settle();
    if (LastStatus().state == "RUNNING") Stop();
    failing = 0;
  }
  std::size_t Lines(std::string_view text) {
    auto const lines = formatted();
    return static_cast<std::size_t>(std::ranges::count(lines, text));
  }
};

TEST_F(AllocationRunTest, EachAllocationMayFailAndTheServiceStillEndsAsItShould) {
  Run(0);
  ASSERT_TRUE(drive().Exists(kFirmware));
  ASSERT_EQ(Lines("CheckSSRDumpFile:4466 : Success to launch Toast for CPCrash"), 1u);
  std::size_t const allocations = asked;
  ASSERT_GE(allocations, 15u);
  for (std::size_t number = 1; number <= allocations; ++number) {
    SCOPED_TRACE(testing::Message() << "allocation " << number << " of " << allocations);
    Run(number);
    ASSERT_TRUE(machine().services().ended().has_value());
    EXPECT_FALSE(machine().services().ended()->died) << machine().services().ended()->reason;
    EXPECT_EQ(LastStatus().state, "STOPPED");
    EXPECT_EQ(LastStatus().exit_code, 0u);
    EXPECT_GE(asked, number);
  }
}

TEST_F(AllocationRunTest, WithoutMemoryForTheControlDeviceTheServiceStopsAsOnAWifiTablet) {
  std::size_t stops = 0;
  Run(0);
  for (std::size_t number = 1, allocations = asked; number <= allocations; ++number) {
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
  Run(0);
  for (std::size_t number = 1, allocations = asked; number <= allocations; ++number) {
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
