// Each known limitation: the run that shows it, and similar runs that do not.
#include <fstream>

#include "cli/samples/sample_archive.h"
#include "cli/sweep/sweep_promises.h"
#include "tests/unit/cli/sweep/sweep_bench.h"

namespace {

using cli::SweepTask;
using testing_support::SweepBench;

constexpr tablet::WinError kOutOfMemory = 8;
constexpr tablet::WinError kDeviceError = 1117;
constexpr tablet::WinError kInvalidHandleError = 6;

class KnownLimitation : public SweepBench {
 protected:
  /// The limitations of a run that breaks no promise otherwise.
  std::vector<std::string> Met(const SweepTask& task) {
    cli::Verdict const verdict = RunOne(task);
    EXPECT_EQ(Promises(verdict), "") << (verdict.findings.empty() ? "" : verdict.findings[0].detail);
    return verdict.limitations;
  }
  /// How a run ended that this limitation alone covers.
  std::string Ended(const SweepTask& task, std::string_view limitation) {
    cli::Verdict const verdict = RunOne(task);
    EXPECT_EQ(Promises(verdict), "") << (verdict.findings.empty() ? "" : verdict.findings[0].detail);
    EXPECT_THAT(verdict.limitations, ElementsAre(limitation));
    return verdict.end;
  }
  SweepTask CutBefore(std::size_t known) const {
    SweepTask cut = CutBehind(known);
    cut.cut_at -= 1;
    return cut;
  }
  SweepTask Pair(std::size_t one, tablet::WinError error, std::size_t other, tablet::WinError other_error) const {
    SweepTask pair = Failing(one, error);
    SweepTask const second = Failing(other, other_error);
    pair.kind = SweepTask::Kind::kPair;
    pair.faults.push_back(second.faults[0]);
    pair.known.push_back(other);
    return pair;
  }
};

TEST_F(KnownLimitation, WithoutADispatcherTheProgramEnds) {
  Prepare("already-deployed");
  EXPECT_EQ(Ended(Failing(Find("StartServiceCtrlDispatcherW"), 1063), "ends/no-dispatcher"), "failed");
}

TEST_F(KnownLimitation, WithoutTheEventForItsEndTheProcessDies) {
  Prepare("already-deployed");
  std::size_t const event = Find("CreateEventW");
  ASSERT_EQ(ground_.calls[event].thread, "main");
  EXPECT_EQ(Ended(Failing(event, kOutOfMemory), "ends/no-event"), "died");
}

TEST_F(KnownLimitation, WithoutAHandlerOfControlsTheProcessDies) {
  Prepare("already-deployed");
  EXPECT_EQ(Ended(Failing(Find("RegisterServiceCtrlHandlerExW"), kOutOfMemory), "ends/no-handler"), "died");
}

TEST_F(KnownLimitation, AWorkerThatCannotWaitEndsTheProcessWhichIsStartedAgain) {
  Prepare("already-deployed");
  EXPECT_EQ(Ended(Failing(Find("WaitForSingleObject", ", 4294967295"), kInvalidHandleError), "ends/worker-wait"),
            "stopped")
      << "the second process";
}

TEST_F(KnownLimitation, WithoutMemoryToStartTheRegistrationsStay) {
  Prepare("already-deployed");
  std::vector<std::string> met;
  std::size_t others = 0;
  for (std::size_t call = Find("allocation"); call < ground_.calls.size(); ++call) {
    if (ground_.calls[call].name != "allocation") continue;
    SweepTask task = Failing(call, kOutOfMemory);
    task.kind = SweepTask::Kind::kAllocation;
    std::vector<std::string> const now = Met(task);
    met.insert(met.end(), now.begin(), now.end());
    others += now.empty() ? 1 : 0;
  }
  EXPECT_THAT(met, ElementsAre("handles/no-memory", "handles/no-memory")) << "the modem, and the worker's item";
  EXPECT_GE(others, 3u);
}

TEST_F(KnownLimitation, AStopNeverEndsWhenTheWorkerCannotBeTold) {
  Prepare("already-deployed");
  std::vector<std::string> met;
  for (std::size_t call = Find("SetEvent"); call < ground_.calls.size(); ++call) {
    if (ground_.calls[call].name != "SetEvent") continue;
    for (std::string& name : Met(Failing(call, kInvalidHandleError))) met.push_back(std::move(name));
  }
  EXPECT_THAT(met, ElementsAre("ends/stop-event")) << "one of them lets the worker go";
}

TEST_F(KnownLimitation, TheManagerWaitsWithoutEndForAStatusThatItDidNotTake) {
  Prepare("already-deployed");
  EXPECT_THAT(Met(Failing(Find("SetServiceStatus", "state=STOPPED"), kInvalidHandleError)), ElementsAre("ends/status"));
  EXPECT_THAT(Met(Failing(Find("SetServiceStatus", "state=RUNNING"), kInvalidHandleError)), ElementsAre("ends/status"));
  EXPECT_THAT(Met(Failing(Find("SetServiceStatus", "state=START_PENDING"), kInvalidHandleError)), IsEmpty());
  EXPECT_THAT(Met(Failing(Find("SetServiceStatus", "state=STOP_PENDING"), kInvalidHandleError)), IsEmpty());
}

TEST_F(KnownLimitation, ACentralHeaderThatCannotBeReadHoldsTheServiceForEver) {
  Prepare("fresh");
  // After the name of the first folder comes the header of the next entry.
  std::size_t const name = Find("MultiByteToWideChar", "65001");
  std::size_t header = name;
  std::vector<std::string> met;
  for (int tries = 0; tries < 400 && met.empty(); ++header) {
    if (ground_.calls[header].name != "ReadFile") continue;
    ++tries;
    met = RunOne(Failing(header, kDeviceError)).limitations;
  }
  EXPECT_THAT(met, ElementsAre("ends/bad-header"));

  // The same without a fault of the task's: no known limitation covers the hang, and the run is given more time.
  tablet::Fault const fault = Failing(header - 1, kDeviceError).faults[0];
  auto const verdict = RunOne(
      InOrder(0), [fault](cli::TabletRun& run, const cli::SweepTask&, int) { run.machine().faults().Add(fault); });
  ASSERT_EQ(Promises(verdict), "ends");
  EXPECT_THAT(verdict.findings[0].detail, testing::ContainsRegex(" for [0-9]+ s of processor time$"));
}

TEST_F(KnownLimitation, WithoutAnEventTheSilentResetAsksWithoutAPauseDuringSetup) {
  Prepare("oobe-then-desktop");
  EXPECT_THAT(Met(Failing(Find("CreateEventW", "", "CModemQC"), kOutOfMemory)), ElementsAre("ends/reset-poll"));
}

TEST_F(KnownLimitation, WhatCannotBeReleasedStaysOpen) {
  Prepare("already-deployed");
  for (auto const* release : {"RegCloseKey", "CloseServiceHandle", "HeapFree"}) {
    EXPECT_THAT(Met(Failing(Find(release), kInvalidHandleError)), ElementsAre("handles/close")) << release;
  }
}

TEST_F(KnownLimitation, AWorkerThatCannotBeQueuedLeavesProviderAndNotificationsRegistered) {
  Prepare("already-deployed");
  EXPECT_THAT(Met(Failing(Find("QueueUserWorkItem"), kOutOfMemory)), Contains("handles/not-queued"));
}

TEST_F(KnownLimitation, APowerCutBetweenTheImagePathsLeavesTheSecondAsItWas) {
  Prepare("fresh");
  std::size_t const first = Find("RegSetValueExW", "AmssFwImagePath");
  std::size_t const second = Find("RegSetValueExW", "AmssSwImagePath");
  EXPECT_THAT(Met(CutBefore(first)), IsEmpty()) << "the first path is not written yet";
  EXPECT_THAT(Met(CutBehind(first)), ElementsAre("converges/between-paths"));
  EXPECT_THAT(Met(CutBefore(second)), ElementsAre("converges/between-paths"));
  EXPECT_THAT(Met(CutBehind(second)), IsEmpty()) << "both are written";
}

TEST_F(KnownLimitation, APowerCutBeforeTheFirstDumpMovesLeavesAnEmptyFolder) {
  Prepare("crashed-modem");
  std::size_t folder = Find("CreateDirectoryW", "CPCrash_");
  // The first attempt fails where the retail log itself is missing.
  while (ground_.calls[folder + 1].name == "CreateDirectoryW" || Met(CutBehind(folder)).empty()) {
    ++folder;
    ASSERT_LT(folder, Find("MoveFileExW")) << "no cut leaves an empty folder";
  }
  EXPECT_THAT(Met(CutBefore(folder)), IsEmpty()) << "the folder is not made yet";
  EXPECT_THAT(Met(CutBehind(folder)), ElementsAre("converges/empty-folder"));
  EXPECT_THAT(Met(CutBefore(Find("MoveFileExW"))), ElementsAre("converges/empty-folder"));
}

TEST_F(KnownLimitation, APowerCutBetweenTwoDumpsLeavesTheRestBehind) {
  Prepare("crashed-modem");
  EXPECT_THAT(Met(CutBehind(Find("MoveFileExW", "modem.dmp"))), ElementsAre("converges/left-behind"));
  EXPECT_THAT(Met(CutBefore(Find("MoveFileExW", "reason.txt"))), ElementsAre("converges/left-behind"));
  EXPECT_THAT(Met(CutBehind(Find("MoveFileExW", "reason.txt"))), IsEmpty()) << "all have moved";
}

TEST_F(KnownLimitation, APowerCutBehindTheDumpsLeavesTheUserUntold) {
  Prepare("crashed-nobody-logged-on");
  std::size_t const last = Find("MoveFileExW", "reason.txt");
  EXPECT_THAT(Met(CutBefore(last)), Each("converges/left-behind"));
  EXPECT_THAT(Met(CutBehind(last)), ElementsAre("converges/untold"));
}

TEST_F(KnownLimitation, ASeekThatFailsUnnoticedMakesAWrongImageCount) {
  Prepare("fresh");
  // Some seeks lead to headers; those that lead to data which are not compressed are meant.
  std::vector<std::string> met;
  for (std::size_t call = Find("WriteFile", "12288"); call < ground_.calls.size(); ++call) {
    if (ground_.calls[call].name != "SetFilePointer") continue;
    for (std::string& name : RunOne(Failing(call, kDeviceError)).limitations) met.push_back(std::move(name));
  }
  EXPECT_THAT(met, Contains("failed-deployment/seek"));
}

TEST_F(KnownLimitation, AnImageWithAFileUnderAWrongNameCounts) {
  Prepare("fresh");
  // The bytes of the header in front of the name of the first file that is extracted into modem_fw.
  std::size_t const target = Find("CreateFileW", "modem_fw/partition.bin");
  std::vector<std::string> met;
  for (std::size_t call = target; call-- > 0 && met.empty();) {
    if (ground_.calls[call].name != "ReadFile" || ground_.calls[call].args.find(", 1 -> ") == std::string::npos)
      continue;
    for (std::string& name : RunOne(Failing(call, kDeviceError)).limitations) {
      if (name.starts_with("failed-deployment/")) met.push_back(std::move(name));
    }
  }
  EXPECT_THAT(met, ElementsAre("failed-deployment/header"));
}

TEST_F(KnownLimitation, ANameThatBeginsWithAStepUpLeadsOutOfTheTarget) {
  Prepare("fresh", [](const std::filesystem::path& folder) {
    std::vector<cli::ArchiveEntry> const entries{{"qcdsp1v2850.mbn", 700, false, false, 1'534'422'336},
                                                 {"../stepped/up.bin", 500, false, true, 1'534'422'336},
                                                 {"qcdsp2850.mbn", 300, false, false, 1'534'422'336}};
    std::vector<std::uint8_t> const bytes = cli::MakeArchive(entries);
    std::ofstream(folder / "C/Windows/System32/modem_core/VZW.bin", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  });
  EXPECT_THAT(undisturbed_.limitations, Contains("inside/step-up"));
  EXPECT_THAT(undisturbed_.limitations, Each("inside/step-up"));
}

TEST_F(KnownLimitation, AnEntryWithoutANameChangesTheAttributesOfItsTarget) {
  Prepare("fresh");
  std::size_t const attributes = Find("GetFileAttributesW", "ToastGenerator\\Images/");
  std::size_t const name = Find("ReadFile", "7 -> 7");
  ASSERT_LT(name, attributes);
  EXPECT_THAT(Met(Failing(name, kDeviceError)), IsEmpty()) << "the target has the attributes that it had";
  EXPECT_THAT(Met(Pair(name, kDeviceError, attributes, kDeviceError)), ElementsAre("inside/target-folder"));
}

}  // namespace
