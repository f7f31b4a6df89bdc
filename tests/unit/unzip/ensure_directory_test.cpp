#include "vantord/unzip/ensure_directory.h"

#include "tests/testing/tablet_fixture.h"

namespace {

class EnsureDirectoryTest : public testing_support::TabletTest {
 protected:
  // "c:", the parent of "c:\a", is the current directory of the drive, which is always there.
  EnsureDirectoryTest() { drive().PutFolder(drive().current_directory()); }

  /// The folders that were asked to be made, in order.
  std::vector<std::string> Created() {
    std::vector<std::string> paths = ArgumentsOf("CreateDirectoryW");
    for (std::string& path : paths) path = path.substr(1, path.find('"', 1) - 1);
    return paths;
  }
};

TEST_F(EnsureDirectoryTest, MissingFoldersAreMadeFromTheTopDown) {
  EnsureDirectory(nullptr, u"c:\\a\\b/c");
  EXPECT_THAT(Created(), ElementsAre("c:\\a", "c:\\a\\b", "c:\\a\\b/c"));
  EXPECT_TRUE(drive().Exists(u"c:\\a\\b\\c"));
}

TEST_F(EnsureDirectoryTest, ASeparatorAtTheEndChangesNothing) {
  EnsureDirectory(nullptr, u"c:\\a\\b\\");
  EXPECT_THAT(Created(), ElementsAre("c:\\a", "c:\\a\\b"));
}

TEST_F(EnsureDirectoryTest, FoldersThatAreThereAreNotMadeAgain) {
  drive().PutFolder(u"c:\\a\\b");
  EnsureDirectory(nullptr, u"c:\\a\\b\\c\\");
  EXPECT_THAT(Created(), ElementsAre("c:\\a\\b\\c"));
}

TEST_F(EnsureDirectoryTest, TheBaseIsMadeFirstAndPutInFrontAsItStands) {
  EnsureDirectory(u"c:\\root\\", u"sub\\deep\\");
  EXPECT_THAT(Created(), ElementsAre("c:\\root", "c:\\root\\sub", "c:\\root\\sub\\deep"));
}

TEST_F(EnsureDirectoryTest, OfABaseOneSeparatorIsDropped) {
  EnsureDirectory(u"c:\\root/", u"");
  EXPECT_THAT(Created(), ElementsAre("c:\\root"));
}

TEST_F(EnsureDirectoryTest, ABaseWithoutASeparatorAtItsEndIsMadeAsItStands) {
  EnsureDirectory(u"c:\\root", u"\\sub");
  EXPECT_THAT(Created(), ElementsAre("c:\\root", "c:\\root\\sub"));
}

TEST_F(EnsureDirectoryTest, APathOf260CharactersOrMoreIsCutTo259) {
  EnsureDirectory(u"c:\\", std::u16string(300, u'a').c_str());
  EXPECT_EQ(Created().back(), "c:\\" + std::string(256, 'a'));
}

TEST_F(EnsureDirectoryTest, ASeparatorBehindTheLongestPathCutsNothing) {
  std::u16string const name(257, u'a');
  EnsureDirectory(nullptr, (u"c:\\" + name + u"\\b").c_str());
  EXPECT_EQ(Created().back(), "c:\\" + std::string(256, 'a'));
}

TEST_F(EnsureDirectoryTest, WithoutAFolderOnlyTheBaseIsMade) {
  EnsureDirectory(u"c:\\root\\", u"");
  EXPECT_THAT(Created(), ElementsAre("c:\\root"));
  EnsureDirectory(nullptr, u"");
  EXPECT_THAT(Created(), ElementsAre("c:\\root"));
}

TEST_F(EnsureDirectoryTest, ASeparatorAtTheStartIsNoParent) {
  EnsureDirectory(nullptr, u"\\a\\b");
  EXPECT_THAT(Created(), ElementsAre("\\a", "\\a\\b"));
  EXPECT_TRUE(drive().Exists(u"c:\\a\\b"));
}

TEST_F(EnsureDirectoryTest, AFailureIsIgnoredAndTheRestStillTried) {
  Inject("CreateDirectoryW", ERROR_ACCESS_DENIED, 1, 1);
  EnsureDirectory(nullptr, u"c:\\a\\b");
  EXPECT_THAT(Created(), ElementsAre("c:\\a", "c:\\a\\b"));
  EXPECT_FALSE(drive().Exists(u"c:\\a"));
  EXPECT_THAT(formatted(), testing::Not(testing::Contains(testing::HasSubstr(" : "))));
}

TEST_F(EnsureDirectoryTest, AFileInTheWayIsTakenForAFolder) {
  drive().Put(u"c:\\a", {});
  EnsureDirectory(nullptr, u"c:\\a\\b");
  EXPECT_THAT(Created(), ElementsAre("c:\\a\\b"));
  EXPECT_FALSE(drive().Exists(u"c:\\a\\b"));
}

}  // namespace
