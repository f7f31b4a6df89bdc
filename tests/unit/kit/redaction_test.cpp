#include "kit/result/redaction.h"

#include <gtest/gtest.h>

namespace {

using kit::Redaction;

TEST(KitRedaction, NamesAreReplacedAsWholeWordsInEitherCase) {
  Redaction redaction;
  redaction.Hide("kim", "<user>");
  EXPECT_EQ(redaction.Redacted("C:\\Users\\Kim\\a, KIM-PC, kimono, Joakim, kim"),
            "C:\\Users\\<user>\\a, <user>-PC, kimono, Joakim, <user>");
}

TEST(KitRedaction, AFolderIsReplacedBeforeTheNameInIt) {
  Redaction redaction;
  redaction.Hide("kim", "<user>");
  redaction.Hide("C:\\Users\\kim\\Temp", "<temp>");
  EXPECT_EQ(redaction.Redacted("c:\\users\\kim\\temp\\file"), "<temp>\\file");
}

TEST(KitRedaction, AccountsAreReplacedWhoeverTheyBelongTo) {
  EXPECT_EQ(Redaction().Redacted("of S-1-5-21-1004336348-1177238915-682003330-512 and S-1-5-18"),
            "of <account> and S-1-5-18");
  EXPECT_EQ(Redaction().Redacted("s-1-5-21-1"), "<account>");
}

TEST(KitRedaction, LettersOutsideOfAsciiContinueAWord) {
  Redaction redaction;
  redaction.Hide("mül", "<user>");
  EXPECT_EQ(redaction.Redacted("mül müller"), "<user> müller");
}

}  // namespace
