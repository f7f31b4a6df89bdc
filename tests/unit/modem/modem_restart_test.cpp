// What follows a deployment, and what is left of a crash: the last steps of the modem's start-up.
#include <windows.h>

#include "tests/testing/modem_fixture.h"
#include "vantord/modem/modem_qc.h"

namespace modem_tests {
namespace {

constexpr char16_t kCrashControl[] = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
constexpr char16_t kDump[] = u"c:\\Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps\\modem.dmp";
constexpr char kTimeout[] = "ExecuteSilentResetQCThread:4374 : WAIT_TIMEOUT for waiting OOBE mode out";
constexpr char kStart[] = "ExecuteSilentResetQCThread:4378 : Start sending IOCTL_MODEM_RESET";
constexpr char kSent[] = "ExecuteSilentResetQCThread:4418 : Successfully sent IOCTL_REQ_MODEM_RESET to AMSS driver";

class ModemRestart : public ModemTest {
 protected:
  /// A tablet that was never deployed and whose setup ends at `ends`; without a time it has already ended.
  void BeginFresh(std::optional<Millis> ends = std::nullopt) {
    tablet::Description description = DefaultDescription();
    if (ends) description.crash.setup = {{*ends, u"IMAGE_STATE_COMPLETE"}};
    PowerOnAgain(description);
    registry().PutText(kSetupState, u"ImageState", ends ? u"IMAGE_STATE_SPECIALIZE_RESEAL" : u"IMAGE_STATE_COMPLETE");
    PutArchive();
    PutInstance(u"0000", kShippedPath);
  }
  void Pass(std::int64_t milliseconds) { machine().scheduler().Sleep(Millis{milliseconds}); }
  std::vector<std::string> Said() { return MessagesOf("ExecuteSilentResetQCThread"); }
};

TEST_F(ModemRestart, AFreshTabletIsResetOnceSetupHasEnded) {
  BeginFresh(Millis{12'000});
  CModemQC modem;
  modem.Init();
  EXPECT_TRUE(IsDeployed());
  EXPECT_EQ(machine().scheduler().Now(), Millis{0}) << "the start-up does not wait for setup";
  Pass(14'999);
  EXPECT_EQ(machine().amss().resets(), 0u);
  Pass(10'000);
  EXPECT_THAT(Said(), ElementsAre(kTimeout, kTimeout, kTimeout, kStart, kSent));
  ASSERT_EQ(machine().amss().requests().size(), 1u);
  EXPECT_EQ(machine().amss().requests().front().at, Millis{15'000});
}

TEST_F(ModemRestart, BehindSetupTheModemIsResetAtOnce) {
  BeginFresh();
  CModemQC modem;
  modem.Init();
  Pass(1);
  EXPECT_THAT(Said(), ElementsAre(kStart, kSent));
  EXPECT_EQ(machine().amss().resets(), 1u);
}

TEST_F(ModemRestart, ARequestedDeploymentOverRightPathsResetsToo) {
  BeginFresh();
  PutInstance(u"0000", kFirmwarePath);
  registry().PutDword(kParameters, u"Distribute", 1);
  CModemQC modem;
  modem.Init();
  Pass(1);
  EXPECT_EQ(machine().amss().resets(), 1u);
}

TEST_F(ModemRestart, WhatWasNotDeployedIsNotReset) {
  BeginFresh();
  drive().Remove(kVzwArchive);
  CModemQC modem;
  modem.Init();
  Pass(1);
  EXPECT_THAT(Said(), IsEmpty());
  EXPECT_EQ(machine().amss().resets(), 0u);
}

TEST_F(ModemRestart, AStopDuringSetupEndsTheThreadWithoutAReset) {
  BeginFresh(Millis{3'600'000});
  CModemQC modem;
  modem.Init();
  Pass(12'000);
  modem.Deinit(1);
  Pass(1);
  EXPECT_THAT(Said(), ElementsAre(kTimeout, kTimeout, "ExecuteSilentResetQCThread:4370 : Thread Close"));
  Pass(7'200'000);
  EXPECT_EQ(machine().amss().resets(), 0u);
}

TEST_F(ModemRestart, AStopDuringTheDeploymentDoesNotHoldTheResetBack) {
  BeginFresh();
  CModemQC modem;
  modem.Deinit(1);
  modem.Init();
  Pass(1);
  EXPECT_EQ(machine().amss().resets(), 1u);
}

TEST_F(ModemRestart, AStopDuringTheDeploymentEndsTheThreadAtOnceDuringSetup) {
  BeginFresh(Millis{12'000});
  CModemQC modem;
  modem.Deinit(1);
  modem.Init();
  Pass(20'000);
  EXPECT_THAT(Said(), ElementsAre("ExecuteSilentResetQCThread:4370 : Thread Close"));
  EXPECT_EQ(machine().amss().resets(), 0u);
}

TEST_F(ModemRestart, NobodyWaitsForTheSilentReset) {
  BeginFresh(Millis{12'000});
  {
    CModemQC modem;
    modem.Init();
    EXPECT_THAT(open_kinds(), Not(Contains("thread")));
    modem.Deinit(1);
  }
  EXPECT_EQ(machine().scheduler().Now(), Millis{0});
  EXPECT_THAT(Said(), IsEmpty()) << "the thread had no turn yet, and the modem is gone";
  EXPECT_THAT(machine().scheduler().LiveThreads(tablet::kMachineProcess), Contains("thread"));
}

TEST_F(ModemRestart, AThreadThatCannotBeMadeIsDoneWithout) {
  BeginFresh();
  Inject("CreateThread", tablet::kNotEnoughMemory);
  CModemQC modem;
  modem.Init();
  Pass(1);
  EXPECT_TRUE(IsDeployed());
  EXPECT_EQ(machine().amss().resets(), 0u);
  for (const tablet::CallEvent& close : machine().journal().Calls("CloseHandle")) EXPECT_NE(close.args, "0x0");
}

TEST_F(ModemRestart, ACrashIsCollectedWhereDumpsAreKept) {
  drive().Put(kDump, ToBytes("dump"));
  registry().PutDword(kCrashControl, u"CrashDumpEnabled", 3);
  CModemQC modem;
  modem.Init();
  EXPECT_FALSE(drive().Exists(kDump));
  EXPECT_TRUE(drive().Exists(u"c:\\users\\public\\documents\\RetailLog\\CPCrash_20260302_080000\\modem.dmp"));
  EXPECT_EQ(machine().scheduler().Now(), Millis{10'000}) << "nobody is logged on";
}

TEST_F(ModemRestart, ACrashStaysWhereNoDumpsAreKept) {
  drive().Put(kDump, ToBytes("dump"));
  registry().PutDword(kCrashControl, u"CrashDumpEnabled", 0);
  CModemQC modem;
  modem.Init();
  EXPECT_TRUE(drive().Exists(kDump));
  EXPECT_THAT(MessagesOf("CheckSSRDumpFile"), IsEmpty());
}

}  // namespace
}  // namespace modem_tests
