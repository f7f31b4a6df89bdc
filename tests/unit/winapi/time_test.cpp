#include <windows.h>

#include <vector>

#include "tests/testing/file_calls.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using testing_support::CreateAlways;
using testing_support::Handle;
using testing_support::WriteText;

std::uint64_t Ticks(const FILETIME& time) { return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime; }
FILETIME FromTicks(std::uint64_t ticks) { return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}; }

class FileTimesTest : public testing_support::TabletTest {
 protected:
  tablet::FileTimes TimesOf(std::u16string_view path) { return drive().Facts(path).times; }
  tablet::FileTicks Now() { return machine().clock().UtcNow(); }
  void Pass(int milliseconds) { machine().scheduler().Sleep(tablet::Millis{milliseconds}); }
};

TEST_F(FileTimesTest, ANewFileHasTheTabletsTimeThreeTimes) {
  Pass(1234);
  Handle const file(CreateAlways(TEXT("c:\\a")));
  EXPECT_EQ(TimesOf(u"c:\\a"), (tablet::FileTimes{Now(), Now(), Now()}));
}

TEST_F(FileTimesTest, WritingMovesTheTimeOfWritingNotOfCreation) {
  Handle file(CreateAlways(TEXT("c:\\a")));
  auto const created = Now();
  Pass(1000);
  WriteText(file, "x");
  auto const written = Now();
  Pass(1000);
  file.Close();
  EXPECT_EQ(TimesOf(u"c:\\a"), (tablet::FileTimes{created, written, written}));
}

TEST_F(FileTimesTest, TimesThatWereSetStayWhateverTheHandleDoesLater) {
  constexpr tablet::FileTicks k2001 = 126'227'808'000'000'007;
  Handle file(CreateAlways(TEXT("c:\\a")));
  FILETIME const creation = FromTicks(k2001);
  FILETIME const access = FromTicks(k2001 + 1);
  FILETIME const write = FromTicks(k2001 + 2);
  EXPECT_TRUE(::SetFileTime(file, &creation, &access, &write));
  Pass(1000);
  WriteText(file, "later");
  file.Close();
  EXPECT_EQ(TimesOf(u"c:\\a"), (tablet::FileTimes{k2001, k2001 + 1, k2001 + 2}));
}

TEST_F(FileTimesTest, NoTimeAndTimeZeroLeaveATimeAlone) {
  Handle const file(CreateAlways(TEXT("c:\\a")));
  auto const before = TimesOf(u"c:\\a");
  Pass(1000);
  FILETIME const zero = {};
  FILETIME const write = FromTicks(Now());
  EXPECT_TRUE(::SetFileTime(file, nullptr, &zero, &write));
  EXPECT_EQ(TimesOf(u"c:\\a"), (tablet::FileTimes{before.creation, before.access, Now()}));
}

TEST_F(FileTimesTest, TimesBeyondTheRangeAndOtherHandlesAreRefused) {
  Handle file(CreateAlways(TEXT("c:\\a")));
  auto const before = TimesOf(u"c:\\a");
  FILETIME const beyond = FromTicks(std::uint64_t{1} << 63);
  EXPECT_FALSE(::SetFileTime(file, &beyond, nullptr, nullptr));
  EXPECT_EQ(::GetLastError(), 87u);
  EXPECT_EQ(TimesOf(u"c:\\a"), before);
  EXPECT_FALSE(::SetFileTime(INVALID_HANDLE_VALUE, nullptr, nullptr, nullptr));
  EXPECT_EQ(::GetLastError(), 6u);
}

TEST_F(FileTimesTest, ReplacingAFileKeepsItsTimeOfCreation) {
  { Handle const file(CreateAlways(TEXT("c:\\a"))); }
  auto const created = Now();
  Pass(5000);
  { Handle const file(CreateAlways(TEXT("c:\\a"))); }
  EXPECT_EQ(TimesOf(u"c:\\a"), (tablet::FileTimes{created, Now(), Now()}));
}

TEST_F(FileTimesTest, AFolderIsWrittenWhenAFileIsMadeInIt) {
  drive().PutFolder(u"c:\\folder");
  auto const created = Now();
  Pass(1000);
  Handle const file(CreateAlways(TEXT("c:\\folder\\a")));
  EXPECT_EQ(TimesOf(u"c:\\folder"), (tablet::FileTimes{created, Now(), Now()}));
}

TEST_F(FileTimesTest, CalendarTimeIsExactToTheMillisecond) {
  FILETIME out = {};
  SYSTEMTIME const time = {2018, 10, 0, 30, 13, 25, 36, 0};
  ASSERT_TRUE(::SystemTimeToFileTime(&time, &out));
  EXPECT_EQ(Ticks(out), 131'853'795'360'000'000u);
}

TEST_F(FileTimesTest, ADateThatDoesNotExistLeavesTheResultAlone) {
  for (const SYSTEMTIME& time : std::vector<SYSTEMTIME>{{30828, 1, 0, 1, 0, 0, 0, 0},
                                                        {1980, 257, 0, 1, 0, 0, 0, 0},
                                                        {1980, 1, 0, 257, 0, 0, 0, 0},
                                                        {2023, 2, 0, 29, 0, 0, 0, 0}}) {
    FILETIME out = {7, 7};
    EXPECT_FALSE(::SystemTimeToFileTime(&time, &out)) << time.wYear << '-' << time.wMonth << '-' << time.wDay;
    EXPECT_EQ(::GetLastError(), 87u);
    EXPECT_EQ(out.dwLowDateTime, 7u);
  }
}

TEST_F(FileTimesTest, LocalTimeBecomesUtcByTheTabletsDistanceFromIt) {
  constexpr std::uint64_t kHour = 36'000'000'000;
  FILETIME const local = FromTicks(131'853'795'360'000'000);
  FILETIME utc = {};
  ASSERT_TRUE(::LocalFileTimeToFileTime(&local, &utc));
  EXPECT_EQ(Ticks(utc), Ticks(local) - kHour) << "the test's tablet is one hour ahead";
  FILETIME const too_early = FromTicks(kHour - 1);
  EXPECT_FALSE(::LocalFileTimeToFileTime(&too_early, &utc));
  EXPECT_EQ(::GetLastError(), 87u);

  auto description = DefaultDescription();
  description.utc_offset_minutes = -330;
  PowerOn(description);
  ASSERT_TRUE(::LocalFileTimeToFileTime(&local, &utc));
  EXPECT_EQ(Ticks(utc), Ticks(local) + 11 * kHour / 2);
}

TEST_F(FileTimesTest, TheSystemTimeIsInUtc) {
  Pass(3'661'234);
  SYSTEMTIME now = {};
  ::GetSystemTime(&now);
  EXPECT_EQ(now.wYear * 10000 + now.wMonth * 100 + now.wDay, 20260302);
  EXPECT_EQ(now.wHour * 10000 + now.wMinute * 100 + now.wSecond, 90101);
  EXPECT_EQ(now.wMilliseconds, 234);
  EXPECT_EQ(now.wDayOfWeek, 1) << "a Monday";
}

}  // namespace
