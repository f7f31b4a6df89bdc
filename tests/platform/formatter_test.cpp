#include <windows.h>

#include <cstdarg>

#include "tests/platform/refusal.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing_support::RefusalOf;

constexpr WCHAR kUntouched = TEXT('~');

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

TEST_F(FormatterTest, ATextThatFitsIsTerminated) {
  WCHAR out[8] = {kUntouched, kUntouched, kUntouched, kUntouched, kUntouched};
  EXPECT_EQ(Format(out, 4, TEXT("%d"), 123), 3);
  EXPECT_EQ(std::u16string_view(out), TEXT("123"));
  EXPECT_EQ(out[4], kUntouched);
}

TEST_F(FormatterTest, ATextOfExactlyTheCountReturnsItWithoutATerminator) {
  WCHAR out[8] = {kUntouched, kUntouched, kUntouched, kUntouched, kUntouched};
  EXPECT_EQ(Format(out, 3, TEXT("%d"), 123), 3);
  EXPECT_EQ(std::u16string(out, 4), TEXT("123~"));
}

TEST_F(FormatterTest, ALongerTextReturnsMinusOneWithItsBeginningStored) {
  WCHAR out[8] = {kUntouched, kUntouched, kUntouched, kUntouched, kUntouched};
  EXPECT_EQ(Format(out, 3, TEXT("%d"), 123456), -1);
  EXPECT_EQ(std::u16string(out, 4), TEXT("123~"));
}

TEST_F(FormatterTest, SmallLettersAreWideAndCapitalsNarrow) {
  EXPECT_EQ(Formatted(TEXT("%s|%S"), TEXT("wide"), "narrow"), TEXT("wide|narrow"));
  EXPECT_EQ(Formatted(TEXT("%c|%C"), TEXT('w'), 'n'), TEXT("w|n"));
  EXPECT_EQ(Formatted(TEXT("%c"), 0x20AC), TEXT("\u20AC"));
}

TEST_F(FormatterTest, ASizeLetterDecidesHowWideATextIs) {
  EXPECT_EQ(Formatted(TEXT("%hs|%hS|%ls|%lS|%ws"), "a", "b", TEXT("c"), TEXT("d"), TEXT("e")), TEXT("a|b|c|d|e"));
  EXPECT_EQ(Formatted(TEXT("%hc|%lc|%lC"), 'a', TEXT('\u00E9'), TEXT('\u20AC')), TEXT("a|\u00E9|\u20AC"));
}

TEST_F(FormatterTest, NarrowBytesAreWidenedOneToOne) {
  EXPECT_EQ(Formatted(TEXT("%S|%C"), "\xE9\x80", 0xFC), TEXT("\u00E9\u0080|\u00FC"));
}

TEST_F(FormatterTest, ANullTextPrintsAsNull) {
  EXPECT_EQ(Formatted(TEXT("%s|%S"), static_cast<WCHAR*>(nullptr), static_cast<char*>(nullptr)), TEXT("(null)|(null)"));
  EXPECT_EQ(Formatted(TEXT("%.3s"), static_cast<WCHAR*>(nullptr)), TEXT("(nu"));
}

TEST_F(FormatterTest, AnUnknownLetterPrintsWithoutItsPercentSign) {
  EXPECT_EQ(Formatted(TEXT("100%% %y %5q")), TEXT("100% y q"));
  EXPECT_EQ(Formatted(TEXT("end%")), TEXT("end"));
}

TEST_F(FormatterTest, PlainAndLongIntegersHave32Bits) {
  EXPECT_EQ(Formatted(TEXT("%d|%i|%u"), -1, -2, -1), TEXT("-1|-2|4294967295"));
  EXPECT_EQ(Formatted(TEXT("%ld|%lu|%lx|%l"), -1, -1, -1), TEXT("-1|4294967295|ffffffff|"));
  EXPECT_EQ(Formatted(TEXT("%d"), INT32_MIN), TEXT("-2147483648"));
  EXPECT_EQ(Formatted(TEXT("%x|%X"), 0xBEEF, 0xBEEF), TEXT("beef|BEEF"));
}

TEST_F(FormatterTest, OtherSizesAreReadAsSuch) {
  EXPECT_EQ(Formatted(TEXT("%hd|%hu"), 0x1FFFF, 0x1FFFE), TEXT("-1|65534"));
  EXPECT_EQ(Formatted(TEXT("%lld|%I64x|%I64d"), INT64_MIN, UINT64_MAX, INT64_C(-5)),
            TEXT("-9223372036854775808|ffffffffffffffff|-5"));
  EXPECT_EQ(Formatted(TEXT("%I32u|%Iu"), -1, UINT64_MAX), TEXT("4294967295|18446744073709551615"));
}

TEST_F(FormatterTest, WidthsPadOnTheLeftOrOnTheRight) {
  EXPECT_EQ(Formatted(TEXT("[%5d][%-5d][%05d][%-05d]"), 42, 42, -42, 42), TEXT("[   42][42   ][-0042][42   ]"));
  EXPECT_EQ(Formatted(TEXT("[%4s][%-4S][%04s]"), TEXT("ab"), "cd", TEXT("ef")), TEXT("[  ab][cd  ][00ef]"));
  EXPECT_EQ(Formatted(TEXT("[%*d][%*d]"), 4, 7, -4, 7), TEXT("[   7][7   ]"));
  EXPECT_EQ(Formatted(TEXT("[%2d]"), 12345), TEXT("[12345]"));
  EXPECT_EQ(Formatted(TEXT("%08lx %04d%02d"), 0xABC, 2026, 3), TEXT("00000abc 202603"));
}

TEST_F(FormatterTest, APrecisionIsTheLeastNumberOfDigitsAndTheMostOfAText) {
  EXPECT_EQ(Formatted(TEXT("[%.3d][%6.3d][%06.3d][%.0d]"), 7, 7, 7, 0), TEXT("[007][   007][   007][]"));
  EXPECT_EQ(Formatted(TEXT("[%.2s][%.2S][%.9s][%.*s]"), TEXT("abc"), "def", TEXT("gh"), 1, TEXT("ij")),
            TEXT("[ab][de][gh][i]"));
  EXPECT_EQ(Formatted(TEXT("[%.*s]"), -1, TEXT("all")), TEXT("[all]"));
}

TEST_F(FormatterTest, APrecisionKeepsTheReaderFromATextWithoutEnd) {
  const WCHAR open[3] = {TEXT('a'), TEXT('b'), TEXT('c')};
  EXPECT_EQ(Formatted(TEXT("%.3s"), static_cast<const WCHAR*>(open)), TEXT("abc"));
}

TEST_F(FormatterTest, FlagsGiveSignsAndPrefixes) {
  EXPECT_EQ(Formatted(TEXT("%+d|% d|%+d|%+u"), 1, 1, -1, 1), TEXT("+1| 1|-1|1"));
  EXPECT_EQ(Formatted(TEXT("%#x|%#X|%#x|%#08x"), 255, 255, 0, 255), TEXT("0xff|0XFF|0|0x0000ff"));
}

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
