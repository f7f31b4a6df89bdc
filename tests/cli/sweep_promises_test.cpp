// Each promise of docs/promises.md, broken on purpose: a sweep that does not see it would be worth nothing. And each
// way in which a promise is bent on purpose, met by the life it is for.
#include <signal.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "cli/sweep_promises.h"
#include "cli/sweep_told.h"
#include "tablet/fault_catalog.h"
#include "tests/cli/sweep_bench.h"

namespace {

using cli::Life;
using cli::SweepTask;
using testing::Contains;
using testing::ElementsAre;
using testing_support::SweepBench;

constexpr std::u16string_view kParameters = u"SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters";
constexpr std::u16string_view kModem =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e97d-e325-11ce-bfc1-08002be10318}\\0001";
constexpr tablet::WinError kDenied = 5;

/// Something that happens late in a life, behind everything the service does by itself.
void Later(Life& life, std::function<void()> act) {
  life.machine().scheduler().At(tablet::Millis{25'000}, std::move(act));
}

class BrokenPromise : public SweepBench {};

TEST_F(BrokenPromise, AStopThatWaitsForEverIsSeen) {
  Prepare("already-deployed");
  auto const verdict = Live(InOrder(0), [](Life& life, const SweepTask&, int) {
    life.machine().faults().Add({.call = "SetEvent", .error = 6});
  });
  EXPECT_EQ(Promises(verdict), "ends");
}

TEST_F(BrokenPromise, ARequestThatGoesWithAFailedDeploymentIsSeen) {
  Prepare("fresh");
  auto const verdict = Live(Failing(Find("WriteFile", "12288"), 112), [](Life& life, const SweepTask&, int) {
    Later(life, [&life] { life.machine().registry().PutDword(kParameters, u"Distribute", 0); });
  });
  EXPECT_EQ(Promises(verdict), "failed-deployment");
}

TEST_F(BrokenPromise, AnImagePathThatIsWrittenTooEarlyIsSeen) {
  Prepare("fresh");
  SweepTask const cut = CutBehind(Find("WriteFile", "12288"));
  auto const verdict = Live(cut, [](Life& life, const SweepTask&, int start) {
    if (start == 1) life.machine().registry().PutText(kModem, u"AmssSwImagePath", u"\\SystemRoot\\System32\\new.mbn");
  });
  EXPECT_THAT(Promises(verdict), testing::HasSubstr("paths-after-files"));
}

TEST_F(BrokenPromise, ADumpThatIsGoneIsSeen) {
  Prepare("crashed-modem");
  auto const verdict = Live(Failing(Find("MoveFileExW"), kDenied), [](Life& life, const SweepTask&, int) {
    Later(life, [&life] { life.machine().drive().Remove(std::u16string(cli::kDumpFolder) + u"\\modem.dmp"); });
  });
  EXPECT_EQ(Promises(verdict), "dumps");
}

TEST_F(BrokenPromise, ADumpThatHasLostItsBytesIsSeen) {
  Prepare("crashed-modem");
  auto const verdict = Live(Failing(Find("MoveFileExW"), kDenied), [](Life& life, const SweepTask&, int) {
    Later(life, [&life] {
      std::vector<std::uint8_t> const other{1, 2, 3};
      life.machine().drive().Put(std::u16string(cli::kDumpFolder) + u"\\modem.dmp", other);
    });
  });
  EXPECT_EQ(Promises(verdict), "dumps");
}

TEST_F(BrokenPromise, AFileElsewhereIsSeen) {
  Prepare("already-deployed");
  auto const verdict = Live(Failing(Find("CloseServiceHandle"), 6), [](Life& life, const SweepTask&, int) {
    std::shared_ptr<tablet::OpenFile> file;
    bool existed = false;
    life.machine().drive().Open(u"C:\\Users\\stray.txt", {0x40000000, 0, 2, 0}, file, existed);
  });
  EXPECT_EQ(Promises(verdict), "inside");
}

TEST_F(BrokenPromise, AHandleThatStaysOpenIsSeen) {
  Prepare("already-deployed");
  auto const verdict = Live(InOrder(0), [](Life& life, const SweepTask&, int) {
    life.machine().faults().Add({.call = "RegCloseKey", .error = 6, .first = 3, .count = 1});
  });
  EXPECT_EQ(Promises(verdict), "handles");
  EXPECT_EQ(verdict.findings.at(0).detail, "left open: key");
}

TEST_F(BrokenPromise, AProcessOfTheHostThatCrashesIsSeen) {
  Prepare("already-deployed");
  auto const verdict =
      Live(InOrder(0), [](Life& life, const SweepTask&, int) { Later(life, [] { ::raise(SIGSEGV); }); });
  EXPECT_EQ(Promises(verdict), "memory");
  EXPECT_EQ(verdict.end, "crashed");
}

TEST_F(BrokenPromise, AMessageThatDoesNotComeIsSeen) {
  Prepare("already-deployed");
  std::size_t const call = Find("RegQueryValueExW", "CrashDumpEnabled");
  EXPECT_EQ(Promises(Live(Failing(call, 2))), "");
  auto const verdict = Live(Failing(call, 2), [](Life& life, const SweepTask&, int) {
    life.machine().trace().StopCollecting(*tablet::Guid::Parse("{2170F42F-27B0-4B8B-AE84-949191000F66}"));
  });
  EXPECT_EQ(Promises(verdict), "told");
}

TEST_F(BrokenPromise, ATabletThatIsLeftDifferentBehindAPowerCutIsSeen) {
  Prepare("already-deployed");
  auto const verdict = Live(CutBehind(Find("QueueUserWorkItem")), [](Life& life, const SweepTask&, int start) {
    if (start == 2) life.machine().registry().PutDword(kParameters, u"Stray", 1);
  });
  EXPECT_EQ(Promises(verdict), "converges");
}

TEST_F(BrokenPromise, ATabletThatDependsOnTheOrderOfThreadsIsSeen) {
  Prepare("already-deployed");
  EXPECT_EQ(Promises(Live(InOrder(7))), "");
  auto const verdict = Live(InOrder(7), [](Life& life, const SweepTask& task, int) {
    life.machine().registry().PutDword(kParameters, u"Seed", static_cast<std::uint32_t>(task.seed));
  });
  EXPECT_EQ(Promises(verdict), "schedule");
}

class BentPromise : public SweepBench {
 protected:
  /// The exemptions of a life that breaks no promise otherwise.
  std::vector<std::string> Bent(const SweepTask& task) {
    cli::Verdict const verdict = Live(task);
    EXPECT_EQ(Promises(verdict), "") << (verdict.findings.empty() ? "" : verdict.findings[0].detail);
    return verdict.exemptions;
  }
};

TEST_F(BentPromise, TheProcessEndsWithoutADispatcherAnEventOrAHandler) {
  Prepare("already-deployed");
  EXPECT_THAT(Bent(Failing(Find("StartServiceCtrlDispatcherW"), 1063)), ElementsAre("ends/no-dispatcher"));
  EXPECT_THAT(Bent(Failing(Find("CreateEventW"), 8)), ElementsAre("ends/no-event"));
  EXPECT_THAT(Bent(Failing(Find("RegisterServiceCtrlHandlerExW"), 8)), ElementsAre("ends/no-handler"));
}

TEST_F(BentPromise, AWorkerThatCannotWaitEndsTheProcessWhichIsStartedAgain) {
  Prepare("already-deployed");
  EXPECT_THAT(Bent(Failing(Find("WaitForSingleObject", ", 4294967295"), 6)), ElementsAre("ends/worker-wait"));
}

TEST_F(BentPromise, AStopWaitsForEverWhenTheWorkerCannotBeToldOrAStatusIsNotTaken) {
  Prepare("already-deployed");
  std::vector<std::string> events;
  for (std::size_t call = Find("SetEvent"); call < ground_.calls.size(); ++call) {
    if (ground_.calls[call].name != "SetEvent") continue;
    for (std::string& name : Bent(Failing(call, 6))) events.push_back(std::move(name));
  }
  EXPECT_THAT(events, ElementsAre("ends/stop-event")) << "one of them lets the worker go";
  EXPECT_THAT(Bent(Failing(Find("SetServiceStatus", "state=STOPPED"), 6)), ElementsAre("ends/status"));
  EXPECT_THAT(Bent(Failing(Find("SetServiceStatus", "state=RUNNING"), 6)), ElementsAre("ends/status"));
}

TEST_F(BentPromise, ACentralHeaderThatCannotBeReadHoldsTheServiceForEver) {
  Prepare("fresh");
  // Behind the name of the first folder comes the header of the entry behind it.
  std::size_t const name = Find("MultiByteToWideChar", "65001");
  std::size_t header = name;
  std::vector<std::string> bent;
  for (int tries = 0; tries < 400 && bent.empty(); ++header) {
    if (ground_.calls[header].name != "ReadFile") continue;
    ++tries;
    bent = Live(Failing(header, 1117)).exemptions;
  }
  EXPECT_THAT(bent, ElementsAre("ends/bad-header"));
}

TEST_F(BentPromise, WithoutAnEventTheSilentResetAsksWithoutAPauseDuringSetup) {
  Prepare("oobe-then-desktop");
  EXPECT_THAT(Bent(Failing(Find("CreateEventW", "", "CModemQC"), 8)), ElementsAre("ends/reset-poll"));
}

TEST_F(BentPromise, WhatCannotBeReleasedStaysOpen) {
  Prepare("already-deployed");
  EXPECT_THAT(Bent(Failing(Find("RegCloseKey"), 6)), ElementsAre("handles/close"));
  EXPECT_THAT(Bent(Failing(Find("QueueUserWorkItem"), 8)), Contains("handles/not-queued"));
}

TEST_F(BentPromise, APowerCutBetweenTheImagePathsLeavesTheSecondAsItWas) {
  Prepare("fresh");
  std::size_t const first = Find("RegSetValueExW", "AmssFwImagePath");
  EXPECT_THAT(Bent(CutBehind(first)), ElementsAre("converges/between-paths"));
  SweepTask before = CutBehind(first);
  before.cut_at -= 1;
  EXPECT_THAT(Bent(before), ElementsAre()) << "the first path is not written yet";
  EXPECT_THAT(Bent(CutBehind(Find("RegSetValueExW", "AmssSwImagePath"))), ElementsAre()) << "both are written";
}

TEST_F(BentPromise, APowerCutAmongTheDumpsLeavesAnEmptyFolderOrTwo) {
  Prepare("crashed-modem");
  std::size_t const move = Find("MoveFileExW", "modem.dmp");
  SweepTask before = CutBehind(move);
  before.cut_at -= 1;
  EXPECT_THAT(Bent(before), ElementsAre("converges/empty-folder"));
  EXPECT_THAT(Bent(CutBehind(move)), ElementsAre("converges/left-behind"));
  EXPECT_THAT(Bent(CutBehind(Find("MoveFileExW", "reason.txt"))), ElementsAre());
}

TEST_F(BentPromise, APowerCutBehindTheDumpsLeavesTheUserUntold) {
  Prepare("crashed-nobody-logged-on");
  EXPECT_THAT(Bent(CutBehind(Find("MoveFileExW", "reason.txt"))), ElementsAre("converges/untold"));
}

TEST_F(BentPromise, ASeekThatFailsUnnoticedMakesAWrongImageCount) {
  Prepare("fresh");
  // Some seeks lead to headers; those that lead to data which are not compressed are meant.
  std::vector<std::string> bent;
  for (std::size_t call = Find("WriteFile", "12288"); call < ground_.calls.size(); ++call) {
    if (ground_.calls[call].name != "SetFilePointer") continue;
    for (std::string& name : Live(Failing(call, 1117)).exemptions) bent.push_back(std::move(name));
  }
  EXPECT_THAT(bent, Contains("failed-deployment/seek"));
}

TEST(TellingRules, EveryCallThatCanFailHasOne) {
  for (const tablet::CatalogedCall& call : tablet::FaultCatalog()) {
    if (call.failure == tablet::Failure::kNever) continue;
    cli::KnownCall known;
    known.name = call.name;
    EXPECT_NE(cli::RuleFor(known, call.errors.front()), nullptr) << call.name;
  }
  cli::KnownCall unknown;
  unknown.name = "NoSuchCall";
  EXPECT_EQ(cli::RuleFor(unknown, 5), nullptr);
}

TEST(PromisesPage, NamesWhatTheSweepChecks) {
  std::ifstream in(VANTORD_SOURCE_FOLDER "/docs/promises.md");
  std::string const page{std::istreambuf_iterator<char>(in), {}};
  std::set<std::string> rows;
  std::regex const row("\n\\| `([a-z/-]+)` \\|");
  for (std::sregex_iterator it(page.begin(), page.end(), row), end; it != end; ++it) rows.insert((*it)[1]);
  std::set<std::string> names;
  for (const cli::Promise& promise : cli::Promises()) names.emplace(promise.name);
  for (const cli::Exemption& exemption : cli::Exemptions()) names.emplace(exemption.name);
  EXPECT_EQ(rows, names);
}

}  // namespace
