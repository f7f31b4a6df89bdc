// The words for what a power cut leaves; the tables themselves are in docs/promises.md, held against the program there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/sweep/cut_table.h"

namespace {

using cli::TabletState;

constexpr const char* kOne = "file C:\\Windows\\System32\\one.mbn";
constexpr const char* kTwo = "file C:\\Windows\\System32\\two.mbn";
constexpr const char* kPath = "registry SYSTEM\\Class\\0001 \"AmssFwImagePath\"";
constexpr const char* kValue = "registry SYSTEM\\Crash \"Enabled\"";

TabletState const kBefore{{kPath, "old"}};
TabletState const kAfter{{kOne, "1"}, {kTwo, "2"}, {kPath, "new"}, {kValue, "1"}};

TEST(CutTable, ADiskIsNamedByWhatOfTheWholeRunIsThere) {
  EXPECT_EQ(cli::DescribeDisk(kBefore, kAfter, kBefore), "as before");
  EXPECT_EQ(cli::DescribeDisk(kBefore, kAfter, {{kPath, "old"}, {kOne, "1"}}), "some files of the image");
  EXPECT_EQ(cli::DescribeDisk(kBefore, kAfter, {{kPath, "old"}, {kOne, "1"}, {kTwo, "half"}}),
            "some files of the image");
  EXPECT_EQ(cli::DescribeDisk(kBefore, kAfter, {{kPath, "old"}, {kOne, "1"}, {kTwo, "2"}}), "the whole image");
  EXPECT_EQ(cli::DescribeDisk(kBefore, kAfter, kAfter), "the whole image; the new firmware path; \"Enabled\"");
}

TEST(CutTable, AStartIsToldByWhatItChangesEvenIntoTheSame) {
  EXPECT_EQ(cli::DescribeStart(kAfter, kAfter, {}, false), "changes nothing");
  tablet::FileChange change;
  change.path = u"C:\\Windows\\System32\\one.mbn";
  EXPECT_EQ(cli::DescribeStart(kAfter, kAfter, {change}, true), "unpacks the image; notifies the user");
  EXPECT_EQ(cli::DescribeStart(kBefore, kAfter, {change}, false),
            "unpacks the image; writes the firmware path; writes \"Enabled\"");
}

TEST(CutTable, NeighboursThatReadAlikeAreOneRow) {
  cli::CutRow const one{"as before", "deploys", "as if undisturbed"};
  cli::CutRow const other{"the whole image", "deploys", "as if undisturbed"};
  std::vector<cli::KnownCall> const calls{
      {.name = "WriteFile", .number = 2, .function = "TUnzip::CopyEntry", .thread = {}, .args = {}}};
  cli::Console console;
  testing::internal::CaptureStdout();
  cli::PrintCutTable({{1, one}, {2, one}, {3, other}, {4, one}}, calls, console);
  EXPECT_THAT(
      testing::internal::GetCapturedStdout(),
      testing::EndsWith("|---|---|---|---|---|\n"
                        "| 1 to 2 | power-on | as before | deploys | as if undisturbed |\n"
                        "| 3 | `WriteFile` in `TUnzip::CopyEntry` | the whole image | deploys | as if undisturbed |\n"
                        "| 4 | power-on | as before | deploys | as if undisturbed |\n"));
}

}  // namespace
