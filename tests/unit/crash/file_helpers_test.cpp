#include "vantord/crash/file_helpers.h"

#include "tests/unit/winapi/files_fixture.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"

namespace {

class FileHelpersTest : public testing_support::FilesTest {
 protected:
  FileHelpersTest() { OpenLog(0); }  // the helpers' messages are sent whatever the mask

  void PutDumps() {
    Put(u"c:\\from\\a.dmp", "a");
    Put(u"c:\\from\\b.dmp", "b");
    Put(u"c:\\from\\c.txt", "c");
  }
  HRESULT MoveAll(const WCHAR* filter = TEXT("*.*")) { return CopyMoveFiles(TEXT("c:\\from"), filter, TEXT("c:\\to")); }
  /// As it is meant to be called.
  static bool MakeFolder(const WCHAR* path) {
    return ::CreateDirectoryW(path, nullptr) != FALSE || CreateDirectoryFull(path);
  }
};

TEST_F(FileHelpersTest, EveryFileIsMovedAndEachStepIsLogged) {
  PutDumps();
  EXPECT_EQ(MoveAll(), S_OK);
  EXPECT_EQ(TextOf(u"c:\\to\\a.dmp") + TextOf(u"c:\\to\\b.dmp") + TextOf(u"c:\\to\\c.txt"), "abc");
  EXPECT_FALSE(drive().Exists(u"c:\\from\\a.dmp"));
  EXPECT_THAT(messages(), ElementsAre("CopyMoveFiles:1841 : lpSrcPath=c:\\from, lpFilter=*.*, lpDestPath=c:\\to",
                                      "CopyMoveFiles:1842 : wcsSrcPath=c:\\from\\*.*",
                                      "CopyMoveFiles:1874 : Moving 'c:\\from\\a.dmp' to 'c:\\to\\a.dmp'",
                                      "CopyMoveFiles:1874 : Moving 'c:\\from\\b.dmp' to 'c:\\to\\b.dmp'",
                                      "CopyMoveFiles:1874 : Moving 'c:\\from\\c.txt' to 'c:\\to\\c.txt'"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(FileHelpersTest, OnlyWhatMatchesTheFilterIsMoved) {
  PutDumps();
  EXPECT_EQ(MoveAll(TEXT("*.txt")), S_OK);
  EXPECT_TRUE(drive().Exists(u"c:\\to\\c.txt"));
  EXPECT_TRUE(drive().Exists(u"c:\\from\\a.dmp"));
  EXPECT_TRUE(drive().Exists(u"c:\\from\\b.dmp"));
}

TEST_F(FileHelpersTest, AReadOnlyFileIsMovedToo) {
  Put(u"c:\\from\\a.dmp", "a", tablet::kAttributeReadOnly);
  EXPECT_EQ(MoveAll(), S_OK);
  EXPECT_EQ(TextOf(u"c:\\to\\a.dmp"), "a");
}

TEST_F(FileHelpersTest, ADestinationOf260CharactersOrMoreIsCutTo259) {
  PutDumps();
  std::u16string const to = u"c:\\" + std::u16string(252, u't');
  EXPECT_EQ(CopyMoveFiles(TEXT("c:\\from"), TEXT("a.dmp"), to.c_str()), S_OK);
  EXPECT_EQ(MessagesOf("CopyMoveFiles:1874").front(),
            "CopyMoveFiles:1874 : Moving 'c:\\from\\a.dmp' to '" + tablet::ToUtf8(to) + "\\a.d'");
}

TEST_F(FileHelpersTest, FoldersStayWhereTheyAre) {
  PutDumps();
  Put(u"c:\\from\\older\\d.dmp", "d");
  EXPECT_EQ(MoveAll(), S_OK);
  EXPECT_EQ(TextOf(u"c:\\from\\older\\d.dmp"), "d");
  EXPECT_FALSE(drive().Exists(u"c:\\to\\older"));
  EXPECT_EQ(ArgumentsOf("MoveFileExW").size(), 3u);
}

TEST_F(FileHelpersTest, AFileThatIsThereAlreadyIsNotReplacedAndTheRestIsMoved) {
  PutDumps();
  Put(u"c:\\to\\b.dmp", "older");
  EXPECT_EQ(MoveAll(), S_OK);
  EXPECT_EQ(TextOf(u"c:\\to\\b.dmp"), "older");
  EXPECT_EQ(TextOf(u"c:\\from\\b.dmp"), "b");
  EXPECT_EQ(TextOf(u"c:\\to\\a.dmp") + TextOf(u"c:\\to\\c.txt"), "ac");
  EXPECT_THAT(messages(), Contains("CopyMoveFiles:1877 : MoveFileEx error(183)").Times(1));
}

TEST_F(FileHelpersTest, WhateverAMoveFailsWithIsLoggedAndTheRestIsMoved) {
  PutDumps();
  Inject("MoveFileExW", ERROR_FILE_EXISTS, 2, 1);
  EXPECT_EQ(MoveAll(), S_OK);
  EXPECT_EQ(TextOf(u"c:\\from\\b.dmp"), "b");
  EXPECT_EQ(TextOf(u"c:\\to\\a.dmp") + TextOf(u"c:\\to\\c.txt"), "ac");
  EXPECT_THAT(messages(), Contains("CopyMoveFiles:1877 : MoveFileEx error(80)").Times(1));
}

TEST_F(FileHelpersTest, AnotherVolumeIsOutOfReach) {
  PutDumps();
  EXPECT_EQ(CopyMoveFiles(TEXT("c:\\from"), TEXT("*.*"), TEXT("d:\\to")), S_OK);
  EXPECT_EQ(TextOf(u"c:\\from\\a.dmp") + TextOf(u"c:\\from\\b.dmp") + TextOf(u"c:\\from\\c.txt"), "abc");
  for (const std::string& arguments : ArgumentsOf("MoveFileExW"))
    EXPECT_TRUE(arguments.ends_with(", 0x0")) << arguments;
}

TEST_F(FileHelpersTest, AnEmptyFolderMovesNothing) {
  drive().PutFolder(u"c:\\from");
  EXPECT_EQ(MoveAll(), S_OK);
  EXPECT_THAT(ArgumentsOf("MoveFileExW"), IsEmpty());
  EXPECT_TRUE(drive().Exists(u"c:\\to")) << "the destination is made all the same";
}

TEST_F(FileHelpersTest, AMissingFolderCannotBeListed) {
  EXPECT_EQ(MoveAll(), E_INVALIDARG);
  EXPECT_EQ(static_cast<DWORD>(MoveAll()), 0x80070057u);
  EXPECT_THAT(messages(), Contains("CopyMoveFiles:1848 : FindFirstFileW error(3)"));
  EXPECT_FALSE(drive().Exists(u"c:\\to"));
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(FileHelpersTest, WithoutADestinationEveryFileStays) {
  PutDumps();
  Inject("CreateDirectoryW", ERROR_ACCESS_DENIED);
  EXPECT_EQ(MoveAll(), S_OK);
  EXPECT_EQ(TextOf(u"c:\\from\\a.dmp") + TextOf(u"c:\\from\\b.dmp") + TextOf(u"c:\\from\\c.txt"), "abc");
  EXPECT_THAT(messages(), Contains("CopyMoveFiles:1877 : MoveFileEx error(3)").Times(3));
}

TEST_F(FileHelpersTest, AListingThatBreaksOffIsStillASuccess) {
  PutDumps();
  Inject("FindNextFileW", ERROR_IO_DEVICE, 4, 1);
  EXPECT_EQ(MoveAll(), S_OK);
  EXPECT_TRUE(drive().Exists(u"c:\\to\\b.dmp"));
  EXPECT_TRUE(drive().Exists(u"c:\\from\\c.txt"));
  EXPECT_EQ(messages().back(), "CopyMoveFiles:1894 : FindNextFile error(1117)");
  EXPECT_THAT(open_kinds(), IsEmpty());
}

TEST_F(FileHelpersTest, APathThatIsTooLongIsCutAt259Characters) {
  drive().PutFolder(u"c:\\from");
  std::u16string const filter(300, u'x');
  EXPECT_EQ(MoveAll(filter.c_str()), E_INVALIDARG);
  std::string const cut = "c:\\from\\" + std::string(251, 'x');
  EXPECT_THAT(messages(), Contains("CopyMoveFiles:1842 : wcsSrcPath=" + cut));
}

TEST_F(FileHelpersTest, PathsOf259CharactersAreUsedWhole) {
  std::u16string const name(250, u'n');
  drive().PutFolder(u"c:\\from");
  Put(u"c:\\from\\" + name, "a");
  EXPECT_EQ(MoveAll((name.substr(1) + u"*").c_str()), S_OK);
  EXPECT_EQ(TextOf(u"c:\\to\\" + name), "a");
}

// Chains of folders.

TEST_F(FileHelpersTest, AChainOf238CharactersIsMade) {
  std::u16string const parent = u"c:\\" + std::u16string(115, u'p') + u"\\" + std::u16string(115, u'q');
  std::u16string const path = parent + u"\\end";
  EXPECT_TRUE(MakeFolder(path.c_str()));
  EXPECT_TRUE(drive().Exists(path));
}

TEST_F(FileHelpersTest, AWholeChainIsMadeOfAPathThatEndsInABackslash) {
  EXPECT_TRUE(MakeFolder(TEXT("c:\\a\\b\\c\\")));
  EXPECT_TRUE(drive().Exists(u"c:\\a\\b\\c"));
  EXPECT_THAT(ArgumentsOf("CreateDirectoryW"),
              ElementsAre("\"c:\\a\\b\\c\\\"", "\"c:\\a\\b\"", "\"c:\\a\"", "\"c:\\a\\b\"", "\"c:\\a\\b\\c\\\""));
  EXPECT_THAT(messages(), ElementsAre("CreateDirectoryFull:4302 : Creating Dir [c:\\a\\b\\c\\]",
                                      "CreateDirectoryFull:4302 : Creating Dir [c:\\a\\b]"));
}

TEST_F(FileHelpersTest, OnlyOneBackslashAtTheEndIsPassedOver) {
  EXPECT_FALSE(MakeFolder(TEXT("c:\\a\\b\\\\")));
  EXPECT_TRUE(drive().Exists(u"c:\\a\\b")) << "it was taken for its own parent";
  EXPECT_EQ(messages().back(), "CreateDirectoryFull:4315 : Create Directory Failed: Err=183 path[c:\\a\\b\\\\]");
}

TEST_F(FileHelpersTest, ABackslashAloneHasNoParentAndIsCalledMade) {
  ::SetLastError(ERROR_PATH_NOT_FOUND);
  EXPECT_TRUE(CreateDirectoryFull(TEXT("\\")));
  EXPECT_THAT(ArgumentsOf("CreateDirectoryW"), IsEmpty());
}

TEST_F(FileHelpersTest, TheParentIsSoughtInTheFirst259Characters) {
  ::SetLastError(ERROR_PATH_NOT_FOUND);
  (void)CreateDirectoryFull((u"c:\\" + std::u16string(255, u'a') + u"\\bb").c_str());
  EXPECT_THAT(ArgumentsOf("CreateDirectoryW"), testing::Contains("\"c:\""))
      << "the last backslash is at their end, and is ignored";
}

TEST_F(FileHelpersTest, AFolderThatIsThereIsFine) {
  drive().PutFolder(u"c:\\a");
  EXPECT_TRUE(MakeFolder(TEXT("c:\\a")));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FileHelpersTest, ADeniedFolderIsNotTriedAgain) {
  Inject("CreateDirectoryW", ERROR_ACCESS_DENIED);
  EXPECT_FALSE(MakeFolder(TEXT("c:\\a\\b")));
  EXPECT_EQ(ArgumentsOf("CreateDirectoryW").size(), 1u);
  EXPECT_THAT(messages(), ElementsAre("CreateDirectoryFull:4323 : Create Directory Failed: Err=5 path[c:\\a\\b]"));
}

TEST_F(FileHelpersTest, ADeniedParentEndsItForTheWholeChain) {
  Inject("CreateDirectoryW", ERROR_ACCESS_DENIED, 2, 1);
  EXPECT_FALSE(MakeFolder(TEXT("c:\\a\\b")));
  EXPECT_EQ(ArgumentsOf("CreateDirectoryW").size(), 2u);
  EXPECT_EQ(messages().back(), "CreateDirectoryFull:4323 : Create Directory Failed: Err=5 path[c:\\a]");
}

TEST_F(FileHelpersTest, APathWithoutABackslashIsCalledMadeAndIsNot) {
  for (const WCHAR* path : {TEXT("bare"), TEXT("bare\\"), TEXT("")}) {
    ::SetLastError(ERROR_PATH_NOT_FOUND);
    EXPECT_TRUE(CreateDirectoryFull(path));
  }
  EXPECT_THAT(ArgumentsOf("CreateDirectoryW"), IsEmpty());
  EXPECT_THAT(drive().Changes(), IsEmpty());
}

TEST_F(FileHelpersTest, AFolderThatAppearsAtTheLastMomentIsAFailure) {
  Inject("CreateDirectoryW", ERROR_ALREADY_EXISTS, 3, 1);
  EXPECT_FALSE(MakeFolder(TEXT("c:\\a\\b")));
  EXPECT_EQ(messages().back(), "CreateDirectoryFull:4315 : Create Directory Failed: Err=183 path[c:\\a\\b]");
}

TEST_F(FileHelpersTest, TheLastErrorDecidesWhateverThePath) {
  ::SetLastError(ERROR_ALREADY_EXISTS);
  EXPECT_TRUE(CreateDirectoryFull(TEXT("c:\\a\\b")));
  EXPECT_FALSE(drive().Exists(u"c:\\a"));
}

}  // namespace
