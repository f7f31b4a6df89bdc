// The parts of explain that read: prefixes, encodings, sequence numbers, messages one by one.
#include <fstream>

#include "cli/base/exit_code.h"
#include "cli/explain/phases.h"
#include "cli/explain/reading/line_reader.h"
#include "cli/explain/reading/prefix_format.h"
#include "sim/tablet/base/input_error.h"
#include "tests/testing/matchers.h"
#include "tests/testing/scratch_folder.h"
#include "tests/unit/cli/explain/trace_writer.h"

namespace {

using cli::LineReader;
using cli::PrefixFormat;
using cli::SequenceGap;
using cli::SequenceGaps;
using testing_support::AsUtf16;

constexpr std::int64_t kJune10 = 1'749'565'543'968;

TEST(TracePrefix, TheUsualOneIsRead) {
  PrefixFormat const usual(PrefixFormat::kUsual);
  auto const prefix = usual.Match("[11]1A2B4.0001C::06/10/2025-14:25:43.968 [demo]State :: [x] 50% done");
  ASSERT_TRUE(prefix);
  EXPECT_EQ(prefix->process, 0x1A2B4U);
  EXPECT_EQ(prefix->thread, 0x1CU);
  EXPECT_EQ(prefix->milliseconds, kJune10);
  EXPECT_EQ(prefix->stamp, "06/10/2025-14:25:43.968");
  EXPECT_EQ(prefix->provider, "demo");
  EXPECT_EQ(prefix->text, "State :: [x] 50% done");
  EXPECT_FALSE(prefix->sequence);
  EXPECT_EQ(usual.Match("[0]0004.0008::01/02/2025-00:00:00.000 [demo]")->text, "");
}

TEST(TracePrefix, DigitsOfHiresAreAPartOfTheStamp) {
  auto const prefix = PrefixFormat(PrefixFormat::kUsual).Match("[0]0AF4.0C64::06/10/2025-14:25:43.9681234 [demo]x");
  ASSERT_TRUE(prefix);
  EXPECT_EQ(prefix->milliseconds, kJune10);
  EXPECT_EQ(prefix->stamp, "06/10/2025-14:25:43.9681234");
}

TEST(TracePrefix, SequenceNumbersAreHexadecimal) {
  std::string const line = "[0]0AF4.0C64::07/25/2025-13:55:39.998 00004ea4 [demo]IOCTL = 1";
  EXPECT_FALSE(PrefixFormat(PrefixFormat::kUsual).Match(line));
  auto const prefix = PrefixFormat(PrefixFormat::kNumbered).Match(line);
  ASSERT_TRUE(prefix);
  EXPECT_EQ(prefix->sequence, 0x4EA4U);
  EXPECT_EQ(prefix->text, "IOCTL = 1");
}

TEST(TracePrefix, OnesOwnIsReadByItsFormat) {
  PrefixFormat const own("%2!s!: %!FUNC!: %8!04x!: %3!04x!: %4!s!:  ");
  auto const prefix = own.Match("demo_cpp258: Run: 0af4.0c64: 07/25/2025-13:55:39.998:  own prefix");
  EXPECT_FALSE(prefix) << "a dot where the format has a colon";
  auto const other = own.Match("demo_cpp258: Run: 0af4: 0c64: 07/25/2025-13:55:39.998:  own prefix");
  ASSERT_TRUE(other);
  EXPECT_EQ(other->process, 0xAF4U);
  EXPECT_EQ(other->thread, 0xC64U);
  EXPECT_EQ(other->text, "own prefix");
  auto const decimal = PrefixFormat("%3!6d!|%5!s! %6!s!|%7!d!%%").Match("  4660|12 34|99%rest");
  ASSERT_TRUE(decimal);
  EXPECT_EQ(decimal->thread, 4660U);
  EXPECT_EQ(decimal->sequence, 99U);
  EXPECT_EQ(decimal->text, "rest");
}

TEST(TracePrefix, DamagedLinesHaveNone) {
  PrefixFormat const usual(PrefixFormat::kUsual);
  for (const char* const line :
       {"", "[", "[x]0AF4.0C64::06/10/2025-14:25:43.968 [demo]x", "[0]0AF4.0C64::13/10/2025-14:25:43.968 [demo]x",
        "[0]0AF4.0C64::02/30/2025-14:25:43.968 [demo]x", "[0]0AF4.0C64::06/10/2025-24:25:43.968 [demo]x",
        "[0]0AF4.0C64::06/10/2025-14:25:43.96 [demo]x", "[0]0AF4.0C64::06/10/2025-14:25:43.968 [demo",
        "[0]0AF4.0C64::06/10/20", "[0]0AF4.", "[0]0AF4.0C64::06-10-2025-14:25:43.968 [demo]x",
        "[0]FFFFFFFFFFFFFFFFF.0C64::06/10/2025-14:25:43.968 [demo]x", "second line of a message",
        " [0]0AF4.0C64::06/10/2025-14:25:43.968 [demo]x"}) {
    EXPECT_FALSE(usual.Match(line)) << line;
  }
}

TEST(TracePrefix, AFormatThatIsNotUnderstoodIsNamed) {
  auto const problem = [](const char* format) {
    try {
      PrefixFormat const made(format);
    } catch (const cli::UsageError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_THAT(problem("[%a]"), HasSubstr("\"%a\" is not understood; give the value of TRACE_FORMAT_PREFIX"));
  EXPECT_THAT(problem("100%"), HasSubstr("\"%\" is not understood"));
  EXPECT_THAT(problem("%10!d!"), HasSubstr("there is no variable \"%10\"; the variables are %1 to %9"));
  EXPECT_THAT(problem("%8!04X"), HasSubstr("has no end"));
  EXPECT_THAT(problem("%8!p!"), HasSubstr("\"!p!\" shows neither a number nor a text"));
  EXPECT_THAT(problem(""), HasSubstr("is empty"));
  EXPECT_THAT(problem("%0"), HasSubstr("is empty"));
}

class TraceLines : public ::testing::Test {
 protected:
  LineReader Reader(const std::string& bytes) {
    std::ofstream(folder_.path() / "t.txt", std::ios::binary) << bytes;
    return LineReader(folder_.path() / "t.txt");
  }
  static std::vector<std::string> All(LineReader& reader) {
    std::vector<std::string> lines;
    for (std::string line; reader.Next(line);) lines.push_back(line);
    return lines;
  }

 private:
  testing_support::ScratchFolder folder_;
};

TEST_F(TraceLines, EndsOfLinesAreThoseOfEitherWorld) {
  auto reader = Reader("one\r\ntwo\n\nfour");
  EXPECT_THAT(All(reader), ElementsAre("one", "two", "", "four"));
  EXPECT_EQ(reader.number(), 4U);
  EXPECT_TRUE(reader.ends_early());
  auto whole = Reader("one\n");
  EXPECT_THAT(All(whole), ElementsAre("one"));
  EXPECT_FALSE(whole.ends_early());
}

TEST_F(TraceLines, Utf16IsReadByItsMark) {
  auto reader = Reader(AsUtf16("Ger\u00E4t\r\n\U0001F4F1\r\n") + "x");
  EXPECT_THAT(All(reader), ElementsAre("Ger\u00E4t", "\U0001F4F1", "")) << "half a character is none";
  EXPECT_TRUE(reader.is_utf16());
  EXPECT_TRUE(reader.ends_early());
}

TEST_F(TraceLines, WhatIsNotUtf8IsReadByCodePage1252) {
  auto reader = Reader("\xEF\xBB\xBFGer\u00E4t\nGer\xE4t \x80 \x81\n");
  EXPECT_THAT(All(reader), ElementsAre("Ger\u00E4t", "Ger\u00E4t \u20AC \uFFFD"));
  EXPECT_EQ(reader.first_in_code_page(), 2U);
}

TEST_F(TraceLines, ALongLineIsCut) {
  std::string const start(LineReader::kLongest - 1, 'a');
  auto reader = Reader(start + "\u00E4bcd\nnext\n");
  std::vector<std::string> const lines = All(reader);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], start) << "half a letter is left out, and not taken for another encoding";
  EXPECT_EQ(lines[1], "next");
  EXPECT_EQ(reader.cut_lines(), 1U);
  EXPECT_EQ(reader.first_in_code_page(), 0U);
}

TEST_F(TraceLines, WhatIsNoTextIsRefusedWithItsPlace) {
  auto const problem = [this](const std::string& bytes) {
    try {
      auto reader = Reader(bytes);
      All(reader);
    } catch (const tablet::InputError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_THAT(problem(std::string("good\nb\0ad\n", 10)),
              HasSubstr("t.txt:2: is no text: it has bytes of 0; give the text"));
  EXPECT_THAT(problem("\xFE\xFF"
                      "x"),
              HasSubstr("t.txt: is UTF-16 with the high byte first; convert the trace"));
}

TEST(TraceGaps, MissingNumbersAreRanges) {
  SequenceGaps gaps;
  for (std::uint64_t const number : {7, 8, 10, 14, 15}) gaps.Take(number, number * 10, "stamp");
  EXPECT_EQ(gaps.lost(), 4U);
  std::vector<SequenceGap> const all = gaps.All();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].first, 9U);
  EXPECT_EQ(all[0].last, 9U);
  EXPECT_EQ(all[0].after_line, 80U);
  EXPECT_EQ(all[1].first, 11U);
  EXPECT_EQ(all[1].last, 13U);
}

TEST(TraceGaps, RecordsOutOfOrderAreNotMissing) {
  SequenceGaps gaps;
  for (std::uint64_t const number : {1, 5, 3, 2, 4, 4, 6}) gaps.Take(number, 1, "");
  EXPECT_EQ(gaps.lost(), 0U);
  EXPECT_TRUE(gaps.All().empty());
}

TEST(TraceGaps, EachSessionBeginsAnew) {
  SequenceGaps gaps;
  for (std::uint64_t const number : {1, 3, 1, 2, 4}) gaps.Take(number, 1, "");
  EXPECT_EQ(gaps.lost(), 2U);
  ASSERT_EQ(gaps.All().size(), 2U);
  EXPECT_EQ(gaps.All()[0].first, 2U);
  EXPECT_EQ(gaps.All()[1].first, 3U);
  SequenceGaps zeros;
  for (std::uint64_t const number : {0, 0, 5}) zeros.Take(number, 1, "");
  EXPECT_EQ(zeros.lost(), 0U) << "zeros are written where no numbers were made";
}

TEST(TraceGaps, EndlessGapsAreCountedAndNotKept) {
  SequenceGaps gaps;
  for (std::uint64_t number = 1; number < 10'000; number += 2) gaps.Take(number, number, "");
  EXPECT_EQ(gaps.All().size(), SequenceGaps::kMost);
  EXPECT_EQ(gaps.lost(), 4'999U);
}

}  // namespace
