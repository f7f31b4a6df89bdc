// Runs whose power is cut, and what the next one finds: the library beneath --cut-at.
#include "cli/boot/tablet_run.h"
#include "cli/samples/samples.h"
#include "sim/tablet/folder/folder.h"
#include "tests/testing/tablet_fixture.h"

namespace {

constexpr const char16_t* kModemKey =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e97d-e325-11ce-bfc1-08002be10318}\\0001";
constexpr std::uint64_t kDuringExtraction = 1500;

class PowerCutTest : public ::testing::Test {
 protected:
  PowerCutTest() {
    cli::MakeSample("fresh", true, Folder());
    std::filesystem::create_directory(Work());
    tablet::CopyDrive(Folder(), Work());
    description_ = tablet::ReadDescription(Folder() / "tablet.json");
  }

  std::filesystem::path Folder() const { return scratch_.path() / "tablet"; }
  std::filesystem::path Work() const { return scratch_.path() / "work"; }

  std::unique_ptr<cli::TabletRun> FirstRun(std::uint64_t cut_at) {
    return std::make_unique<cli::TabletRun>(description_, Folder(), Work(), cli::RunSettings{.cut_at = cut_at});
  }
  std::unique_ptr<cli::TabletRun> NextRun(std::unique_ptr<cli::TabletRun> run, std::uint64_t cut_at = 0) {
    return std::make_unique<cli::TabletRun>(description_, cli::TabletRun::PowerOff(std::move(run)), Work(),
                                            cli::RunSettings{.cut_at = cut_at});
  }
  static std::u16string Image(cli::TabletRun& run) {
    return *run.machine().registry().GetText(kModemKey, u"AmssFwImagePath");
  }

  testing_support::ScratchFolder scratch_;
  tablet::Description description_;
};

TEST_F(PowerCutTest, NothingHappensFromTheCutOn) {
  auto const run = FirstRun(kDuringExtraction);
  cli::RunEnd const end = run->Run(std::nullopt);
  EXPECT_EQ(end.kind, cli::RunEnd::Kind::kPowerCut);
  EXPECT_EQ(run->machine().scheduler().calls(), kDuringExtraction);
  EXPECT_EQ(Image(*run), u"\\SystemRoot\\System32\\qcdsp1v2.mbn");
}

TEST_F(PowerCutTest, TheNextRunFindsWhatWasWrittenAndGoesOnFromThere) {
  auto first = FirstRun(kDuringExtraction);
  first->Run(std::nullopt);
  ASSERT_TRUE(first->machine().drive().Exists(u"C:\\Windows\\System32\\qcdsp1v2850.mbn"));
  auto const second = NextRun(std::move(first));
  EXPECT_TRUE(second->machine().drive().Exists(u"C:\\Windows\\System32\\qcdsp1v2850.mbn"));
  EXPECT_EQ(second->Run(std::nullopt).kind, cli::RunEnd::Kind::kStopped);
  EXPECT_EQ(Image(*second), u"\\SystemRoot\\System32\\qcdsp1v2850.mbn");
}

TEST_F(PowerCutTest, ThePowerCanBeCutInEachRun) {
  auto run = FirstRun(kDuringExtraction);
  run->Run(std::nullopt);
  for (std::uint64_t const call : {1u, 700u, 1600u}) {
    run = NextRun(std::move(run), call);
    EXPECT_EQ(run->Run(std::nullopt).kind, cli::RunEnd::Kind::kPowerCut) << call;
  }
  run = NextRun(std::move(run));
  EXPECT_EQ(run->Run(std::nullopt).kind, cli::RunEnd::Kind::kStopped);
  EXPECT_EQ(Image(*run), u"\\SystemRoot\\System32\\qcdsp1v2850.mbn");
}

TEST_F(PowerCutTest, SpaceThatWasTakenStaysTaken) {
  constexpr std::uint64_t kFree = 1'000'000;
  description_.free_bytes = kFree;
  auto run = FirstRun(kDuringExtraction);
  run->Run(std::nullopt);
  std::uint64_t written = 0;
  for (const tablet::FileChange& change : run->FileChanges())
    written += change.folder || !change.created ? 0 : change.bytes;
  ASSERT_GT(written, 50'000u);
  run = NextRun(std::move(run));
  EXPECT_EQ(run->machine().drive().FreeBytes(), kFree - written);
}

TEST_F(PowerCutTest, ChangesOfAllRunsAreReportedTogether) {
  auto run = FirstRun(kDuringExtraction);
  run->Run(std::nullopt);
  run = NextRun(std::move(run));
  run->Run(std::nullopt);
  std::vector<tablet::FileChange> const changes = run->FileChanges();
  auto const image = std::ranges::find(changes, u"C:\\Windows\\System32\\qcdsp1v2850.mbn", &tablet::FileChange::path);
  ASSERT_NE(image, changes.end());
  EXPECT_TRUE(image->created);
  EXPECT_EQ(std::ranges::count(changes, image->path, &tablet::FileChange::path), 1);
  EXPECT_EQ(run->registry_before().GetText(kModemKey, u"AmssFwImagePath"), u"\\SystemRoot\\System32\\qcdsp1v2.mbn");
}

}  // namespace
