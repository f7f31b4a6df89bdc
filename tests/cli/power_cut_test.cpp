// Lives whose power is cut, and what the next one finds: the library beneath --cut-at.
#include "cli/life.h"
#include "cli/samples.h"
#include "tablet/folder.h"
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

  std::unique_ptr<cli::Life> FirstLife(std::uint64_t cut_at) {
    return std::make_unique<cli::Life>(description_, Folder(), Work(), cli::LifeOptions{.cut_at = cut_at});
  }
  std::unique_ptr<cli::Life> NextLife(std::unique_ptr<cli::Life> life, std::uint64_t cut_at = 0) {
    return std::make_unique<cli::Life>(description_, cli::Life::PowerOff(std::move(life)), Work(),
                                       cli::LifeOptions{.cut_at = cut_at});
  }
  static std::u16string Image(cli::Life& life) {
    return *life.machine().registry().GetText(kModemKey, u"AmssFwImagePath");
  }

  testing_support::ScratchFolder scratch_;
  tablet::Description description_;
};

TEST_F(PowerCutTest, NothingHappensFromTheCutOn) {
  auto const life = FirstLife(kDuringExtraction);
  cli::LifeEnd const end = life->Run(std::nullopt);
  EXPECT_EQ(end.kind, cli::LifeEnd::Kind::kPowerCut);
  EXPECT_EQ(life->machine().scheduler().calls(), kDuringExtraction);
  EXPECT_EQ(Image(*life), u"\\SystemRoot\\System32\\qcdsp1v2.mbn");
}

TEST_F(PowerCutTest, TheNextLifeFindsWhatWasWrittenAndGoesOnFromThere) {
  auto first = FirstLife(kDuringExtraction);
  first->Run(std::nullopt);
  ASSERT_TRUE(first->machine().drive().Exists(u"C:\\Windows\\System32\\qcdsp1v2850.mbn"));
  auto const second = NextLife(std::move(first));
  EXPECT_TRUE(second->machine().drive().Exists(u"C:\\Windows\\System32\\qcdsp1v2850.mbn"));
  EXPECT_EQ(second->Run(std::nullopt).kind, cli::LifeEnd::Kind::kStopped);
  EXPECT_EQ(Image(*second), u"\\SystemRoot\\System32\\qcdsp1v2850.mbn");
}

TEST_F(PowerCutTest, ThePowerCanBeCutInEachLife) {
  auto life = FirstLife(kDuringExtraction);
  life->Run(std::nullopt);
  for (std::uint64_t const call : {1u, 700u, 1600u}) {
    life = NextLife(std::move(life), call);
    EXPECT_EQ(life->Run(std::nullopt).kind, cli::LifeEnd::Kind::kPowerCut) << call;
  }
  life = NextLife(std::move(life));
  EXPECT_EQ(life->Run(std::nullopt).kind, cli::LifeEnd::Kind::kStopped);
  EXPECT_EQ(Image(*life), u"\\SystemRoot\\System32\\qcdsp1v2850.mbn");
}

TEST_F(PowerCutTest, SpaceThatWasTakenStaysTaken) {
  constexpr std::uint64_t kFree = 1'000'000;
  description_.free_bytes = kFree;
  auto life = FirstLife(kDuringExtraction);
  life->Run(std::nullopt);
  std::uint64_t written = 0;
  for (const tablet::FileChange& change : life->FileChanges())
    written += change.folder || !change.created ? 0 : change.bytes;
  ASSERT_GT(written, 50'000u);
  life = NextLife(std::move(life));
  EXPECT_EQ(life->machine().drive().FreeBytes(), kFree - written);
}

TEST_F(PowerCutTest, ChangesAreToldOfAllLivesTogether) {
  auto life = FirstLife(kDuringExtraction);
  life->Run(std::nullopt);
  life = NextLife(std::move(life));
  life->Run(std::nullopt);
  std::vector<tablet::FileChange> const changes = life->FileChanges();
  auto const image = std::ranges::find(changes, u"C:\\Windows\\System32\\qcdsp1v2850.mbn", &tablet::FileChange::path);
  ASSERT_NE(image, changes.end());
  EXPECT_TRUE(image->created);
  EXPECT_EQ(std::ranges::count(changes, image->path, &tablet::FileChange::path), 1);
  EXPECT_EQ(life->registry_before().GetText(kModemKey, u"AmssFwImagePath"), u"\\SystemRoot\\System32\\qcdsp1v2.mbn");
}

}  // namespace
