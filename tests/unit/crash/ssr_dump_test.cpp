#include "vantord/crash/ssr_dump.h"

#include <map>

#include "tests/unit/crash/crash_fixture.h"

namespace {

using crash_tests::kCollected;
using crash_tests::kDumpFolder;

constexpr char kFailed[] = "CheckSSRDumpFile:4461 : Failed to launch Toast for CPCrash";
constexpr char kLaunched[] = "CheckSSRDumpFile:4466 : Success to launch Toast for CPCrash";

std::u16string Collected(std::u16string_view name) { return kCollected + std::u16string(name); }

class SsrDumpTest : public crash_tests::CrashTest {
 protected:
  SsrDumpTest() { Begin(WithKim()); }
  void Begin(const tablet::Description& description) {
    PowerOnAgain(description);
    LogKimOn();
  }
};

TEST_F(SsrDumpTest, ACrashIsCollectedAndTheUserIsTold) {
  PutDump(u"modem.dmp", "dump");
  CheckSSRDumpFile();
  EXPECT_EQ(TextOf(Collected(u"modem.dmp")), "dump");
  EXPECT_FALSE(drive().Exists(kDumpFolder + std::u16string(u"modem.dmp")));
  EXPECT_THAT(MessagesOf("CheckSSRDumpFile"), ElementsAre("CheckSSRDumpFile:4444 : SSR Dump File Found (modem.dmp)",
                                                          "CheckSSRDumpFile:4454 : Moving SSR dump files", kLaunched));
  EXPECT_THAT(open_kinds(), IsEmpty());
  EXPECT_EQ(Now(), Millis{0});
}

TEST_F(SsrDumpTest, TheSearchForDumpsEndsOnlyAfterTheUserIsTold) {
  PutDump(u"modem.dmp", "dump");
  CheckSSRDumpFile();
  std::vector<std::string> steps;
  std::string const search = machine().journal().Calls("FindFirstFileW").front().result;
  for (const tablet::Event& event : machine().journal().events()) {
    const auto* const call = std::get_if<tablet::CallEvent>(&event.what);
    if (call == nullptr) continue;
    bool const is_step = call->name == "MoveFileExW" || call->name == "CreateProcessAsUserW";
    if (is_step || (call->name == "FindClose" && call->args == search)) steps.push_back(call->name);
  }
  EXPECT_THAT(steps, ElementsAre("MoveFileExW", "CreateProcessAsUserW", "FindClose"));
}

TEST_F(SsrDumpTest, TheUserIsToldByTheToastProgram) {
  PutDump(u"modem.dmp", "dump");
  CheckSSRDumpFile();
  ASSERT_EQ(machine().processes().started().size(), 1u);
  const tablet::StartedProgram& toast = machine().processes().started().front();
  EXPECT_EQ(toast.path, u"c:\\Windows\\ToastGenerator\\ToastGenerator.exe");
  EXPECT_EQ(toast.command_line, u" CPCrash");
  EXPECT_EQ(toast.session, 1u);
  EXPECT_EQ(toast.user, u"kim");
}

TEST_F(SsrDumpTest, WithoutADumpNothingIsMoved) {
  PutDump(u"notes.txt", "notes");
  CheckSSRDumpFile();
  EXPECT_THAT(messages(), ElementsAre("CheckSSRDumpFile:4440 : SSR Dump File Not Found"));
  EXPECT_THAT(drive().Changes(), IsEmpty());
  EXPECT_THAT(machine().processes().started(), IsEmpty());
}

TEST_F(SsrDumpTest, WithoutADumpFolderNothingHappens) {
  CheckSSRDumpFile();
  EXPECT_THAT(messages(), ElementsAre("CheckSSRDumpFile:4440 : SSR Dump File Not Found"));
  EXPECT_THAT(drive().Changes(), IsEmpty());
}

TEST_F(SsrDumpTest, EveryFileBesidesADumpIsMovedToo) {
  PutDump(u"modem.dmp", "dump");
  PutDump(u"notes.txt", "notes");
  CheckSSRDumpFile();
  EXPECT_EQ(TextOf(Collected(u"modem.dmp")), "dump");
  EXPECT_EQ(TextOf(Collected(u"notes.txt")), "notes");
}

TEST_F(SsrDumpTest, SubFoldersStay) {
  PutDump(u"modem.dmp", "dump");
  PutDump(u"older\\modem.dmp", "older dump");
  CheckSSRDumpFile();
  EXPECT_EQ(TextOf(kDumpFolder + std::u16string(u"older\\modem.dmp")), "older dump");
  EXPECT_FALSE(drive().Exists(Collected(u"older")));
}

TEST_F(SsrDumpTest, TheFolderIsNamedByTheTimeInUtc) {
  tablet::Description description = WithKim();
  description.power_on = tablet::kUnixEpoch + 1'709'622'489ULL * tablet::kTicksPerSecond;  // 2024-03-05 07:08:09 UTC
  description.utc_offset_minutes = -300;
  Begin(description);
  PutDump(u"modem.dmp", "dump");
  CheckSSRDumpFile();
  EXPECT_TRUE(drive().Exists(u"c:\\users\\public\\documents\\RetailLog\\CPCrash_20240305_070809\\modem.dmp"));
}

TEST_F(SsrDumpTest, ASecondCrashWithinTheSecondGoesIntoTheSameFolder) {
  PutDump(u"first.dmp", "first");
  CheckSSRDumpFile();
  machine().scheduler().Sleep(Millis{999});
  PutDump(u"second.dmp", "second");
  CheckSSRDumpFile();
  EXPECT_EQ(TextOf(Collected(u"first.dmp")) + TextOf(Collected(u"second.dmp")), "firstsecond");
  machine().scheduler().Sleep(Millis{1});
  PutDump(u"third.dmp", "third");
  CheckSSRDumpFile();
  EXPECT_FALSE(drive().Exists(Collected(u"third.dmp")));
  EXPECT_TRUE(drive().Exists(u"c:\\users\\public\\documents\\RetailLog\\CPCrash_20260302_080001\\third.dmp"));
}

TEST_F(SsrDumpTest, ThreeFailedLaunchesCostThreeSeconds) {
  tablet::Description description = WithKim();
  description.crash.toast.failures = 3;
  Begin(description);
  PutDump(u"modem.dmp", "dump");
  CheckSSRDumpFile();
  EXPECT_THAT(MessagesOf("CheckSSRDumpFile:446"), ElementsAre(kFailed, kFailed, kFailed, kLaunched));
  EXPECT_EQ(Now(), Millis{3000});
  ASSERT_EQ(machine().processes().started().size(), 1u);
  EXPECT_EQ(machine().processes().started().front().command_line, u" CPCrash") << "each attempt has a copy of its own";
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(SsrDumpTest, WithNobodyLoggedOnItGivesUpAfterTenSeconds) {
  PowerOnAgain(DefaultDescription());
  PutDump(u"modem.dmp", "dump");
  CheckSSRDumpFile();
  EXPECT_THAT(MessagesOf("CheckSSRDumpFile:446"), testing::AllOf(testing::SizeIs(10), Each(kFailed)));
  EXPECT_EQ(messages().back(), kFailed);
  EXPECT_EQ(Now(), Millis{10'000});
  EXPECT_TRUE(drive().Exists(Collected(u"modem.dmp")));
  EXPECT_THAT(machine().processes().started(), IsEmpty());
}

TEST_F(SsrDumpTest, TheTenthAttemptIsTheLast) {
  tablet::Description description = WithKim();
  description.crash.toast.failures = 9;
  Begin(description);
  PutDump(u"modem.dmp", "dump");
  CheckSSRDumpFile();
  EXPECT_EQ(messages().back(), kLaunched);
  EXPECT_EQ(Now(), Millis{9000});
}

TEST_F(SsrDumpTest, TheUserIsToldEvenIfNothingCouldBeMoved) {
  PutDump(u"modem.dmp", "dump");
  Inject("CreateDirectoryW", tablet::kAccessDenied);
  CheckSSRDumpFile();
  EXPECT_EQ(TextOf(kDumpFolder + std::u16string(u"modem.dmp")), "dump");
  EXPECT_THAT(messages(), Contains("CopyMoveFiles:1877 : MoveFileEx error(3)"));
  EXPECT_EQ(messages().back(), kLaunched);
}

TEST_F(SsrDumpTest, AListingThatFailsStillTellsTheUser) {
  PutDump(u"modem.dmp", "dump");
  Inject("FindFirstFileW", tablet::kIoDevice, 2, 1);
  CheckSSRDumpFile();
  EXPECT_THAT(messages(), Contains("CopyMoveFiles:1848 : FindFirstFileW error(1117)"));
  EXPECT_EQ(messages().back(), kLaunched);
}

/// Each dump is whole in its old place or whole in its new one, whichever call fails at whichever time.
TEST_F(SsrDumpTest, NoSingleFailureLosesADump) {
  std::map<std::string, std::uint32_t> calls;
  PutDump(u"a.dmp", "first");
  PutDump(u"b.dmp", "second");
  CheckSSRDumpFile();
  for (const tablet::Event& event : machine().journal().events()) {
    if (const auto* call = std::get_if<tablet::CallEvent>(&event.what)) ++calls[call->name];
  }
  ASSERT_THAT(calls, Contains(testing::Key("MoveFileExW")));
  for (auto const& [name, count] : calls) {
    if (name == "_vsnwprintf" || name == "TraceMessage") continue;  // texts, not steps
    for (std::uint32_t nth = 1; nth <= count; ++nth) {
      Begin(WithKim());
      PutDump(u"a.dmp", "first");
      PutDump(u"b.dmp", "second");
      Inject(name, tablet::kAccessDenied, nth, 1);
      CheckSSRDumpFile();
      for (auto const& [file, text] : {std::pair{u"a.dmp", "first"}, std::pair{u"b.dmp", "second"}}) {
        std::u16string const old_place = kDumpFolder + std::u16string(file);
        bool const stayed = drive().Exists(old_place);
        EXPECT_NE(stayed, drive().Exists(Collected(file))) << name << " " << nth;
        EXPECT_EQ(TextOf(stayed ? old_place : Collected(file)), text) << name << " " << nth;
      }
    }
  }
}

}  // namespace
