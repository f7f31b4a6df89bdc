#include <windows.h>

#include "sim/tablet/base/text.h"
#include "tests/testing/file_calls.h"
#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

using testing_support::CreateAlways;
using testing_support::Handle;

class Find : public testing_support::TabletTest {
 protected:
  void Put(std::u16string_view path, std::size_t bytes = 0, DWORD attributes = FILE_ATTRIBUTE_ARCHIVE) {
    drive().Put(path, std::vector<std::uint8_t>(bytes), attributes);
  }
  /// Every name that a search gives; the error that ended it, or kept it from beginning, is in `error`.
  std::vector<std::string> Names(const WCHAR* pattern) {
    std::vector<std::string> names;
    WIN32_FIND_DATAW data = {};
    HANDLE const find = ::FindFirstFileW(pattern, &data);
    if (find != INVALID_HANDLE_VALUE) {
      do {
        names.push_back(tablet::ToUtf8(data.cFileName));
      } while (::FindNextFileW(find, &data));
    }
    error = ::GetLastError();
    if (find != INVALID_HANDLE_VALUE) ::FindClose(find);
    return names;
  }
  DWORD error = 0;
};

TEST_F(Find, AFolderIsListedWithItsDotsFirstThenByNameIgnoringCase) {
  Put(u"c:\\modem\\b.bin");
  Put(u"c:\\modem\\A.bin");
  Put(u"c:\\modem\\_c.bin");
  Put(u"c:\\modem\\C.bin");
  drive().PutFolder(u"c:\\modem\\aa");
  EXPECT_THAT(Names(TEXT("c:\\Modem\\*")), ElementsAre(".", "..", "A.bin", "aa", "b.bin", "C.bin", "_c.bin"));
  EXPECT_EQ(error, 18u);
}

TEST_F(Find, TheRootHasNoDots) {
  Put(u"c:\\file");
  EXPECT_THAT(Names(TEXT("c:\\*")), ElementsAre("file"));
}

TEST_F(Find, AnEmptyFolderHoldsItsDotsOnly) {
  drive().PutFolder(u"c:\\empty");
  EXPECT_THAT(Names(TEXT("c:\\empty\\*")), ElementsAre(".", ".."));
  EXPECT_EQ(error, 18u);
}

TEST_F(Find, PatternsMeanWhatTheyMeanOnWindows) {
  for (const WCHAR* name : {TEXT("c:\\d\\one.dmp"), TEXT("c:\\d\\TWO.DMP"), TEXT("c:\\d\\three.dmp.txt"),
                            TEXT("c:\\d\\plain"), TEXT("c:\\d\\ab.c")}) {
    Put(name);
  }
  EXPECT_THAT(Names(TEXT("c:\\d\\*.dmp")), ElementsAre("one.dmp", "TWO.DMP"));
  EXPECT_THAT(Names(TEXT("c:\\d\\*.*")),
              ElementsAre(".", "..", "ab.c", "one.dmp", "plain", "three.dmp.txt", "TWO.DMP"));
  EXPECT_THAT(Names(TEXT("c:\\d\\*.")), ElementsAre(".", "..", "plain"));
  EXPECT_THAT(Names(TEXT("c:\\d\\t*")), ElementsAre("three.dmp.txt", "TWO.DMP"));
  EXPECT_THAT(Names(TEXT("c:\\d\\???.dmp")), ElementsAre("one.dmp", "TWO.DMP"));
  EXPECT_THAT(Names(TEXT("c:\\d\\a???.?")), ElementsAre("ab.c")) << "a ? before a dot may stand for nothing";
  EXPECT_THAT(Names(TEXT("c:\\d\\plain.*")), ElementsAre("plain"));
}

TEST_F(Find, ALiteralNameFindsThatFileOrFolder) {
  Put(u"c:\\dump\\Radio.bin", 5);
  EXPECT_THAT(Names(TEXT("c:\\DUMP\\radio.BIN")), ElementsAre("Radio.bin"));
  EXPECT_THAT(Names(TEXT("c:\\dump")), ElementsAre("dump"));
  drive().SetCurrentDirectory(u"C:\\dump");
  EXPECT_THAT(Names(TEXT("r*")), ElementsAre("Radio.bin"));
}

TEST_F(Find, SearchesThatFindNothingSayWhy) {
  Put(u"c:\\dump\\file");
  auto const fails_with = [&](const WCHAR* pattern) { return Names(pattern).empty() ? error : 0; };
  EXPECT_EQ(fails_with(TEXT("c:\\dump\\*.dmp")), 2u);
  EXPECT_EQ(fails_with(TEXT("c:\\dump\\")), 2u);
  EXPECT_EQ(fails_with(TEXT("c:\\")), 2u);
  EXPECT_EQ(fails_with(TEXT("c:\\missing\\*")), 3u);
  EXPECT_EQ(fails_with(TEXT("")), 3u);
  EXPECT_EQ(fails_with(TEXT("c:\\dump\\file\\*")), 267u);
  EXPECT_EQ(fails_with(TEXT("c:\\*\\file")), 123u);
}

TEST_F(Find, EachMatchComesWithItsSizeAttributesAndTimes) {
  machine().scheduler().Sleep(tablet::Millis{1500});
  Put(u"c:\\dump\\a", 300, FILE_ATTRIBUTE_HIDDEN);
  Put(u"c:\\dump\\b", 0, FILE_ATTRIBUTE_NORMAL);
  WIN32_FIND_DATAW data;
  std::fill_n(reinterpret_cast<BYTE*>(&data), sizeof(data), BYTE{0xEE});
  HANDLE const find = ::FindFirstFileW(TEXT("c:\\dump\\?"), &data);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  EXPECT_EQ(std::u16string(data.cFileName), u"a");
  EXPECT_EQ(data.dwFileAttributes, 0x2u);
  EXPECT_EQ(data.nFileSizeLow, 300u);
  EXPECT_EQ(data.nFileSizeHigh, 0u);
  EXPECT_EQ(data.cAlternateFileName[0], u'\0');
  for (const FILETIME& time : {data.ftCreationTime, data.ftLastAccessTime, data.ftLastWriteTime}) {
    EXPECT_EQ(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime, machine().clock().UtcNow());
  }
  ASSERT_TRUE(::FindNextFileW(find, &data));
  EXPECT_EQ(data.dwFileAttributes, 0x80u);
  EXPECT_TRUE(::FindClose(find));
}

TEST_F(Find, ASearchIsEndedByFindCloseOnly) {
  Put(u"c:\\a");
  WIN32_FIND_DATAW data = {};
  HANDLE const find = ::FindFirstFileW(TEXT("c:\\*"), &data);
  EXPECT_FALSE(::CloseHandle(find));
  EXPECT_EQ(::GetLastError(), 6u);
  EXPECT_THAT(open_kinds(), ElementsAre("search"));
  EXPECT_TRUE(::FindClose(find));
  EXPECT_THAT(open_kinds(), ElementsAre());
  EXPECT_FALSE(::FindClose(INVALID_HANDLE_VALUE));
  EXPECT_EQ(::GetLastError(), 6u);
  EXPECT_FALSE(::FindNextFileW(INVALID_HANDLE_VALUE, &data));
  EXPECT_EQ(::GetLastError(), 6u);
}

TEST_F(Find, AClosedSearchIsRefused) {
  auto const refusal = [this](void (*use)(HANDLE find)) {
    PowerOn(DefaultDescription());
    Put(u"c:\\a");
    return testing_support::RefusalOf(machine(), [use] {
      WIN32_FIND_DATAW data = {};
      HANDLE const find = ::FindFirstFileW(TEXT("c:\\*"), &data);
      ::FindClose(find);
      use(find);
    });
  };
  EXPECT_THAT(refusal([](HANDLE find) { ::FindClose(find); }), testing::HasSubstr("FindClose: not modelled"));
  EXPECT_THAT(refusal([](HANDLE find) {
                WIN32_FIND_DATAW data = {};
                ::FindNextFileW(find, &data);
              }),
              testing::HasSubstr("FindNextFileW: not modelled"));
  EXPECT_THAT(refusal([](HANDLE) { ::FindClose(CreateAlways(TEXT("c:\\a"))); }),
              testing::HasSubstr("a handle that is not a search"));
}

}  // namespace
