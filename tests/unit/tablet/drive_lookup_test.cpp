// A drive remembers the folders of the last look-ups. This must not change any result.
#include "sim/tablet/drive/drive.h"
#include "tests/testing/tablet_fixture.h"

namespace {

class PathsOnADrive : public ::testing::Test {
 protected:
  /// The same look-up, twice: the second may use the memory of the first.
  tablet::WinError Ask(std::u16string_view path) {
    std::uint32_t attributes = 0;
    tablet::WinError const first = drive_.Attributes(path, attributes);
    EXPECT_EQ(drive_.Attributes(path, attributes), first) << "asked again";
    return first;
  }
  bool IsThere(std::u16string_view path) { return Ask(path) == tablet::kSuccess; }
  void Put(std::u16string_view path) { drive_.Put(path, std::vector<std::uint8_t>{1}); }

  testing_support::ScratchFolder folder_;
  tablet::Scheduler scheduler_{{}};
  tablet::Clock clock_{scheduler_, tablet::kUnixEpoch, 0};
  tablet::Drive drive_{folder_.path() / "C", folder_.path() / "attributes.txt", clock_};
};

TEST_F(PathsOnADrive, LeadToWhatIsInARemovedFoldersPlaceNow) {
  Put(u"c:\\a\\b\\old");
  EXPECT_TRUE(IsThere(u"c:\\a\\b"));
  EXPECT_TRUE(IsThere(u"c:\\a\\b\\old"));
  drive_.Remove(u"c:\\a");
  EXPECT_EQ(Ask(u"c:\\a\\b"), tablet::kPathNotFound);
  EXPECT_EQ(Ask(u"c:\\a\\b\\old"), tablet::kPathNotFound);
  Put(u"c:\\a\\b\\new");
  EXPECT_EQ(Ask(u"c:\\a\\b\\old"), tablet::kFileNotFound);
  EXPECT_TRUE(IsThere(u"c:\\a\\b\\new"));
}

TEST_F(PathsOnADrive, FollowTheCurrentDirectory) {
  Put(u"c:\\first\\sub\\here");
  Put(u"c:\\second\\sub\\there");
  drive_.SetCurrentDirectory(u"C:\\first");
  EXPECT_TRUE(IsThere(u"sub"));
  EXPECT_TRUE(IsThere(u"sub\\here"));
  EXPECT_TRUE(IsThere(u"c:sub\\here"));
  drive_.SetCurrentDirectory(u"C:\\second");
  EXPECT_FALSE(IsThere(u"sub\\here"));
  EXPECT_FALSE(IsThere(u"c:sub\\here"));
  EXPECT_TRUE(IsThere(u"sub\\there"));
}

TEST_F(PathsOnADrive, ADriveLetterAloneIsTheCurrentDirectoryAndTheRootInFrontOfASeparator) {
  Put(u"c:\\first\\inside");
  Put(u"c:\\outside");
  drive_.SetCurrentDirectory(u"C:\\first");
  EXPECT_TRUE(IsThere(u"c:"));
  EXPECT_TRUE(IsThere(u"c:inside"));
  EXPECT_FALSE(IsThere(u"c:\\inside"));
  EXPECT_TRUE(IsThere(u"c:\\outside"));
}

TEST_F(PathsOnADrive, BlanksAtTheEndCountInFrontOfASeparatorOnly) {
  Put(u"c:\\a\\file");
  EXPECT_TRUE(IsThere(u"c:\\a  "));
  EXPECT_EQ(Ask(u"c:\\a  \\file"), tablet::kPathNotFound);
  EXPECT_TRUE(IsThere(u"c:\\a..."));
  EXPECT_EQ(Ask(u"c:\\a...\\file"), tablet::kPathNotFound);
  EXPECT_TRUE(IsThere(u"c:\\a\\file. "));
}

TEST_F(PathsOnADrive, AFolderIsFoundWithASeparatorBehindItAndAFileIsNot) {
  Put(u"c:\\a\\b\\file");
  EXPECT_TRUE(IsThere(u"c:\\a\\b"));
  EXPECT_TRUE(IsThere(u"c:\\a\\b\\"));
  EXPECT_TRUE(IsThere(u"C:/A/B/"));
  EXPECT_EQ(Ask(u"c:\\a\\b\\file\\"), tablet::kInvalidName);
  EXPECT_EQ(Ask(u"c:\\a\\b\\none\\"), tablet::kFileNotFound);
}

TEST_F(PathsOnADrive, WrongNamesAndLongPathsAreRefusedAlsoInAFolderThatIsKnown) {
  Put(u"c:\\a\\file");
  EXPECT_TRUE(IsThere(u"c:\\a"));
  EXPECT_EQ(Ask(u"c:\\a\\fi*le"), tablet::kInvalidName);
  EXPECT_EQ(Ask(u"c:\\a\\fi\tle"), tablet::kInvalidName);
  EXPECT_EQ(Ask(u"c:\\a\\" + std::u16string(254, u'x')), tablet::kFileNotFound);
  EXPECT_EQ(Ask(u"c:\\a\\" + std::u16string(255, u'x')), tablet::kPathNotFound);
  EXPECT_EQ(Ask(u"c:\\a\\file\\deeper"), tablet::kPathNotFound);
}

TEST_F(PathsOnADrive, AMovedFileIsFoundUnderItsNewNameOnly) {
  Put(u"c:\\a\\old");
  drive_.PutFolder(u"c:\\b");
  EXPECT_TRUE(IsThere(u"c:\\a\\old"));
  EXPECT_EQ(drive_.Move(u"c:\\a\\old", u"c:\\b\\New"), tablet::kSuccess);
  EXPECT_EQ(Ask(u"c:\\a\\old"), tablet::kFileNotFound);
  EXPECT_TRUE(IsThere(u"c:\\b\\new"));
  EXPECT_EQ(drive_.Facts(u"c:\\b\\new").name, u"New");
}

TEST_F(PathsOnADrive, AListingIsInOrderOfNamesWithoutRegardToCase) {
  for (const char16_t* name : {u"b", u"A", u"c10", u"C2", u"ä", u"_"}) Put(std::u16string(u"c:\\list\\") + name);
  std::vector<tablet::FileFacts> found;
  EXPECT_EQ(drive_.Find(u"c:\\list\\*", found), tablet::kSuccess);
  std::vector<std::u16string> names;
  for (const tablet::FileFacts& facts : found) names.push_back(facts.name);
  EXPECT_THAT(names, testing::ElementsAre(u".", u"..", u"A", u"b", u"c10", u"C2", u"_", u"ä"));
}

}  // namespace
