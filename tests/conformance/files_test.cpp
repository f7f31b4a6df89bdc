#include "tests/conformance/world.h"

namespace {

using conformance::Differs;
using conformance::Error;
using conformance::HostIsRoot;
using conformance::Text;
using testing_support::CreateAlways;
using testing_support::Handle;
using testing_support::OpenForReading;
using testing_support::ReadText;
using testing_support::WriteText;

class Files : public conformance::World {
 protected:
  /// The error of an open; 0 when it succeeded.
  static DWORD OpenError(const Text& path, DWORD access, DWORD disposition, DWORD attributes = FILE_ATTRIBUTE_NORMAL,
                         DWORD share = 7) {
    Handle const file(::CreateFileW(path.c_str(), access, share, nullptr, disposition, attributes, nullptr));
    return file.valid() ? 0 : ::GetLastError();
  }
  static DWORD AttributesError(const Text& path) {
    return ::GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES ? ::GetLastError() : 0;
  }
};

TEST_F(Files, AFileReadsBackWhatWasWrittenInAnyCaseAndSpelling) {
  Put(TEXT("Modem.bin"), "firmware");
  for (const WCHAR* name : {TEXT("MODEM.BIN"), TEXT("\\modem.bin"), TEXT(".\\modem.bin"), TEXT("gone\\..\\modem.bin"),
                            TEXT("modem.bin. .")}) {
    EXPECT_EQ(TextOf(In(name)), "firmware") << ::testing::PrintToString(Text(name));
  }
}

TEST_F(Files, PathsThatLeadNowhereHaveTheirCodes) {
  Put(TEXT("file.txt"), "x");
  EXPECT_EQ(AttributesError(In(TEXT("missing.txt"))), 2u);
  EXPECT_EQ(AttributesError(In(TEXT("missing\\file.txt"))), 3u);
  EXPECT_EQ(AttributesError(In(TEXT("file.txt\\below"))), 3u);
  EXPECT_EQ(AttributesError(Text(conformance::NoDrive()) + TEXT("\\folder\\file.txt")), 3u);
  EXPECT_EQ(AttributesError(TEXT("")), 3u);
  EXPECT_EQ(OpenError(TEXT(""), GENERIC_READ, OPEN_EXISTING), 3u);
}

TEST_F(Files, CharactersThatNoNameMayHold) {
  for (const WCHAR* name : {TEXT("fol<der"), TEXT("a>b"), TEXT("a|b"), TEXT("a\"b"), TEXT("a?b"), TEXT("a*b")}) {
    EXPECT_EQ(AttributesError(In(name)), 123u) << ::testing::PrintToString(Text(name));
  }
  EXPECT_EQ(OpenError(In(TEXT("a?b")), GENERIC_ALL, CREATE_NEW), 123u);
}

TEST_F(Files, AFileIsNotNamedWithATrailingSeparator) {
  Put(TEXT("file"), "x");
  EXPECT_EQ(OpenError(In(TEXT("file\\")), GENERIC_READ, OPEN_EXISTING), 123u);
  EXPECT_EQ(OpenError(In(TEXT("new\\")), GENERIC_ALL, CREATE_ALWAYS), 123u);
}

TEST_F(Files, APathMayHave259CharactersAndAFolder247) {
  Text const folder = Files::folder() + TEXT("\\") + Text(247 - Files::folder().size() - 1, TEXT('d'));
  EXPECT_EQ(Error(::CreateDirectoryW((folder + TEXT("d")).c_str(), nullptr)), Differs("long-paths", 206u, 0u));
  EXPECT_EQ(Error(::CreateDirectoryW(folder.c_str(), nullptr)), 0u);
  Text const longest = folder + TEXT("\\") + Text(11, TEXT('f'));
  EXPECT_EQ(OpenError(longest, GENERIC_ALL, CREATE_NEW), 0u);
  EXPECT_EQ(OpenError(longest + TEXT("f"), GENERIC_ALL, CREATE_NEW), Differs("long-paths", 3u, 0u));
}

TEST_F(Files, EachDispositionDoesWhatItSays) {
  Text const a = In(TEXT("a"));
  EXPECT_EQ(OpenError(a, GENERIC_READ, OPEN_EXISTING), 2u);
  EXPECT_EQ(OpenError(a, GENERIC_WRITE, TRUNCATE_EXISTING), 2u);
  EXPECT_EQ(OpenError(a, GENERIC_WRITE, CREATE_NEW), 0u);
  EXPECT_EQ(OpenError(a, GENERIC_WRITE, CREATE_NEW), 80u);
  EXPECT_EQ(OpenError(a, GENERIC_READ, TRUNCATE_EXISTING), Differs("truncating-a-reader", 87u, 0u));
  EXPECT_EQ(OpenError(a, GENERIC_READ, 0), 87u);
  EXPECT_EQ(OpenError(a, GENERIC_READ, 6), 87u);
  Put(TEXT("a"), "old");
  EXPECT_EQ(OpenError(a, GENERIC_WRITE, OPEN_ALWAYS), 0u);
  EXPECT_EQ(TextOf(a), "old");
  EXPECT_EQ(OpenError(a, GENERIC_WRITE, TRUNCATE_EXISTING), 0u);
  EXPECT_EQ(TextOf(a), "");
  Put(TEXT("a"), "old");
  EXPECT_EQ(OpenError(a, GENERIC_WRITE, CREATE_ALWAYS), 0u);
  EXPECT_EQ(TextOf(a), "");
}

TEST_F(Files, TheLastErrorTellsWhetherTheFileWasThere) {
  for (DWORD const disposition : {CREATE_ALWAYS, OPEN_ALWAYS}) {
    Text const path = In(disposition == CREATE_ALWAYS ? TEXT("create") : TEXT("open"));
    for (DWORD const expected : {0u, 183u}) {
      ::SetLastError(1);
      Handle const file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, disposition, 0, nullptr));
      EXPECT_TRUE(file.valid());
      EXPECT_EQ(::GetLastError(), expected) << "disposition " << disposition;
    }
  }
}

TEST_F(Files, AReadOnlyFileIsNeitherWrittenNorReplaced) {
  Text const a = Put(TEXT("a"), "kept", FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(OpenError(a, GENERIC_READ, OPEN_EXISTING), 0u);
  auto const denied = Differs("read-only-as-root", 5u, HostIsRoot() ? 0u : 5u);
  EXPECT_EQ(OpenError(a, GENERIC_WRITE, OPEN_EXISTING), denied);
  EXPECT_EQ(OpenError(a, GENERIC_ALL, OPEN_EXISTING), denied);
  EXPECT_EQ(OpenError(a, GENERIC_ALL, CREATE_ALWAYS, FILE_ATTRIBUTE_READONLY), denied);
  EXPECT_TRUE(::SetFileAttributesW(a.c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(OpenError(a, GENERIC_ALL, CREATE_ALWAYS), 0u);
}

TEST_F(Files, AFileMadeReadOnlyIsStillWrittenThroughTheHandleThatMadeIt) {
  Handle file(CreateAlways(In(TEXT("a")).c_str(), FILE_ATTRIBUTE_READONLY));
  ASSERT_TRUE(file.valid());
  EXPECT_TRUE(WriteText(file, "text"));
  file.Close();
  EXPECT_EQ(::GetFileAttributesW(In(TEXT("a")).c_str()), 0x21u);
  EXPECT_EQ(TextOf(In(TEXT("a"))), "text");
}

TEST_F(Files, AReplacedFileGetsTheAttributesOfTheRequest) {
  Text const a = Put(TEXT("a"), "old");
  EXPECT_EQ(OpenError(a, GENERIC_ALL, CREATE_ALWAYS, FILE_ATTRIBUTE_READONLY), 0u);
  EXPECT_EQ(::GetFileAttributesW(a.c_str()), Differs("replacing-attributes", 0x21u, 0x20u));
}

TEST_F(Files, AHiddenFileIsReplacedOnlyByARequestForAHiddenOne) {
  Text const a = Put(TEXT("a"), "kept", FILE_ATTRIBUTE_HIDDEN);
  EXPECT_EQ(OpenError(a, GENERIC_ALL, OPEN_EXISTING), 0u) << "opening it is another matter";
  EXPECT_EQ(OpenError(a, GENERIC_ALL, CREATE_ALWAYS, FILE_ATTRIBUTE_HIDDEN), 0u);
  EXPECT_EQ(OpenError(a, GENERIC_ALL, CREATE_ALWAYS), Differs("replacing-hidden", 5u, 0u));
}

TEST_F(Files, AFolderIsNotOpenedAsAFile) {
  EXPECT_EQ(OpenError(folder(), GENERIC_READ, OPEN_EXISTING), 5u);
  EXPECT_EQ(OpenError(folder(), GENERIC_ALL, CREATE_ALWAYS), 5u);
  EXPECT_EQ(OpenError(folder(), GENERIC_ALL, CREATE_NEW), 80u);
}

TEST_F(Files, OpenersShareOnlyWhatBothAllow) {
  Text const a = Put(TEXT("a"), "x");
  Handle first(OpenForReading(a.c_str(), FILE_SHARE_READ));
  EXPECT_EQ(OpenError(a, GENERIC_READ, OPEN_EXISTING, 0, FILE_SHARE_READ), 0u);
  EXPECT_EQ(OpenError(a, GENERIC_READ, OPEN_EXISTING, 0, 0), 32u);
  EXPECT_EQ(OpenError(a, GENERIC_WRITE, OPEN_EXISTING), 32u);
  EXPECT_EQ(OpenError(a, GENERIC_READ, CREATE_ALWAYS), Differs("sharing-while-replacing", 32u, 0u));
  EXPECT_EQ(TextOf(a), Differs<std::string>("sharing-while-replacing", "x", ""));
  first.Close();
  EXPECT_EQ(OpenError(a, GENERIC_WRITE, OPEN_EXISTING), 0u);
}

TEST_F(Files, WhoOnlyLooksTakesNoPartInSharing) {
  Text const a = Put(TEXT("a"), "x");
  Handle const exclusive(CreateAlways(a.c_str()));
  ASSERT_TRUE(exclusive.valid());
  EXPECT_EQ(OpenError(a, GENERIC_READ, OPEN_EXISTING), 32u);
  EXPECT_EQ(OpenError(a, 0, OPEN_EXISTING, 0, 0), 0u);
}

TEST_F(Files, ReadingAndWritingNeedTheRight) {
  Text const a = Put(TEXT("a"), "text");
  DWORD count = 0;
  char byte = 0;
  {
    Handle const reader(OpenForReading(a.c_str()));
    EXPECT_EQ(Error(::WriteFile(reader, "x", 1, &count, nullptr)), 5u);
  }
  Handle const writer(::CreateFileW(a.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(Error(::ReadFile(writer, &byte, 1, &count, nullptr)), 5u);
}

TEST_F(Files, ReadingStopsAtTheEnd) {
  Handle const file(OpenForReading(Put(TEXT("a"), "text").c_str()));
  EXPECT_EQ(ReadText(file, 3), "tex");
  EXPECT_EQ(ReadText(file, 3), "t");
  EXPECT_EQ(ReadText(file, 3), "");
}

TEST_F(Files, SeekingMovesWithinAndBeyondTheFileButNotBeforeIt) {
  Handle const file(
      ::CreateFileW(Put(TEXT("a"), "0123456789").c_str(), GENERIC_ALL, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(::SetFilePointer(file, 4, nullptr, FILE_BEGIN), 4u);
  EXPECT_EQ(ReadText(file, 2), "45");
  EXPECT_EQ(::SetFilePointer(file, -1, nullptr, FILE_CURRENT), 5u);
  EXPECT_EQ(::SetFilePointer(file, -2, nullptr, FILE_END), 8u);
  ::SetLastError(0);
  EXPECT_EQ(::SetFilePointer(file, -11, nullptr, FILE_END), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(::GetLastError(), 131u);
  EXPECT_EQ(::SetFilePointer(file, 0, nullptr, FILE_CURRENT), 8u) << "a seek that failed moves nothing";
  EXPECT_EQ(::SetFilePointer(file, 12, nullptr, FILE_BEGIN), 12u);
  EXPECT_TRUE(WriteText(file, "x"));
  EXPECT_EQ(::SetFilePointer(file, 10, nullptr, FILE_BEGIN), 10u);
  EXPECT_EQ(ReadText(file, 9), std::string("\0\0x", 3));
  LONG high = 1;
  EXPECT_EQ(::SetFilePointer(file, 2, &high, FILE_BEGIN), 2u);
  EXPECT_EQ(high, 1);
}

TEST_F(Files, ClosedHandlesAreInvalid) {
  HANDLE const file = CreateAlways(In(TEXT("a")).c_str());
  EXPECT_TRUE(::CloseHandle(file));
  DWORD count = 0;
  char byte = 0;
  EXPECT_EQ(Error(::CloseHandle(file)), 6u);
  EXPECT_EQ(Error(::ReadFile(file, &byte, 1, &count, nullptr)), 6u);
  EXPECT_EQ(Error(::WriteFile(file, &byte, 1, &count, nullptr)), 6u);
  EXPECT_EQ(::SetFilePointer(file, 0, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(::GetLastError(), 6u);
}

}  // namespace
