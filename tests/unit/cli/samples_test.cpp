// The sample tablets: each can be made, has a small variant and a story that shows it.
#include "cli/samples/samples.h"

#include <algorithm>
#include <fstream>
#include <set>

#include "tests/testing/places.h"
#include "tests/unit/cli/program.h"

namespace {

class SamplesTest : public testing_support::ProgramTest {
 protected:
  static std::uint64_t SizeOf(const fs::path& folder) {
    std::uint64_t size = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
      if (entry.is_regular_file()) size += entry.file_size();
    }
    return size;
  }
};

TEST_F(SamplesTest, EachHasATwinOfKilobytesThatRuns) {
  constexpr std::uint64_t kMostBytes = 250'000;
  for (const cli::Sample& sample : cli::Samples()) {
    std::string const name = Make(std::string(sample.name));
    EXPECT_LT(SizeOf(In(name)), kMostBytes) << name;
    nlohmann::json const document = RunJson({"run", name});
    EXPECT_EQ(document["end"], "stopped") << name;
    EXPECT_EQ(document["tablet"], name + ": " + std::string(sample.shows));
  }
}

TEST_F(SamplesTest, EachHasAStory) {
  std::set<std::string> told;
  for (const fs::directory_entry& story : fs::directory_iterator(testing_support::SourceFolder() + "/tests/stories")) {
    std::ifstream in(story.path());
    for (std::string line; std::getline(in, line);) {
      if (line.starts_with("tablet ")) told.insert(line.substr(7));
    }
  }
  for (const cli::Sample& sample : cli::Samples()) EXPECT_TRUE(told.contains(std::string(sample.name))) << sample.name;
}

TEST_F(SamplesTest, TheDocumentationNamesEach) {
  std::ifstream in(testing_support::SourceFolder() + "/docs/tablet.md");
  std::string const text{std::istreambuf_iterator<char>(in), {}};
  for (const cli::Sample& sample : cli::Samples()) {
    EXPECT_THAT(text, HasSubstr("\n| `" + std::string(sample.name) + "` | "));
  }
}

TEST_F(SamplesTest, TheListShowsThemAndMakesNothing) {
  auto const list = Run({"init", "--list"});
  EXPECT_EQ(list.exit_code, 0);
  for (const cli::Sample& sample : cli::Samples()) {
    EXPECT_THAT(list.out, HasSubstr(std::string(sample.name) + " "));
    EXPECT_THAT(list.out, HasSubstr(std::string(sample.shows) + "\n"));
  }
  auto const help = Run({"init", "--help"});
  EXPECT_EQ(help.exit_code, 0);
  EXPECT_LT(std::ranges::count(help.out, '\n'), 40);
  EXPECT_EQ(Run({"init"}).exit_code, 2);
}

}  // namespace
