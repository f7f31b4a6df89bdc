// What tests/conformance/text_test.cpp cannot ask of both worlds, or does not.
#include <windows.h>
// Needs <windows.h> before it.
#include <objbase.h>

#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

class TextTest : public testing_support::TabletTest {};

TEST_F(TextTest, WhatIsNotInATextIsNotFound) {
  const WCHAR* const text = TEXT("a\\b\\c");
  EXPECT_EQ(wcslen(TEXT("")), 0u);
  EXPECT_EQ(wcschr(text, 0), text + 5);
  EXPECT_EQ(wcschr(text, TEXT('x')), nullptr);
  EXPECT_EQ(wcsrchr(text, TEXT('x')), nullptr);
  EXPECT_EQ(wcsstr(text, TEXT("")), text);
  EXPECT_EQ(wcsstr(text, TEXT("bc")), nullptr);
  EXPECT_GT(wcscmp(TEXT("b"), TEXT("abc")), 0);
}

TEST_F(TextTest, LettersAreComparedInLowerCase) {
  EXPECT_GT(_wcsicmp(TEXT("ab"), TEXT("A")), 0);
  EXPECT_GT(_wcsicmp(TEXT("_"), TEXT("Z")), TEXT('_') - TEXT('z') - 1);
}

TEST_F(TextTest, ANegativeLengthOtherThanMinusOneFailsWithError87) {
  WCHAR wide[4];
  ::SetLastError(0);
  EXPECT_EQ(::MultiByteToWideChar(CP_UTF8, 0, "abc", -2, wide, 4), 0);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
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

TEST_F(TextTest, AGuidTakes39Characters) {
  WCHAR exact[39] = {};
  EXPECT_EQ(::StringFromGUID2(GUID{}, exact, 39), 39);
  EXPECT_EQ(::StringFromGUID2(GUID{}, exact, 38), 0);
}

TEST_F(TextTest, NumbersStopAtTheEndsOfTheirRange) {
  EXPECT_EQ(_wtoi(TEXT("")), 0);
  EXPECT_EQ(_wtoi(TEXT("99999999999999999999")), INT32_MAX);
  EXPECT_EQ(_wtoi(TEXT("-99999999999999999999")), INT32_MIN);
}

}  // namespace
