// lint and archives that are large, in bytes or in entries.
#include <fmt/format.h>

#include <fstream>

#include "tests/testing/zip_builder.h"
#include "tests/unit/cli/program.h"

namespace {

class LargeArchiveTest : public ProgramTest {};

TEST_F(LargeArchiveTest, AnEndRecordAtTwoGigabytesIsWarnedOf) {
  ZipBuilder archive;
  archive.Add("qcdsp1v2850.mbn", ToBytes("x"));
  auto const bytes = archive.Build();
  std::string const text(bytes.begin(), bytes.end());
  constexpr std::uintmax_t kReach = std::uintmax_t{1} << 31;
  auto const lint_with_end_record_at = [&](std::uintmax_t at) {
    Write("far.zip", "");
    fs::resize_file(In("far.zip"), at - (text.size() - 22));  // a hole: it takes no room
    std::ofstream(In("far.zip"), std::ios::binary | std::ios::app) << text;
    return RunJson({"lint", "far.zip"}, 5)["archives"][0];
  };
  json found = lint_with_end_record_at(kReach);
  EXPECT_EQ(found["verdict"], "deploys");
  EXPECT_EQ(found["warnings"][0]["what"], "end-record");
  found = lint_with_end_record_at(kReach + 5000);
  EXPECT_EQ(found["verdict"], "not found");
  EXPECT_THAT(found["reason"].get<std::string>(), HasSubstr("larger than 2 GiB"));
}

/// More than a run has time for under AddressSanitizer.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kManyEntries = 500;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr int kManyEntries = 500;
#else
constexpr int kManyEntries = 30'000;
#endif
#else
constexpr int kManyEntries = 30'000;
#endif

TEST_F(LargeArchiveTest, AnArchiveOfManyEntriesIsJudgedToItsEnd) {
  ZipBuilder archive;
  archive.Add("qcdsp1v2850.mbn", ToBytes("x"));
  archive.Add("qcdsp2850.mbn", ToBytes("x"));
  for (int i = 0; i < kManyEntries; ++i) archive.Add(fmt::format("f/{}", i), ToBytes("x"), 0);
  Write("many.zip", archive.Build());
  json const found = RunJson({"lint", "many.zip"})["archives"][0];
  EXPECT_EQ(found["verdict"], "deploys") << found["reason"];
  EXPECT_EQ(found["entries"].size(), kManyEntries + 2u);
}

}  // namespace
