// What tests/conformance/text_test.cpp cannot ask of both worlds, or does not.
#include <windows.h>

#include <cstdarg>

#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

int Format(WCHAR* out, std::size_t count, const WCHAR* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  int const result = _vsnwprintf(out, count, format, arguments);
  va_end(arguments);
  return result;
}

template <typename... Arguments>
std::u16string Formatted(const WCHAR* format, Arguments... arguments) {
  WCHAR out[200];
  int const length = Format(out, 200, format, arguments...);
  EXPECT_GE(length, 0);
  EXPECT_EQ(out[length], 0);
  return {out, static_cast<std::size_t>(length)};
}

class FormatterTest : public testing_support::TabletTest {};

TEST_F(FormatterTest, ASizeLetterDecidesHowWideACharacterIs) {
  EXPECT_EQ(Formatted(TEXT("%hc|%lc|%lC"), 'a', TEXT('\u00E9'), TEXT('\u20AC')), TEXT("a|\u00E9|\u20AC"));
}

TEST_F(FormatterTest, ANullTextIsCutAsAnyOther) {
  EXPECT_EQ(Formatted(TEXT("%.3s"), static_cast<WCHAR*>(nullptr)), TEXT("(nu"));
}

TEST_F(FormatterTest, AnUnfinishedConversionPrintsNothing) {
  EXPECT_EQ(Formatted(TEXT("%5q")), TEXT("q"));
  EXPECT_EQ(Formatted(TEXT("end%")), TEXT("end"));
  EXPECT_EQ(Formatted(TEXT("%l")), TEXT(""));
}

TEST_F(FormatterTest, AWidthNeverCuts) {
  EXPECT_EQ(Formatted(TEXT("[%2d][%-05d][%04s]"), 12345, 42, TEXT("ef")), TEXT("[12345][42   ][00ef]"));
}

TEST_F(FormatterTest, APrecisionTurnsZeroesOffAndANegativeOneIsNone) {
  EXPECT_EQ(Formatted(TEXT("[%06.3d][%.*s]"), 7, -1, TEXT("all")), TEXT("[   007][all]"));
}

TEST_F(FormatterTest, APrecisionKeepsTheReaderFromATextWithoutEnd) {
  const WCHAR open[3] = {TEXT('a'), TEXT('b'), TEXT('c')};
  EXPECT_EQ(Formatted(TEXT("%.3s"), static_cast<const WCHAR*>(open)), TEXT("abc"));
}

TEST_F(FormatterTest, UnsignedNumbersHaveNoSign) { EXPECT_EQ(Formatted(TEXT("%+u"), 1), TEXT("1")); }

TEST_F(FormatterTest, TheJournalHoldsTheTextAsStored) {
  WCHAR out[8];
  Format(out, 3, TEXT("%S"),
         "\xE9"
         "bcdef");
  EXPECT_THAT(formatted(), ElementsAre("\u00E9"
                                       "bc"));
}

TEST_F(FormatterTest, ConversionsNobodyUsesAreRefused) {
  WCHAR out[8];
  EXPECT_THAT(RefusalOf(machine(), [&] { Format(out, 8, TEXT("%f"), 1.0); }), HasSubstr("the conversion %f"));
}

}  // namespace
