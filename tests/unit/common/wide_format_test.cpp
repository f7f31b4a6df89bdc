#include "vantord/common/wide_format.h"

#include "tests/testing/tablet_fixture.h"

namespace {

constexpr WCHAR kMark = TEXT('~');

class WideFormatTest : public testing_support::TabletTest {};

TEST_F(WideFormatTest, ATextThatFillsTheBufferIsTerminatedWithNothingLost) {
  WCHAR out[5] = {kMark, kMark, kMark, kMark, kMark};
  EXPECT_EQ(FormatWideTo(out, TEXT("%d"), 1234), 4u);
  EXPECT_EQ(std::u16string_view(out, 5), std::u16string_view(TEXT("1234\0"), 5));
}

TEST_F(WideFormatTest, ALongerTextIsCutAndTerminated) {
  WCHAR out[5] = {kMark, kMark, kMark, kMark, kMark};
  EXPECT_EQ(FormatWideTo(out, TEXT("%S"), "12345"), 4u);
  EXPECT_EQ(std::u16string_view(out, 5), std::u16string_view(TEXT("1234\0"), 5));
}

TEST_F(WideFormatTest, ABufferOfNothingIsLeftAlone) {
  WCHAR out[1] = {kMark};
  EXPECT_EQ(FormatWide(out, 0, TEXT("%d"), 1), 0u);
  EXPECT_EQ(out[0], kMark);
  CopyWide(out, 0, TEXT("x"));
  EXPECT_EQ(out[0], kMark);
}

TEST_F(WideFormatTest, ACopyIsCutTerminatedAndLeavesTheRest) {
  WCHAR out[5] = {kMark, kMark, kMark, kMark, kMark};
  CopyWide(out, 3, TEXT("abc"));
  EXPECT_EQ(std::u16string_view(out, 5), std::u16string_view(TEXT("ab\0~~"), 5));
  CopyWide(out, 5, TEXT("x"));
  EXPECT_EQ(std::u16string_view(out, 5), std::u16string_view(TEXT("x\0\0~~"), 5));
}

}  // namespace
