// Attributes, folders, searches and moves.
#include "tests/conformance/world.h"

#include <algorithm>
#include <vector>

namespace {

using conformance::Differs;
using conformance::Error;
using conformance::Text;
using testing_support::CreateAlways;
using testing_support::Handle;
using testing_support::OpenForReading;

using NameList = std::vector<Text>;

class Folders : public conformance::World {
 protected:
  static DWORD Attributes(const Text& path) { return ::GetFileAttributesW(path.c_str()); }
  static bool SetAttributes(const Text& path, DWORD attributes) {
    return ::SetFileAttributesW(path.c_str(), attributes) != FALSE;
  }
  static DWORD MakeError(const Text& path) { return Error(::CreateDirectoryW(path.c_str(), nullptr)); }
  static DWORD MoveError(const Text& from, const Text& to) { return Error(::MoveFileExW(from.c_str(), to.c_str(), 0)); }

  /// Every name that a search gives; what ended it, or kept it from beginning, is in error_.
  std::vector<Text> Names(const Text& pattern) {
    std::vector<Text> names;
    WIN32_FIND_DATAW data = {};
    HANDLE const find = ::FindFirstFileW(pattern.c_str(), &data);
    if (find != INVALID_HANDLE_VALUE) {
      do {
        names.push_back(data.cFileName);
      } while (::FindNextFileW(find, &data));
    }
    error_ = ::GetLastError();
    if (find != INVALID_HANDLE_VALUE) ::FindClose(find);
    return names;
  }
  /// The same, in an order of the test's own: Windows leaves the order to the file system.
  std::vector<Text> SortedNames(const Text& pattern) {
    std::vector<Text> names = Names(pattern);
    std::sort(names.begin(), names.end());
    return names;
  }
  DWORD SearchError(const Text& pattern) { return Names(pattern).empty() ? error_ : 0; }

  DWORD error_ = 0;
};

TEST_F(Folders, NewFilesAreToBeArchivedBesideTheBitsAskedFor) {
  EXPECT_EQ(Attributes(Put(TEXT("plain"), "")), 0x20u);
  EXPECT_EQ(Attributes(Put(TEXT("hidden"), "", FILE_ATTRIBUTE_HIDDEN)), 0x22u);
  EXPECT_EQ(Attributes(Put(TEXT("system"), "", FILE_ATTRIBUTE_SYSTEM)), 0x24u);
}

TEST_F(Folders, AttributesAreReplacedWhole) {
  Text const a = Put(TEXT("a"), "x");
  EXPECT_TRUE(SetAttributes(a, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
  EXPECT_EQ(Attributes(a), Differs("archive-always", 0x6u, 0x26u));
  EXPECT_TRUE(SetAttributes(a, FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(Attributes(a), Differs("archive-always", 0x80u, 0x20u));
  EXPECT_FALSE(SetAttributes(In(TEXT("missing")), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(::GetLastError(), 2u);
}

TEST_F(Folders, AFileCanBeReadOnlyAndHidden) {
  Text const a = Put(TEXT("a"), "x");
  EXPECT_TRUE(SetAttributes(a, FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(Attributes(a), Differs("read-only-and-hidden", 0x23u, conformance::HostIsRoot() ? 0x23u : 0x21u));
}

TEST_F(Folders, AFileDoesNotBecomeAFolder) {
  Text const a = Put(TEXT("a"), "x");
  bool const set = SetAttributes(a, FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN);
  EXPECT_EQ(Attributes(a) & FILE_ATTRIBUTE_DIRECTORY, 0u);
  EXPECT_EQ(set, true);
}

TEST_F(Folders, AFolderKeepsItsDirectoryBit) {
  Text const sub = In(TEXT("Sub"));
  ASSERT_EQ(MakeError(sub + TEXT("\\")), 0u);
  EXPECT_EQ(Attributes(sub), 0x10u);
  EXPECT_TRUE(SetAttributes(sub, FILE_ATTRIBUTE_HIDDEN));
  EXPECT_EQ(Attributes(sub), 0x12u);
  EXPECT_TRUE(SetAttributes(sub, FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(Attributes(sub + TEXT("\\")), 0x10u);
}

TEST_F(Folders, AreMadeOneAtATime) {
  Put(TEXT("file"), "x");
  EXPECT_EQ(MakeError(In(TEXT("a\\b"))), 3u);
  EXPECT_EQ(MakeError(In(TEXT("a"))), 0u);
  EXPECT_EQ(MakeError(In(TEXT("A"))), 183u);
  EXPECT_EQ(MakeError(In(TEXT("a\\b\\"))), 0u);
  EXPECT_EQ(MakeError(In(TEXT("file"))), 183u);
  EXPECT_EQ(MakeError(TEXT("")), 3u);
  EXPECT_EQ(MakeError(Text(conformance::NoDrive()) + TEXT("\\a")), Differs("folder-on-no-drive", 3u, 2u));
  EXPECT_EQ(MakeError(TEXT("c:\\")), Differs("making-the-root", 5u, 183u));
}

TEST_F(Folders, AnEmptyOneHoldsItsDotsOnly) {
  EXPECT_EQ(Names(In(TEXT("*"))), (NameList{TEXT("."), TEXT("..")}));
  EXPECT_EQ(error_, 18u);
}

TEST_F(Folders, AreListedWithTheirDotsFirstThenByNameIgnoringCase) {
  for (const WCHAR* name : {TEXT("b.bin"), TEXT("A.bin"), TEXT("_c.bin"), TEXT("C.bin")}) Put(name, "");
  ASSERT_EQ(MakeError(In(TEXT("aa"))), 0u);
  EXPECT_EQ(Names(In(TEXT("*"))),
            (NameList{TEXT("."), TEXT(".."), TEXT("A.bin"), TEXT("aa"), TEXT("b.bin"), TEXT("C.bin"), TEXT("_c.bin")}));
}

TEST_F(Folders, PatternsMeanWhatTheyMeanOnWindows) {
  for (const WCHAR* name : {TEXT("one.dmp"), TEXT("TWO.DMP"), TEXT("three.dmp.txt"), TEXT("plain"), TEXT("ab.c")}) {
    Put(name, "");
  }
  EXPECT_EQ(SortedNames(In(TEXT("*.dmp"))), (NameList{TEXT("TWO.DMP"), TEXT("one.dmp")}));
  EXPECT_EQ(SortedNames(In(TEXT("*.*"))), (NameList{TEXT("."), TEXT(".."), TEXT("TWO.DMP"), TEXT("ab.c"),
                                                    TEXT("one.dmp"), TEXT("plain"), TEXT("three.dmp.txt")}));
  EXPECT_EQ(SortedNames(In(TEXT("t*"))), (NameList{TEXT("TWO.DMP"), TEXT("three.dmp.txt")}));
  EXPECT_EQ(SortedNames(In(TEXT("???.dmp"))), (NameList{TEXT("TWO.DMP"), TEXT("one.dmp")}));
  EXPECT_EQ(SortedNames(In(TEXT("plain.*"))), (NameList{TEXT("plain")}));
}

TEST_F(Folders, APatternIsHeldAgainstShortNamesWhereThereAreAny) {
  Put(TEXT("modem.dmpx"), "");
  EXPECT_EQ(Names(In(TEXT("*.dmp"))), Differs("short-names", NameList{}, NameList{TEXT("modem.dmpx")}));
}

TEST_F(Folders, PatternsThatEndInADotMeanNamesWithoutOne) {
  Put(TEXT("plain"), "");
  Put(TEXT("dotted.bin"), "");
  EXPECT_EQ(SortedNames(In(TEXT("*."))), Differs("pattern-dot", NameList{TEXT("."), TEXT(".."), TEXT("plain")},
                                                 NameList{TEXT("."), TEXT(".."), TEXT("dotted.bin"), TEXT("plain")}));
}

TEST_F(Folders, AQuestionMarkBeforeADotMayStandForNothing) {
  Put(TEXT("ab.c"), "");
  EXPECT_EQ(Names(In(TEXT("a???.?"))), Differs("pattern-question-mark", NameList{TEXT("ab.c")}, NameList{}));
  EXPECT_EQ(Names(In(TEXT("?"))), Differs("pattern-question-mark", NameList{}, NameList{TEXT(".")}));
}

TEST_F(Folders, ALiteralNameFindsThatOne) {
  Put(TEXT("Radio.bin"), "12345");
  EXPECT_EQ(Names(In(TEXT("radio.BIN"))), (NameList{TEXT("Radio.bin")}));
}

TEST_F(Folders, SearchesThatFindNothingSayWhy) {
  Put(TEXT("file"), "");
  EXPECT_EQ(SearchError(In(TEXT("*.dmp"))), 2u);
  EXPECT_EQ(SearchError(In(TEXT(""))), 2u);
  EXPECT_EQ(SearchError(In(TEXT("missing\\*"))), 3u);
  EXPECT_EQ(SearchError(TEXT("")), 3u);
  EXPECT_EQ(SearchError(In(TEXT("file\\*"))), Differs("search-in-a-file", 267u, 123u));
  EXPECT_EQ(SearchError(TEXT("c:\\*\\file")), 123u);
}

TEST_F(Folders, EachMatchComesWithItsSizeAndAttributes) {
  Put(TEXT("a"), std::string(300, 'x'), FILE_ATTRIBUTE_HIDDEN);
  WIN32_FIND_DATAW data;
  std::fill_n(reinterpret_cast<BYTE*>(&data), sizeof(data), BYTE{0xEE});
  HANDLE const find = ::FindFirstFileW(In(TEXT("A*")).c_str(), &data);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  EXPECT_EQ(Text(data.cFileName), TEXT("a"));
  EXPECT_EQ(data.dwFileAttributes, 0x22u);
  EXPECT_EQ(data.nFileSizeLow, 300u);
  EXPECT_EQ(data.nFileSizeHigh, 0u);
  EXPECT_TRUE(::FindClose(find));
}

TEST_F(Folders, ASearchIsTakenAtItsStart) {
  Put(TEXT("a"), "");
  WIN32_FIND_DATAW data = {};
  HANDLE const find = ::FindFirstFileW(In(TEXT("*")).c_str(), &data);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  Put(TEXT("z"), "");
  NameList names = {data.cFileName};
  while (::FindNextFileW(find, &data)) names.push_back(data.cFileName);
  ::FindClose(find);
  EXPECT_EQ(names, (NameList{TEXT("."), TEXT(".."), TEXT("a")}));
}

TEST_F(Folders, ASearchThatNeverBeganIsNeitherContinuedNorClosed) {
  WIN32_FIND_DATAW data = {};
  EXPECT_EQ(Error(::FindNextFileW(INVALID_HANDLE_VALUE, &data)), 6u);
  EXPECT_EQ(Error(::FindClose(INVALID_HANDLE_VALUE)), 6u);
}

TEST_F(Folders, MovingTakesDataAndAttributesAlong) {
  Text const from = Put(TEXT("A.dmp"), "data", FILE_ATTRIBUTE_HIDDEN);
  ASSERT_EQ(MakeError(In(TEXT("to"))), 0u);
  EXPECT_EQ(MoveError(In(TEXT("a.DMP")), In(TEXT("to\\B.dmp"))), 0u);
  EXPECT_EQ(TextOf(In(TEXT("to\\b.dmp"))), "data");
  EXPECT_EQ(Attributes(In(TEXT("to\\b.dmp"))), 0x22u);
  EXPECT_EQ(Attributes(from), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(Names(In(TEXT("to\\*.dmp"))), (NameList{TEXT("B.dmp")}));
}

TEST_F(Folders, MovingOntoANameThatIsTakenIsRefused) {
  Text const from = Put(TEXT("a"), "new");
  Text const to = Put(TEXT("b"), "old");
  EXPECT_EQ(MoveError(from, to), 183u);
  EXPECT_EQ(TextOf(from) + TextOf(to), "newold");
}

TEST_F(Folders, MovingOntoItsOwnNameInAnotherCaseRenames) {
  Text const from = Put(TEXT("a.dmp"), "x");
  EXPECT_EQ(MoveError(from, In(TEXT("A.dmp"))), 0u);
  EXPECT_EQ(Names(In(TEXT("a.dmp"))), Differs("renaming-case", NameList{TEXT("A.dmp")}, NameList{TEXT("a.dmp")}));
}

TEST_F(Folders, MovingWhatOrWhereNothingIsHasTheCodeOfItsPlace) {
  Text const from = Put(TEXT("a"), "x");
  EXPECT_EQ(MoveError(In(TEXT("none")), In(TEXT("b"))), 2u);
  EXPECT_EQ(MoveError(In(TEXT("none\\a")), In(TEXT("b"))), 3u);
  EXPECT_EQ(MoveError(from, In(TEXT("none\\a"))), 3u);
  EXPECT_EQ(MoveError(from, In(TEXT("a?"))), 123u);
  EXPECT_EQ(TextOf(from), "x");
}

TEST_F(Folders, AnOpenFileMovesOnlyIfItsOpenerLetsItBeDeleted) {
  Text const from = Put(TEXT("a"), "data");
  {
    Handle const reader(OpenForReading(from.c_str(), FILE_SHARE_READ | FILE_SHARE_WRITE));
    EXPECT_EQ(MoveError(from, In(TEXT("b"))), 32u);
  }
  Handle const reader(OpenForReading(from.c_str(), FILE_SHARE_READ | FILE_SHARE_DELETE));
  EXPECT_EQ(MoveError(from, In(TEXT("b"))), 0u);
  EXPECT_EQ(testing_support::ReadText(reader, 10), "data");
}

}  // namespace
