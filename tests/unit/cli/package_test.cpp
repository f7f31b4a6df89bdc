// Firmware packages: pack makes them, diff compares two.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <random>

#include "sim/tablet/drive/pe_version.h"
#include "tests/unit/cli/program.h"

namespace {

constexpr std::int64_t kWritten = 1'700'000'000;

class PackageTest : public testing_support::ProgramTest {
 protected:
  template <typename Content>
  void Put(const std::string& name, const Content& content, std::int64_t written = kWritten) {
    fs::create_directories(In(name).parent_path());
    Write(name, content);
    timespec const times[2] = {{written, 0}, {written, 0}};
    ::utimensat(AT_FDCWD, In(name).c_str(), times, 0);
  }
  void PutVersion(const std::string& name, std::uint16_t build) {
    Put(name, tablet::MakeExecutableWithVersion(1, 0, build, 0));
  }
  void PutImages(const std::string& folder) {
    Put(folder + "/qcdsp1v2850.mbn", "firmware");
    Put(folder + "/qcdsp2850.mbn", "software");
  }
  /// Folders are written when something is put into them.
  void SetFolderTimes(const std::string& folder) {
    timespec const times[2] = {{kWritten, 0}, {kWritten, 0}};
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(In(folder))) {
      if (entry.is_directory()) ::utimensat(AT_FDCWD, entry.path().c_str(), times, 0);
    }
  }
  void Pack(const std::string& folder, const std::string& archive) {
    ProgramResult const result = Run({"pack", folder, archive, "--force"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
  }
  std::string Refusal(const std::string& folder) {
    ProgramResult const result = Run({"pack", folder, "refused.bin"});
    EXPECT_EQ(result.exit_code, 3) << result.out;
    EXPECT_FALSE(fs::exists(In("refused.bin")));
    EXPECT_FALSE(LeftSomething());
    return result.err;
  }
};

TEST_F(PackageTest, RandomFoldersGiveArchivesThatLintFindsNothingIn) {
  static const std::vector<std::string> kParts{"modem",     "mcfg_sw",   "größe", "조선", "a b",
                                               "UPPER.TXT", "x.y.z.mbn", "-dash", "(1)",  "$file%"};
  for (std::uint32_t seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::string const folder = fmt::format("f{}", seed);
    PutImages(folder);
    for (std::uint32_t files = random() % 12; files > 0; --files) {
      std::string name = folder;
      for (std::uint32_t depth = random() % 3; depth > 0; --depth) name += "/d" + kParts[random() % kParts.size()];
      name += "/" + kParts[random() % kParts.size()] + std::to_string(files);
      std::string text(random() % 30'000 + 1, 'x');
      for (char& c : text) c = static_cast<char>(random() % (seed % 2 == 0 ? 4 : 256));
      Put(name, text, static_cast<std::int64_t>(random() % 1'000'000'000) + 600'000'000);
      if (random() % 4 == 0) fs::permissions(In(name), fs::perms::owner_read);
    }
    Pack(folder, "a.bin");
    json const lint = RunJson({"lint", "a.bin"});
    EXPECT_THAT(lint["archives"][0]["warnings"], IsEmpty());
    ::setenv("TZ", "Asia/Kolkata", 1);
    Pack(folder, "b.bin");
    ::unsetenv("TZ");
    EXPECT_EQ(Read("a.bin"), Read("b.bin")) << "wherever it is packed";
    EXPECT_EQ(RunJson({"diff", "a.bin", "b.bin"})["equal"], true);
  }
}

TEST_F(PackageTest, WhatTheServiceWouldNotExtractIsRefusedByName) {
  auto const only = [&](const std::string& name, const std::string& text) {
    fs::remove_all(In("f"));
    PutImages("f");
    Put("f/" + name, text);
    return Refusal("f");
  };
  EXPECT_THAT(only("sub/empty.mbn", ""), StartsWith("vantord-tablet: f/sub/empty.mbn: the service would not extract it "
                                                    "as it is: it is empty"));
  EXPECT_THAT(only("NUL", "x"), HasSubstr("f/NUL: "));
  EXPECT_THAT(only("QCDSP2850.MBN", "x"), HasSubstr("differs in letter case only"));
  EXPECT_THAT(only("dot.", "x"), HasSubstr("Windows drops the dots"));
  EXPECT_THAT(only("a:b", "x"), HasSubstr("f/a:b: "));
  EXPECT_THAT(only("back\\slash", "x"), HasSubstr("holds a backslash"));
  EXPECT_THAT(only("latin\xE4", "x"), HasSubstr("is not UTF-8"));
  std::string const deep(120, 'd');
  EXPECT_THAT(only(deep + "/" + deep, "x"), HasSubstr("is longer than the 259 characters"));
  fs::remove_all(In("f"));
  PutImages("f");
  fs::create_symlink("qcdsp2850.mbn", In("f/link"));
  EXPECT_THAT(Refusal("f"), HasSubstr("f/link: is neither a file nor a folder"));
  fs::create_directories(In("none/sub"));
  EXPECT_THAT(Refusal("none"), HasSubstr("none: has no files"));
  EXPECT_THAT(Refusal("nowhere"), HasSubstr("nowhere: is not a folder"));
}

TEST_F(PackageTest, AnArchiveIsReplacedOnlyOnRequestAndNeverWithinItsFolder) {
  PutImages("f");
  Write("kept.bin", "mine");
  EXPECT_EQ(Run({"pack", "f", "kept.bin"}).exit_code, 3);
  EXPECT_EQ(Read("kept.bin"), "mine");
  EXPECT_EQ(Run({"pack", "f", "f/new.bin"}).exit_code, 3);
  EXPECT_FALSE(fs::exists(In("f/new.bin")));
  json const document = RunJson({"pack", "f", "kept.bin", "--force"});
  EXPECT_EQ(document["entries"], 2);
  EXPECT_EQ(document["bytes"], fs::file_size(In("kept.bin")));
  ProgramResult const piped = Run({"pack", "f", "-"});
  EXPECT_EQ(piped.out, Read("kept.bin"));
  EXPECT_THAT(piped.err, HasSubstr("-: 2 entries"));
  Put("g/only.mbn", "x");
  EXPECT_THAT(Run({"pack", "g", "g.bin"}).out, HasSubstr("warning  the driver is pointed at"));
}

TEST_F(PackageTest, TwoReleasesAreComparedEntryByEntry) {
  PutImages("old");
  Put("old/same.mbn", "the same");
  Put("old/gone.mbn", "of the old release");
  PutVersion("old/tool.exe", 25);
  Put("old/locked.mbn", "text");
  Put("old/touched.mbn", "text");
  SetFolderTimes("old");
  Pack("old", "OLD.bin");
  fs::copy(In("old"), In("new"), fs::copy_options::recursive);
  for (const char* const name : {"qcdsp1v2850.mbn", "same.mbn", "locked.mbn"})
    Put(std::string("new/") + name, Read(std::string("old/") + name));
  Put("new/qcdsp2850.mbn", "software, newer");
  fs::remove(In("new/gone.mbn"));
  PutVersion("new/tool.exe", 26);
  fs::permissions(In("new/locked.mbn"), fs::perms::owner_read);
  Put("new/touched.mbn", "text", kWritten + 86'400);
  Put("new/added.mbn", "of the new release");
  Pack("new", "NEW.bin");

  json const document = RunJson({"diff", "OLD.bin", "NEW.bin"}, 5);
  std::map<std::string, json> entries;
  for (const json& entry : document["entries"]) {
    entries[(entry["after"].is_null() ? entry["before"] : entry["after"])["name"]] = entry;
  }
  EXPECT_EQ(entries.size(), 6u);
  EXPECT_EQ(entries["added.mbn"]["before"], nullptr);
  EXPECT_EQ(entries["gone.mbn"]["after"], nullptr);
  EXPECT_THAT(entries["qcdsp2850.mbn"]["changed"], ElementsAre("bytes", "sum"));
  EXPECT_THAT(entries["tool.exe"]["changed"], ElementsAre("sum", "version"));
  EXPECT_THAT(entries["locked.mbn"]["changed"], ElementsAre("attributes"));
  EXPECT_THAT(entries["touched.mbn"]["changed"], ElementsAre("written"));
  EXPECT_EQ(entries["touched.mbn"]["before"]["written"], "2023-11-14 22:13:20");
  EXPECT_EQ(document["left_behind"], json({"C:\\windows\\system32\\gone.mbn"}));
  EXPECT_EQ(document["a"]["verdict"], "deploys");

  ProgramResult const told = Run({"diff", "OLD.bin", "NEW.bin"});
  EXPECT_THAT(told.out, HasSubstr("added    C:\\windows\\system32\\added.mbn: 18 bytes\n"));
  EXPECT_THAT(told.out, HasSubstr("version 1.0.25.0 -> 1.0.26.0\n"));
  EXPECT_THAT(told.out, HasSubstr("attributes A -> RA\n"));
  EXPECT_THAT(told.out, HasSubstr("Left        C:\\windows\\system32\\gone.mbn stays on a tablet"));
}

TEST_F(PackageTest, ADamagedReleaseIsComparedWithItsVerdict) {
  PutImages("f");
  Pack("f", "good.bin");
  std::string bytes = Read("good.bin");
  bytes.resize(bytes.size() - 20);
  Write("short.bin", bytes);
  json const document = RunJson({"diff", "good.bin", "short.bin"}, 5);
  EXPECT_EQ(document["b"]["verdict"], "not found");
  EXPECT_EQ(document["left_behind"].size(), 2u);
  Make("wifi-only");
  EXPECT_EQ(Run({"diff", "good.bin", "wifi-only"}).exit_code, 2);
  EXPECT_THAT(Run({"diff", "good.bin", "nowhere.bin"}).err, HasSubstr("nowhere.bin: there is no such file"));
}

}  // namespace
