// Conversions, the wide formatter, wide text and times.
#include "tests/conformance/world.h"

// Needs <windows.h> before it.
#include <objbase.h>

#include <climits>
#include <cstdarg>
#include <cwchar>
#include <limits>
#include <vector>

namespace {

using conformance::Differs;
using conformance::Error;
using conformance::Text;
using testing_support::Handle;

using Conversions = conformance::World;
using Formatter = conformance::World;
using WideText = conformance::World;
using Times = conformance::World;

TEST_F(Conversions, Utf8BecomesWideAndBack) {
  WCHAR wide[8] = {};
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "\xE2\x82\xAC\xF0\x9F\x98\x80x", -1, wide, 8), 5);
  EXPECT_EQ(Text(wide), TEXT("\u20AC\U0001F600x"));
  char narrow[16] = {};
  EXPECT_EQ(::WideCharToMultiByte(CP_UTF8, 0, wide, -1, narrow, 16, nullptr, nullptr), 9);
  EXPECT_STREQ(narrow, "\xE2\x82\xAC\xF0\x9F\x98\x80x");
}

TEST_F(Conversions, AnExplicitLengthConvertsThatMuchAndNoTerminator) {
  WCHAR wide[4] = {TEXT('~'), TEXT('~'), TEXT('~'), TEXT('~')};
  EXPECT_EQ(::MultiByteToWideChar(CP_ACP, 0, "abcdef", 2, wide, 4), 2);
  EXPECT_EQ(Text(wide, 3), TEXT("ab~"));
  char narrow[4] = "~~~";
  EXPECT_EQ(::WideCharToMultiByte(CP_ACP, 0, TEXT("abcdef"), 2, narrow, 4, nullptr, nullptr), 2);
  EXPECT_STREQ(narrow, "ab~");
}

TEST_F(Conversions, WithoutRoomTheLengthNeededIsAnswered) {
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "abc", -1, nullptr, 0), 4);
  EXPECT_EQ(::WideCharToMultiByte(CP_UTF8, 0, TEXT("\u20AC"), 1, nullptr, 0, nullptr, nullptr), 3);
}

TEST_F(Conversions, TooLittleRoomFails) {
  WCHAR wide[2] = {};
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "abc", -1, wide, 2), 0);
  EXPECT_EQ(::GetLastError(), 122u);
  char narrow[2] = {};
  ::SetLastError(0);
  EXPECT_EQ(::WideCharToMultiByte(CP_UTF8, 0, TEXT("abc"), -1, narrow, 2, nullptr, nullptr), 0);
  EXPECT_EQ(::GetLastError(), 122u);
}

TEST_F(Conversions, ArgumentsThatMakeNoSenseFail) {
  WCHAR wide[4] = {};
  ::SetLastError(0);
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "abc", 0, wide, 4), 0);
  EXPECT_EQ(::GetLastError(), 87u);
  ::SetLastError(0);
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, nullptr, 3, wide, 4), 0);
  EXPECT_EQ(::GetLastError(), 87u);
}

TEST_F(Conversions, Utf8HasNoDefaultCharacter) {
  BOOL used = FALSE;
  char narrow[4] = {};
  ::SetLastError(0);
  EXPECT_EQ(::WideCharToMultiByte(CP_UTF8, 0, TEXT("a"), -1, narrow, 4, nullptr, &used),
            Differs("utf8-default-character", 0, 2));
  EXPECT_EQ(::GetLastError(), Differs("utf8-default-character", 87u, 0u));
}

TEST_F(Conversions, TheAnsiCodePageIs1252) {
  WCHAR wide[8] = {};
  EXPECT_EQ(::MultiByteToWideChar(CP_ACP, 0, "\x80\xE9\x9F\x81", -1, wide, 8), 5);
  EXPECT_EQ(Text(wide), TEXT("\u20AC\u00E9\u0178\u0081"));
  char narrow[8] = {};
  BOOL used = TRUE;
  EXPECT_EQ(::WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow, 8, nullptr, &used), 5);
  EXPECT_STREQ(narrow, "\x80\xE9\x9F\x81");
  EXPECT_EQ(used, FALSE);
  EXPECT_EQ(::WideCharToMultiByte(CP_ACP, 0, TEXT("\uD55C"), -1, narrow, 8, "!", &used), 2);
  EXPECT_STREQ(narrow, "!");
  EXPECT_EQ(used, TRUE);
}

TEST_F(Conversions, AByteThatIsNoUtf8BecomesAReplacementCharacter) {
  WCHAR wide[8] = {};
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "a\xFFz", -1, wide, 8), 4);
  EXPECT_EQ(Text(wide), TEXT("a\uFFFDz"));
}

TEST_F(Conversions, AGuidIsWrittenBracedInUpperCase) {
  constexpr GUID kGuid = {0xfd9ff848, 0x46d1, 0x4ce7, {0x89, 0x40, 0x6d, 0xf2, 0xf1, 0xe6, 0xef, 0xf6}};
  WCHAR text[50] = {};
  EXPECT_EQ(::StringFromGUID2(kGuid, text, 50), 39);
  EXPECT_EQ(Text(text), TEXT("{FD9FF848-46D1-4CE7-8940-6DF2F1E6EFF6}"));
  EXPECT_EQ(::StringFromGUID2(kGuid, text, 38), 0);
}

int Format(WCHAR* out, std::size_t count, const WCHAR* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  int const result = _vsnwprintf(out, count, format, arguments);
  va_end(arguments);
  return result;
}

template <typename... Arguments>
Text Formatted(const WCHAR* format, Arguments... arguments) {
  WCHAR out[200] = {};
  int const length = Format(out, 200, format, arguments...);
  EXPECT_GE(length, 0);
  return length < 0 ? Text() : Text(out, static_cast<std::size_t>(length));
}

TEST_F(Formatter, CountsAsTheOldRuntimeDoes) {
  WCHAR out[8] = {TEXT('~'), TEXT('~'), TEXT('~'), TEXT('~'), TEXT('~'), TEXT('~'), TEXT('~'), TEXT('~')};
  EXPECT_EQ(Format(out, 4, TEXT("%d"), 123), 3);
  EXPECT_EQ(Text(out, 5), Text(TEXT("123\0~"), 5));
  out[3] = TEXT('~');
  EXPECT_EQ(Format(out, 3, TEXT("%d"), 456), 3);
  EXPECT_EQ(Text(out, 4), TEXT("456~")) << "exactly as many: no terminator";
  EXPECT_EQ(Format(out, 3, TEXT("%d"), 7890), -1);
  EXPECT_EQ(Text(out, 4), TEXT("789~")) << "longer: its beginning";
}

TEST_F(Formatter, SmallLettersAreWideAndCapitalsNarrow) {
  EXPECT_EQ(Formatted(TEXT("%s|%S"), TEXT("wide"), "narrow"), TEXT("wide|narrow"));
  EXPECT_EQ(Formatted(TEXT("%c|%C"), TEXT('w'), 'n'), TEXT("w|n"));
  EXPECT_EQ(Formatted(TEXT("%c"), 0x20AC), TEXT("\u20AC"));
}

TEST_F(Formatter, ASizeLetterDecidesHowWideATextIs) {
  EXPECT_EQ(Formatted(TEXT("%hs|%hS|%ls|%lS|%ws"), "a", "b", TEXT("c"), TEXT("d"), TEXT("e")), TEXT("a|b|c|d|e"));
}

TEST_F(Formatter, NarrowBytesAreWidenedOneToOne) {
  EXPECT_EQ(Formatted(TEXT("%S|%C"), "\xE9\x80", 0xFC), TEXT("\u00E9\u0080|\u00FC"));
}

TEST_F(Formatter, ANullTextPrintsAsNull) {
  EXPECT_EQ(Formatted(TEXT("%s|%S"), static_cast<WCHAR*>(nullptr), static_cast<char*>(nullptr)), TEXT("(null)|(null)"));
}

TEST_F(Formatter, AnUnknownLetterPrintsWithoutItsPercentSign) {
  EXPECT_EQ(Formatted(TEXT("100%% %y")), TEXT("100% y"));
}

TEST_F(Formatter, PlainAndLongIntegersHave32Bits) {
  EXPECT_EQ(Formatted(TEXT("%d|%i|%u"), -1, -2, -1), TEXT("-1|-2|4294967295"));
  EXPECT_EQ(Formatted(TEXT("%ld|%lu|%lx"), -1, -1, -1), TEXT("-1|4294967295|ffffffff"));
  EXPECT_EQ(Formatted(TEXT("%d"), INT_MIN), TEXT("-2147483648"));
  EXPECT_EQ(Formatted(TEXT("%x|%X"), 0xBEEF, 0xBEEF), TEXT("beef|BEEF"));
}

TEST_F(Formatter, OtherSizesAreReadAsSuch) {
  constexpr auto kMost = std::numeric_limits<unsigned long long>::max();
  constexpr auto kLeast = std::numeric_limits<long long>::min();
  EXPECT_EQ(Formatted(TEXT("%hd|%hu"), 0x1FFFF, 0x1FFFE), TEXT("-1|65534"));
  EXPECT_EQ(Formatted(TEXT("%lld|%I64x"), kLeast, kMost), TEXT("-9223372036854775808|ffffffffffffffff"));
  EXPECT_EQ(Formatted(TEXT("%I32u|%Iu"), -1, kMost), TEXT("4294967295|18446744073709551615"));
}

TEST_F(Formatter, WidthsPadOnTheLeftOrOnTheRight) {
  EXPECT_EQ(Formatted(TEXT("[%5d][%-5d][%05d]"), 42, 42, -42), TEXT("[   42][42   ][-0042]"));
  EXPECT_EQ(Formatted(TEXT("[%4s][%-4S]"), TEXT("ab"), "cd"), TEXT("[  ab][cd  ]"));
  EXPECT_EQ(Formatted(TEXT("[%*d][%*d]"), 4, 7, -4, 7), TEXT("[   7][7   ]"));
  EXPECT_EQ(Formatted(TEXT("%08lx %04d%02d"), 0xABC, 2026, 3), TEXT("00000abc 202603"));
}

TEST_F(Formatter, APrecisionIsTheLeastNumberOfDigitsAndTheMostOfAText) {
  EXPECT_EQ(Formatted(TEXT("[%.3d][%6.3d][%.0d]"), 7, 7, 0), TEXT("[007][   007][]"));
  EXPECT_EQ(Formatted(TEXT("[%.2s][%.2S][%.9s][%.*s]"), TEXT("abc"), "def", TEXT("gh"), 1, TEXT("ij")),
            TEXT("[ab][de][gh][i]"));
}

TEST_F(Formatter, FlagsGiveSignsAndPrefixes) {
  EXPECT_EQ(Formatted(TEXT("%+d|% d|%+d"), 1, 1, -1), TEXT("+1| 1|-1"));
  EXPECT_EQ(Formatted(TEXT("%#x|%#X|%#x|%#08x"), 255, 255, 0, 255), TEXT("0xff|0XFF|0|0x0000ff"));
}

TEST_F(WideText, IsMeasuredComparedAndSearched) {
  const WCHAR* const text = TEXT("a\\b\\c");
  EXPECT_EQ(wcslen(text), 5u);
  EXPECT_EQ(wcschr(text, TEXT('\\')), text + 1);
  EXPECT_EQ(wcsrchr(text, TEXT('\\')), text + 3);
  EXPECT_EQ(wcsrchr(text, 0), text + 5);
  EXPECT_EQ(wcsstr(text, TEXT("b\\")), text + 2);
  EXPECT_EQ(wcscmp(TEXT("ab"), TEXT("ab")), 0);
  EXPECT_LT(wcscmp(TEXT("ab"), TEXT("abc")), 0);
}

TEST_F(WideText, IgnoresTheCaseOfAsciiLettersAlone) {
  EXPECT_EQ(_wcsicmp(TEXT("VZW.bin"), TEXT("vzw.BIN")), 0);
  EXPECT_LT(_wcsicmp(TEXT("a"), TEXT("B")), 0);
  EXPECT_NE(_wcsicmp(TEXT("\u00E9"), TEXT("\u00C9")), 0);
}

TEST_F(WideText, ANumberEndsAtTheFirstOtherCharacter) {
  EXPECT_EQ(_wtoi(TEXT(" \t-7x9")), -7);
  EXPECT_EQ(_wtoi(TEXT("+3")), 3);
  EXPECT_EQ(_wtoi(TEXT("one")), 0);
}

ULONGLONG Ticks(const FILETIME& time) { return ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime; }

TEST_F(Times, CalendarTimeBecomesTicksSince1601) {
  FILETIME out = {};
  SYSTEMTIME time = {1601, 1, 0, 1, 0, 0, 0, 0};
  ASSERT_TRUE(::SystemTimeToFileTime(&time, &out));
  EXPECT_EQ(Ticks(out), 0u);
  time = {1970, 1, 99, 1, 0, 0, 0, 1};
  ASSERT_TRUE(::SystemTimeToFileTime(&time, &out)) << "the day of the week is not looked at";
  EXPECT_EQ(Ticks(out), 116'444'736'000'010'000u);
  time = {2024, 2, 0, 29, 23, 59, 59, 999};
  EXPECT_TRUE(::SystemTimeToFileTime(&time, &out));
}

TEST_F(Times, DatesThatDoNotExistAreRefused) {
  for (const SYSTEMTIME& time : std::vector<SYSTEMTIME>{{1600, 12, 0, 31, 0, 0, 0, 0},
                                                        {1980, 0, 0, 1, 0, 0, 0, 0},
                                                        {1980, 13, 0, 1, 0, 0, 0, 0},
                                                        {1980, 1, 0, 0, 0, 0, 0, 0},
                                                        {1980, 1, 0, 1, 24, 0, 0, 0},
                                                        {1980, 1, 0, 1, 0, 60, 0, 0},
                                                        {1980, 1, 0, 1, 0, 0, 60, 0},
                                                        {1980, 1, 0, 1, 0, 0, 0, 1000}}) {
    FILETIME out = {7, 7};
    EXPECT_FALSE(::SystemTimeToFileTime(&time, &out)) << time.wYear << '-' << time.wMonth << '-' << time.wDay;
    EXPECT_EQ(::GetLastError(), 87u);
  }
}

TEST_F(Times, February29ExistsInLeapYearsOnly) {
  FILETIME out = {};
  SYSTEMTIME time = {2024, 2, 0, 29, 0, 0, 0, 0};
  EXPECT_TRUE(::SystemTimeToFileTime(&time, &out));
  time.wYear = 2023;
  EXPECT_EQ(Error(::SystemTimeToFileTime(&time, &out)), Differs("february-29", 87u, 0u));
}

TEST_F(Times, ThoseThatWereSetStayWhateverTheHandleDoesLater) {
  constexpr ULONGLONG k2001 = 126'227'808'000'000'000;
  FILETIME const write = {static_cast<DWORD>(k2001), static_cast<DWORD>(k2001 >> 32)};
  Handle file(testing_support::CreateAlways(In(TEXT("a")).c_str()));
  EXPECT_TRUE(::SetFileTime(file, &write, &write, &write));
  EXPECT_TRUE(testing_support::WriteText(file, "later"));
  file.Close();
  WIN32_FIND_DATAW found = {};
  HANDLE const find = ::FindFirstFileW(In(TEXT("a")).c_str(), &found);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  ::FindClose(find);
  EXPECT_EQ(Ticks(found.ftLastWriteTime) == k2001, Differs("set-times-stay", true, false));
}

TEST_F(Times, AreSetOnlyThroughAHandleThatMayWriteThem) {
  FILETIME const time = {0, 0x01C00000};
  Handle const file(testing_support::OpenForReading(Put(TEXT("a"), "x").c_str()));
  EXPECT_EQ(Error(::SetFileTime(file, nullptr, nullptr, &time)), Differs("set-times-right", 5u, 0u));
}

}  // namespace
