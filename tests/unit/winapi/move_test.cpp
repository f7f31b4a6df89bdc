#include "tests/unit/winapi/files_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

class MoveTest : public testing_support::FilesTest {
 protected:
  /// The last error of a move; 0 when it succeeded.
  static DWORD MoveError(const WCHAR* from, const WCHAR* to) {
    return ::MoveFileExW(from, to, 0) ? 0 : ::GetLastError();
  }
};

TEST_F(MoveTest, DataAttributesAndTimesGoWithTheFile) {
  Put(u"c:\\from\\A.dmp", "data", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  drive().PutFolder(u"c:\\to");
  tablet::FileFacts const before = drive().Facts(u"c:\\from\\a.dmp");
  machine().scheduler().Sleep(tablet::Millis{5000});
  ::SetLastError(77);
  EXPECT_EQ(::MoveFileExW(TEXT("C:\\From\\a.dmp"), TEXT("c:\\to\\B.dmp"), 0), TRUE);
  EXPECT_EQ(::GetLastError(), 77u);
  EXPECT_EQ(TextOf(u"c:\\to\\b.dmp"), "data");
  tablet::FileFacts const after = drive().Facts(u"c:\\to\\b.dmp");
  EXPECT_EQ(after.name, u"B.dmp");
  EXPECT_EQ(after.attributes, before.attributes);
  EXPECT_EQ(after.times, before.times);
  EXPECT_FALSE(drive().Exists(u"c:\\from\\a.dmp"));
  EXPECT_TRUE(std::filesystem::exists(drive().HostPath(u"c:\\to\\b.dmp")));
}

TEST_F(MoveTest, AMoveIsTheOnlyChangeOfItsFile) {
  Put(u"c:\\from\\a.dmp", "data");
  drive().PutFolder(u"c:\\to");
  EXPECT_EQ(MoveError(TEXT("c:\\from\\a.dmp"), TEXT("c:\\to\\a.dmp")), 0u);
  std::vector<tablet::FileChange> const changes = drive().Changes();
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].path, u"C:\\to\\a.dmp");
  EXPECT_EQ(changes[0].moved_from, u"C:\\from\\a.dmp");
  EXPECT_FALSE(changes[0].created || changes[0].written);
}

TEST_F(MoveTest, ANameThatIsTakenStaysAsItIs) {
  Put(u"c:\\from\\a.dmp", "new");
  Put(u"c:\\to\\A.DMP", "old");
  EXPECT_EQ(MoveError(TEXT("c:\\from\\a.dmp"), TEXT("c:\\to\\a.dmp")), DWORD{ERROR_ALREADY_EXISTS});
  EXPECT_EQ(TextOf(u"c:\\to\\a.dmp") + TextOf(u"c:\\from\\a.dmp"), "oldnew");
  EXPECT_EQ(MoveError(TEXT("c:\\from\\a.dmp"), TEXT("c:\\from\\A.dmp")), 0u) << "its own name in another case is free";
  EXPECT_EQ(drive().Facts(u"c:\\from\\a.dmp").name, u"A.dmp");
}

TEST_F(MoveTest, WhatIsMissingHasTheCodeOfItsPlace) {
  Put(u"c:\\from\\a.dmp", "data");
  EXPECT_EQ(MoveError(TEXT("c:\\from\\none"), TEXT("c:\\from\\b")), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(MoveError(TEXT("c:\\none\\a"), TEXT("c:\\from\\b")), DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_EQ(MoveError(TEXT("c:\\from\\a.dmp"), TEXT("c:\\none\\a")), DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_EQ(MoveError(TEXT("c:\\from\\a.dmp"), TEXT("c:\\from\\a?")), DWORD{ERROR_INVALID_NAME});
  EXPECT_EQ(TextOf(u"c:\\from\\a.dmp"), "data");
}

TEST_F(MoveTest, AnOpenFileMovesOnlyIfItsOpenerLetsItBeDeleted) {
  Put(u"c:\\a.dmp", "data");
  {
    Handle const reader(testing_support::OpenForReading(TEXT("c:\\a.dmp"), FILE_SHARE_READ | FILE_SHARE_WRITE));
    EXPECT_EQ(MoveError(TEXT("c:\\a.dmp"), TEXT("c:\\b.dmp")), DWORD{ERROR_SHARING_VIOLATION});
  }
  Handle const reader(testing_support::OpenForReading(TEXT("c:\\a.dmp"), FILE_SHARE_READ | FILE_SHARE_DELETE));
  EXPECT_EQ(MoveError(TEXT("c:\\a.dmp"), TEXT("c:\\b.dmp")), 0u);
  EXPECT_EQ(testing_support::ReadText(reader, 10), "data") << "the handle follows the file";
}

TEST_F(MoveTest, AMoveInAFaultChangesNothing) {
  Put(u"c:\\a.dmp", "data");
  Inject("MoveFileExW", 80, 1, 1);
  EXPECT_EQ(MoveError(TEXT("c:\\a.dmp"), TEXT("c:\\b.dmp")), 80u);
  EXPECT_TRUE(drive().Exists(u"c:\\a.dmp"));
}

TEST_F(MoveTest, FoldersFlagsAndDevicesAreNotModelled) {
  auto const refusal = [&](const WCHAR* from, DWORD flags) {
    PowerOn(DefaultDescription());
    Put(u"c:\\folder\\a.dmp", "data");
    return testing_support::RefusalOf(machine(), [=] { ::MoveFileExW(from, TEXT("c:\\b"), flags); });
  };
  EXPECT_THAT(refusal(TEXT("c:\\folder"), 0), HasSubstr("the folder"));
  EXPECT_THAT(refusal(TEXT("c:\\folder\\a.dmp"), 1), HasSubstr("flags 0x1"));
  EXPECT_THAT(refusal(TEXT("\\\\?\\c:\\folder\\a.dmp"), 0), HasSubstr("device path"));
}

}  // namespace
