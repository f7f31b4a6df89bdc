#include "vantord/unzip/entry_name.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::u16string Cleaned(const char16_t* name) { return CleanEntryName(name); }

TEST(EntryName, APlainNameStaysAsItIs) {
  EXPECT_EQ(Cleaned(u"qcdsp1v2850.mbn"), u"qcdsp1v2850.mbn");
  EXPECT_EQ(Cleaned(u"sub/folder\\file.bin"), u"sub/folder\\file.bin");
  EXPECT_EQ(Cleaned(u""), u"");
}

TEST(EntryName, ADrivePrefixAndLeadingSeparatorsAreDropped) {
  EXPECT_EQ(Cleaned(u"C:\\x\\y.bin"), u"x\\y.bin");
  EXPECT_EQ(Cleaned(u"/etc/z"), u"etc/z");
  EXPECT_EQ(Cleaned(u"//\\/etc/z"), u"etc/z");
  EXPECT_EQ(Cleaned(u"C:D:x"), u"x");
  EXPECT_EQ(Cleaned(u"C:"), u"");
  EXPECT_EQ(Cleaned(u"/"), u"");
}

TEST(EntryName, ASeparatorInFrontOfAColonGoesWithIt) { EXPECT_EQ(Cleaned(u"/:x"), u"x"); }

TEST(EntryName, AColonElsewhereStays) {
  EXPECT_EQ(Cleaned(u"ab:c"), u"ab:c");
  EXPECT_EQ(Cleaned(u"a::b"), u":b");
}

TEST(EntryName, EverythingUpToAStepUpIsCutAway) {
  EXPECT_EQ(Cleaned(u"a/../b"), u"b");
  EXPECT_EQ(Cleaned(u"a\\..\\b"), u"b");
  EXPECT_EQ(Cleaned(u"a\\../b"), u"b");
  EXPECT_EQ(Cleaned(u"a/..\\b"), u"b");
  EXPECT_EQ(Cleaned(u"a/../b/../c/d"), u"c/d");
  EXPECT_EQ(Cleaned(u"a/../C:/b"), u"b");
  EXPECT_EQ(Cleaned(u"a/../:x"), u":x") << "the step's last separator is cut away, too";
}

TEST(EntryName, TheSpellingsOfAStepUpAreLookedForOneAfterTheOther) {
  EXPECT_EQ(Cleaned(u"a/../b\\..\\c"), u"c");
  EXPECT_EQ(Cleaned(u"a\\..\\b/../c"), u"c");
  // Where two share a separator, the one that is looked for first leaves less or more of the other.
  EXPECT_EQ(Cleaned(u"a/..\\..\\b"), u"b");
  EXPECT_EQ(Cleaned(u"a/..\\../b"), u"b");
  EXPECT_EQ(Cleaned(u"a\\../../b"), u"../b");
  EXPECT_EQ(Cleaned(u"a\\../..\\b"), u"..\\b");
  EXPECT_EQ(Cleaned(u"a/../..\\b"), u"..\\b");
}

TEST(EntryName, NothingBehindTheEndOfTheTextIsLookedAt) {
  EXPECT_EQ(Cleaned(u"\0:x"), u"");
  EXPECT_EQ(Cleaned(u"C:\0:x"), u"");
}

TEST(EntryName, ALeadingStepUpAndATrailingOneStay) {
  EXPECT_EQ(Cleaned(u"../b"), u"../b");
  EXPECT_EQ(Cleaned(u"..\\b"), u"..\\b");
  EXPECT_EQ(Cleaned(u"a\\.."), u"a\\..");
  EXPECT_EQ(Cleaned(u"a/.."), u"a/..");
  EXPECT_EQ(Cleaned(u"a/../../b"), u"../b");
}

TEST(EntryName, AbsoluteIsWhatBeginsWithASeparatorOrADrive) {
  EXPECT_TRUE(IsAbsolutePath(u"\\x"));
  EXPECT_TRUE(IsAbsolutePath(u"/x"));
  EXPECT_TRUE(IsAbsolutePath(u"c:x"));
  EXPECT_FALSE(IsAbsolutePath(u""));
  EXPECT_FALSE(IsAbsolutePath(u"\0:"));
  EXPECT_FALSE(IsAbsolutePath(u"x"));
  EXPECT_FALSE(IsAbsolutePath(u"x\\c:"));
}

TEST(EntryName, TheLastSeparatorIsFoundInEitherSpelling) {
  const char16_t* const path = u"a/b\\c";
  EXPECT_EQ(LastSeparator(path), path + 3);
  const char16_t* const other = u"a\\b/c";
  EXPECT_EQ(LastSeparator(other), other + 3);
  EXPECT_EQ(LastSeparator(u"abc"), nullptr);
  EXPECT_EQ(LastSeparator(u""), nullptr);
}

}  // namespace
