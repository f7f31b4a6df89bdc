#include <windows.h>
// Needs <windows.h> before it.
#include <objbase.h>

#include "tests/platform/refusal.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using testing::HasSubstr;
using testing_support::RefusalOf;

class TextTest : public testing_support::TabletTest {};

TEST_F(TextTest, WideTextIsMeasuredComparedAndSearched) {
  const WCHAR* const text = TEXT("a\\b\\c");
  EXPECT_EQ(wcslen(text), 5u);
  EXPECT_EQ(wcslen(TEXT("")), 0u);
  EXPECT_EQ(wcschr(text, TEXT('\\')), text + 1);
  EXPECT_EQ(wcsrchr(text, TEXT('\\')), text + 3);
  EXPECT_EQ(wcschr(text, 0), text + 5);
  EXPECT_EQ(wcsrchr(text, 0), text + 5);
  EXPECT_EQ(wcschr(text, TEXT('x')), nullptr);
  EXPECT_EQ(wcsrchr(text, TEXT('x')), nullptr);
  EXPECT_EQ(wcsstr(text, TEXT("b\\")), text + 2);
  EXPECT_EQ(wcsstr(text, TEXT("")), text);
  EXPECT_EQ(wcsstr(text, TEXT("bc")), nullptr);
  EXPECT_EQ(wcscmp(TEXT("ab"), TEXT("ab")), 0);
  EXPECT_LT(wcscmp(TEXT("ab"), TEXT("abc")), 0);
  EXPECT_GT(wcscmp(TEXT("b"), TEXT("abc")), 0);
}

TEST_F(TextTest, CaseIsIgnoredForAsciiLettersAlone) {
  EXPECT_EQ(_wcsicmp(TEXT("VZW.bin"), TEXT("vzw.BIN")), 0);
  EXPECT_LT(_wcsicmp(TEXT("a"), TEXT("B")), 0);
  EXPECT_GT(_wcsicmp(TEXT("ab"), TEXT("A")), 0);
  EXPECT_NE(_wcsicmp(TEXT("\u00E9"), TEXT("\u00C9")), 0);
  EXPECT_GT(_wcsicmp(TEXT("_"), TEXT("Z")), TEXT('_') - TEXT('z') - 1);
}

TEST_F(TextTest, Utf8BecomesWideAndBack) {
  WCHAR wide[8] = {};
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "\u20AC\U0001F600x", -1, wide, 8), 5);
  EXPECT_EQ(std::u16string_view(wide), TEXT("\u20AC\U0001F600x"));
  char narrow[16] = {};
  EXPECT_EQ(::WideCharToMultiByte(CP_UTF8, 0, wide, -1, narrow, 16, nullptr, nullptr), 9);
  EXPECT_STREQ(narrow, "\u20AC\U0001F600x");
}

TEST_F(TextTest, AnExplicitLengthConvertsThatMuchAndNoTerminator) {
  WCHAR wide[4] = {TEXT('~'), TEXT('~'), TEXT('~'), TEXT('~')};
  EXPECT_EQ(::MultiByteToWideChar(CP_ACP, 0, "abcdef", 2, wide, 4), 2);
  EXPECT_EQ(std::u16string(wide, 3), TEXT("ab~"));
  char narrow[4] = "~~~";
  EXPECT_EQ(::WideCharToMultiByte(CP_ACP, 0, TEXT("abcdef"), 2, narrow, 4, nullptr, nullptr), 2);
  EXPECT_STREQ(narrow, "ab~");
}

TEST_F(TextTest, WithoutRoomTheLengthNeededIsAnswered) {
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "abc", -1, nullptr, 0), 4);
  EXPECT_EQ(::WideCharToMultiByte(CP_UTF8, 0, TEXT("\u20AC"), 1, nullptr, 0, nullptr, nullptr), 3);
}

TEST_F(TextTest, TooLittleRoomFailsWithError122) {
  WCHAR wide[2] = {};
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "abc", -1, wide, 2), 0);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  char narrow[2] = {};
  ::SetLastError(0);
  EXPECT_EQ(::WideCharToMultiByte(CP_UTF8, 0, TEXT("abc"), -1, narrow, 2, nullptr, nullptr), 0);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST_F(TextTest, ArgumentsThatMakeNoSenseFailWithError87) {
  WCHAR wide[4];
  for (int const length : {0, -2}) {
    ::SetLastError(0);
    EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "abc", length, wide, 4), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  }
  ::SetLastError(0);
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, nullptr, 3, wide, 4), 0);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  ::SetLastError(0);
  BOOL used = FALSE;
  char narrow[4];
  EXPECT_EQ(::WideCharToMultiByte(CP_UTF8, 0, TEXT("a"), -1, narrow, 4, nullptr, &used), 0);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(TextTest, TheAnsiCodePageIs1252) {
  WCHAR wide[8] = {};
  EXPECT_EQ(::MultiByteToWideChar(CP_ACP, 0, "\x80\xE9\x9F\x81", -1, wide, 8), 5);
  EXPECT_EQ(std::u16string_view(wide), TEXT("\u20AC\u00E9\u0178\u0081"));
  char narrow[8] = {};
  BOOL used = TRUE;
  EXPECT_EQ(::WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow, 8, nullptr, &used), 5);
  EXPECT_STREQ(narrow, "\x80\xE9\x9F\x81");
  EXPECT_EQ(used, FALSE);
  EXPECT_EQ(::WideCharToMultiByte(CP_ACP, 0, TEXT("\uD55C"), -1, narrow, 8, "!", &used), 2);
  EXPECT_STREQ(narrow, "!");
  EXPECT_EQ(used, TRUE);
}

TEST_F(TextTest, BytesThatAreNoUtf8BecomeReplacementCharacters) {
  WCHAR wide[8] = {};
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "a\xFFz", -1, wide, 8), 4);
  EXPECT_EQ(std::u16string_view(wide), TEXT("a\uFFFDz"));
}

TEST_F(TextTest, AFaultFailsAConversionWithItsError) {
  Inject("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION);
  WCHAR wide[8] = {};
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "abc", -1, wide, 8), 0);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
}

TEST_F(TextTest, OtherCodePagesAndFlagsAreRefused) {
  EXPECT_THAT(RefusalOf(machine(), [] { ::MultiByteToWideChar(437, 0, "a", -1, nullptr, 0); }),
              HasSubstr("code page 437"));
  PowerOn(DefaultDescription());
  EXPECT_THAT(RefusalOf(machine(), [] { ::MultiByteToWideChar(CP_UTF8, 8, "a", -1, nullptr, 0); }),
              HasSubstr("flags 0x8"));
}

TEST_F(TextTest, AGuidIsWrittenBracedInUpperCase) {
  constexpr GUID kGuid = {0xfd9ff848, 0x46d1, 0x4ce7, {0x89, 0x40, 0x6d, 0xf2, 0xf1, 0xe6, 0xef, 0xf6}};
  WCHAR text[50] = {};
  EXPECT_EQ(::StringFromGUID2(kGuid, text, 50), 39);
  EXPECT_EQ(std::u16string_view(text), TEXT("{FD9FF848-46D1-4CE7-8940-6DF2F1E6EFF6}"));
  WCHAR exact[39] = {};
  EXPECT_EQ(::StringFromGUID2(kGuid, exact, 39), 39);
  EXPECT_EQ(::StringFromGUID2(kGuid, exact, 38), 0);
}

TEST_F(TextTest, NumbersEndAtTheFirstOtherCharacter) {
  EXPECT_EQ(_wtoi(TEXT("12")), 12);
  EXPECT_EQ(_wtoi(TEXT(" \t-7x9")), -7);
  EXPECT_EQ(_wtoi(TEXT("+3")), 3);
  EXPECT_EQ(_wtoi(TEXT("")), 0);
  EXPECT_EQ(_wtoi(TEXT("one")), 0);
  EXPECT_EQ(_wtoi(TEXT("99999999999999999999")), INT32_MAX);
  EXPECT_EQ(_wtoi(TEXT("-99999999999999999999")), INT32_MIN);
}

}  // namespace
