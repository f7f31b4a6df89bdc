// Each promise of docs/promises.md, broken on purpose: a sweep that does not see it would be worth nothing. And whether
// that page says what the program does.
#include <signal.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "cli/base/service_facts.h"
#include "cli/sweep/sweep_messages.h"
#include "cli/sweep/sweep_promises.h"
#include "sim/tablet/kernel/fault_catalog.h"
#include "tests/testing/places.h"
#include "tests/unit/cli/sweep/sweep_bench.h"

namespace {

using cli::SweepTask;
using cli::TabletRun;
using testing_support::SweepBench;

constexpr std::u16string_view kParameters = service_facts::kParametersKey;
constexpr std::u16string_view kModem =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e97d-e325-11ce-bfc1-08002be10318}\\0001";
constexpr tablet::WinError kDenied = 5;

/// Something that happens late in a run, after everything the service does by itself.
void Later(TabletRun& run, std::function<void()> act) {
  run.machine().scheduler().At(tablet::Millis{25'000}, std::move(act));
}

class BrokenPromise : public SweepBench {};

TEST_F(BrokenPromise, AStopThatNeverEndsIsSeen) {
  Prepare("already-deployed");
  auto const verdict = RunOne(InOrder(0), [](TabletRun& run, const SweepTask&, int) {
    run.machine().faults().Add({.call = "SetEvent", .error = 6});
  });
  EXPECT_EQ(Promises(verdict), "ends");
}

TEST_F(BrokenPromise, ARunWithoutMemoryThatBreaksAPromiseIsSeen) {
  Prepare("already-deployed");
  std::size_t last = Find("allocation");
  for (std::size_t call = last; call < ground_.calls.size(); ++call) {
    if (ground_.calls[call].name == "allocation") last = call;
  }
  SweepTask task = Failing(last, 8);
  task.kind = SweepTask::Kind::kAllocation;
  EXPECT_EQ(Promises(RunOne(task)), "");
  auto const verdict = RunOne(task, [](TabletRun& run, const SweepTask&, int) {
    Later(run, [&run] { run.machine().registry().PutDword(kParameters, u"Distribute", 0); });
  });
  EXPECT_TRUE(verdict.triggered);
  EXPECT_EQ(Promises(verdict), "failed-deployment");
}

TEST_F(BrokenPromise, ARequestThatGoesWithAFailedDeploymentIsSeen) {
  Prepare("fresh");
  auto const verdict = RunOne(Failing(Find("WriteFile", "12288"), 112), [](TabletRun& run, const SweepTask&, int) {
    Later(run, [&run] { run.machine().registry().PutDword(kParameters, u"Distribute", 0); });
  });
  EXPECT_EQ(Promises(verdict), "failed-deployment");
}

TEST_F(BrokenPromise, AnImagePathThatIsWrittenTooEarlyIsSeen) {
  Prepare("fresh");
  SweepTask const cut = CutBehind(Find("WriteFile", "12288"));
  auto const verdict = RunOne(cut, [](TabletRun& run, const SweepTask&, int start) {
    if (start == 1) run.machine().registry().PutText(kModem, u"AmssSwImagePath", u"\\SystemRoot\\System32\\new.mbn");
  });
  EXPECT_THAT(Promises(verdict), testing::HasSubstr("paths-after-files"));
}

TEST_F(BrokenPromise, ADumpThatIsGoneIsSeen) {
  Prepare("crashed-modem");
  auto const verdict = RunOne(Failing(Find("MoveFileExW"), kDenied), [](TabletRun& run, const SweepTask&, int) {
    Later(run, [&run] { run.machine().drive().Remove(std::u16string(cli::kDumpFolder) + u"\\modem.dmp"); });
  });
  EXPECT_EQ(Promises(verdict), "dumps");
}

TEST_F(BrokenPromise, ADumpThatHasLostItsBytesIsSeen) {
  Prepare("crashed-modem");
  auto const verdict = RunOne(Failing(Find("MoveFileExW"), kDenied), [](TabletRun& run, const SweepTask&, int) {
    Later(run, [&run] {
      std::vector<std::uint8_t> const other{1, 2, 3};
      run.machine().drive().Put(std::u16string(cli::kDumpFolder) + u"\\modem.dmp", other);
    });
  });
  EXPECT_EQ(Promises(verdict), "dumps");
}

TEST_F(BrokenPromise, AFileElsewhereIsSeen) {
  Prepare("already-deployed");
  auto const verdict = RunOne(Failing(Find("CloseServiceHandle"), 6), [](TabletRun& run, const SweepTask&, int) {
    std::shared_ptr<tablet::OpenFile> file;
    bool existed = false;
    run.machine().drive().Open(u"C:\\Users\\stray.txt", {0x40000000, 0, 2, 0}, file, existed);
  });
  EXPECT_EQ(Promises(verdict), "inside");
}

TEST_F(BrokenPromise, AHandleThatStaysOpenIsSeen) {
  Prepare("already-deployed");
  auto const verdict = RunOne(InOrder(0), [](TabletRun& run, const SweepTask&, int) {
    run.machine().faults().Add({.call = "RegCloseKey", .error = 6, .first = 3, .count = 1});
  });
  EXPECT_EQ(Promises(verdict), "handles");
  EXPECT_EQ(verdict.findings.at(0).detail, "left open: key");
}

TEST_F(BrokenPromise, AProcessOfTheHostThatCrashesIsSeen) {
  Prepare("already-deployed");
  auto const verdict =
      RunOne(InOrder(0), [](TabletRun& run, const SweepTask&, int) { Later(run, [] { ::raise(SIGSEGV); }); });
  EXPECT_EQ(Promises(verdict), "memory");
  EXPECT_EQ(verdict.end, "crashed");
}

TEST_F(BrokenPromise, AMessageThatDoesNotComeIsSeen) {
  Prepare("already-deployed");
  std::size_t const call = Find("RegQueryValueExW", "CrashDumpEnabled");
  EXPECT_EQ(Promises(RunOne(Failing(call, 2))), "");
  auto const verdict = RunOne(Failing(call, 2), [](TabletRun& run, const SweepTask&, int) {
    run.machine().trace().StopCollecting(*tablet::Guid::Parse(service_facts::kTraceProvider));
  });
  EXPECT_EQ(Promises(verdict), "told");
}

TEST_F(BrokenPromise, ATabletThatIsLeftDifferentBehindAPowerCutIsSeen) {
  Prepare("already-deployed");
  auto const verdict = RunOne(CutBehind(Find("QueueUserWorkItem")), [](TabletRun& run, const SweepTask&, int start) {
    if (start == 2) run.machine().registry().PutDword(kParameters, u"Stray", 1);
  });
  EXPECT_EQ(Promises(verdict), "converges");
}

TEST_F(BrokenPromise, ATabletThatDependsOnTheOrderOfThreadsIsSeen) {
  Prepare("already-deployed");
  EXPECT_EQ(Promises(RunOne(InOrder(7))), "");
  auto const verdict = RunOne(InOrder(7), [](TabletRun& run, const SweepTask& task, int) {
    run.machine().registry().PutDword(kParameters, u"Seed", static_cast<std::uint32_t>(task.seed));
  });
  EXPECT_EQ(Promises(verdict), "schedule");
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

class SweepCost : public SweepBench {};

TEST_F(SweepCost, ArchivesAreUnpackedOnlyWhereRunsDeployThem) {
  Prepare("already-deployed");
  EXPECT_FALSE(cli::NeedsArchives(ground_.expected));
  Prepare("fresh");
  EXPECT_TRUE(cli::NeedsArchives(ground_.expected));
}

class ReportingRun : public SweepBench {};

TEST_F(ReportingRun, AllocationsOfTheTraceSessionAndOfTheDeviceAreToldInDifferentWords) {
  Prepare("factory-audit");
  for (auto const* function : {"StartLogSession", "GetDevicePath"}) {
    auto const verdict = RunOne(Failing(Find("HeapAlloc", "", function), 8));
    EXPECT_EQ(Promises(verdict), "") << function;
    EXPECT_TRUE(verdict.triggered);
  }
}

std::string PageText() {
  std::ifstream in(testing_support::SourceFolder() + "/docs/promises.md");
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(PromisesPage, NamesWhatTheSweepChecks) {
  std::string const page = PageText();
  std::set<std::string> rows;
  std::regex const row("\n\\| `([a-z]+(?:/[a-z-]+)?|[a-z]+-[a-z-]+(?:/[a-z-]+)?)` \\|");
  for (std::sregex_iterator it(page.begin(), page.end(), row), end; it != end; ++it) rows.insert((*it)[1]);
  std::set<std::string> names;
  for (const cli::Promise& promise : cli::Promises()) names.emplace(promise.name);
  for (const cli::KnownLimitation& limitation : cli::KnownLimitations()) names.emplace(limitation.name);
  EXPECT_EQ(rows, names);
}

TEST(PromisesPage, NamesATestForEachKnownLimitation) {
  std::string const page = PageText();
  for (const cli::KnownLimitation& limitation : cli::KnownLimitations()) {
    std::size_t const begin = page.find("\n| `" + std::string(limitation.name) + "` |");
    ASSERT_NE(begin, page.npos) << limitation.name;
    std::string const row = page.substr(begin + 1, page.find('\n', begin + 1) - begin - 1);
    EXPECT_TRUE(std::regex_search(row, std::regex("\\| `[A-Za-z]+\\.[A-Za-z]+` \\|$"))) << row;
  }
}

}  // namespace
