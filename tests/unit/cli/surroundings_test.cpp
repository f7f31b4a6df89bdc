// Bad surroundings: the run goes on or is refused, and says why; the given tablet stays as it was.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <fstream>

#include "cli/samples/sample_archive.h"
#include "tests/testing/places.h"
#include "tests/unit/cli/program.h"

namespace {

using testing::EndsWith;

constexpr const char* kImage = "C:\\Windows\\System32\\qcdsp2850.mbn";

class BadSurroundingsTest : public testing_support::ProgramTest {
 protected:
  /// What the run's document says of one file, null when nothing.
  static json Change(const json& document, const std::string& path) {
    for (const json& file : document["changes"]["files"]) {
      if (file["path"] == path) return file;
    }
    return nullptr;
  }
  /// Starts the program with its standard input at a pipe of ours, and waits until it has said `what`.
  void Begin(const std::vector<std::string>& arguments, const std::string& what) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    ASSERT_EQ(::pipe(in.data()), 0);
    ASSERT_EQ(::pipe(out.data()), 0);
    child_ = ::fork();
    if (child_ == 0) {
      ::dup2(in[0], STDIN_FILENO);
      ::dup2(out[1], STDOUT_FILENO);
      ::dup2(out[1], STDERR_FILENO);
      for (int const end : {in[0], in[1], out[0], out[1]}) ::close(end);
      Become(testing_support::TabletProgram(), Joined({"vantord-tablet"}, arguments));
    }
    ::close(in[0]);
    ::close(out[1]);
    input_ = in[1];
    output_ = out[0];
    while (said_.find(what) == std::string::npos) ASSERT_TRUE(Hear()) << said_;
  }
  bool Hear() {
    std::array<char, 512> buffer{};
    ssize_t const count = ::read(output_, buffer.data(), buffer.size());
    if (count > 0) said_.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0;
  }
  int End() {
    ::close(input_);
    while (Hear()) {
    }
    ::close(output_);
    int status = 0;
    ::waitpid(child_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  pid_t child_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string said_;
};

TEST_F(BadSurroundingsTest, ADiskThatFillsInTheMiddleOfAnExtractionFailsTheDeployment) {
  Make("fresh");
  Set("fresh", "/drive/free_bytes", 60'000);
  json const document = RunJson({"run", "fresh"});
  EXPECT_FALSE(document["deployed"]);
  EXPECT_THAT(document["reason"].get<std::string>(),
              HasSubstr("entries of c:\\windows\\system32\\modem_core\\VZW.bin failed"));
  EXPECT_FALSE(Change(document, "C:\\Windows\\System32\\qcdsp1v2850.mbn").is_null());
  EXPECT_LE(document["changes"]["bytes_written"].get<int>(), 60'000);
  EXPECT_TRUE(document["changes"]["registry"].empty()) << "the driver keeps its old firmware";
}

TEST_F(BadSurroundingsTest, RoomThatSufficesToTheByteSuffices) {
  Make("fresh");
  std::uint64_t const needed = RunJson({"run", "fresh"})["changes"]["bytes_written"];
  Set("fresh", "/drive/free_bytes", needed);
  EXPECT_TRUE(RunJson({"run", "fresh"})["deployed"]);
  Set("fresh", "/drive/free_bytes", needed - 1);
  EXPECT_FALSE(RunJson({"run", "fresh"})["deployed"]);
}

TEST_F(BadSurroundingsTest, WhatIsReplacedMakesRoom) {
  Make("redistribute");
  Set("redistribute", "/drive/free_bytes", 6144 + 700 + 700);  // the toast's files alone are new
  EXPECT_TRUE(RunJson({"run", "redistribute"})["deployed"]);
}

TEST_F(BadSurroundingsTest, ATargetThatIsAFolderFailsAndStays) {
  Make("fresh");
  std::filesystem::create_directory(In("fresh/C/Windows/System32/qcdsp2850.mbn"));
  json const document = RunJson({"run", "fresh"});
  EXPECT_FALSE(document["deployed"]);
  EXPECT_THAT(document["reason"].get<std::string>(), HasSubstr("qcdsp2850.mbn"));
  EXPECT_FALSE(Change(document, "C:\\Windows\\System32\\modem_fw\\release.txt").is_null())
      << "the others are extracted";
}

TEST_F(BadSurroundingsTest, ALockedTargetFailsAndKeepsItsContent) {
  Make("read-only-leftovers");
  Set("read-only-leftovers", "/drive/locked", json::array({kImage}));
  json const document = RunJson({"run", "read-only-leftovers"});
  EXPECT_FALSE(document["deployed"]);
  EXPECT_THAT(document["reason"].get<std::string>(), HasSubstr("qcdsp2850.mbn"));
  json const file = Change(document, kImage);
  EXPECT_TRUE(file.is_null() || !file["written"].get<bool>()) << file;
  EXPECT_TRUE(Change(document, "C:\\Windows\\System32\\qcdsp1v2850.mbn")["written"]);
}

TEST_F(BadSurroundingsTest, ALockedFileThatIsNotThereIsRefusedWithItsLine) {
  Make("fresh");
  Set("fresh", "/drive/locked", json::array({"C:\\no such file"}));
  ProgramResult const result = Run({"run", "fresh"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.err, HasSubstr("drive.locked: C:\\no such file is no file of drive C:"));
  EXPECT_FALSE(LeftSomething());
}

TEST_F(BadSurroundingsTest, AMissingPrivilegeIsNotAllAssigned) {
  constexpr int kNotAllAssigned = 1300;
  Make("fresh");
  auto const answers = [this] {
    std::vector<int> errors;
    RunJson({"run", "fresh", "--events", "e.jsonl", "--calls", "--force"});
    for (const json& event : Events("e.jsonl")) {
      if (event.value("name", "") == "AdjustTokenPrivileges") errors.push_back(event["last_error"]);
    }
    return errors;
  };
  EXPECT_THAT(answers(), testing::AllOf(testing::SizeIs(testing::Gt(0u)), testing::Each(0)));
  Set("fresh", "/privileges/missing", json::array({"SeSystemEnvironmentPrivilege"}));
  EXPECT_THAT(answers(), testing::AllOf(testing::SizeIs(testing::Gt(0u)), testing::Each(kNotAllAssigned)));
}

TEST_F(BadSurroundingsTest, ValuesOfAnotherTypeAreReadAsWhatTheyAre) {
  Make("fresh");
  // A number where the map should have a name, and bytes where the driver's image should stand.
  PutRegistry("fresh",
              "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\CSC]\n"
              "\"VZW\"=dword:00420041\n"
              "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters]\n"
              "\"Distribute\"=\"1\"\n");
  json const document = RunJson({"run", "fresh"});
  EXPECT_EQ(document["end"], "stopped");
  EXPECT_FALSE(document["deployed"]);
  EXPECT_THAT(document["archive"]["path"].get<std::string>(), EndsWith("\\AB"));
}

TEST_F(BadSurroundingsTest, NamesThatDifferOnlyInCaseAreRefusedAndBothNamed) {
  Make("fresh");
  Write("fresh/C/Windows/System32/vantord.EXE", "another");
  auto const before = Contents("fresh");
  ProgramResult const result = Run({"run", "fresh", "--in-place"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.err, testing::StartsWith("vantord-tablet: fresh/C/Windows/System32/"));
  EXPECT_THAT(result.err, HasSubstr("vantord.EXE"));
  EXPECT_THAT(result.err, HasSubstr("Vantord.exe"));
  EXPECT_EQ(Contents("fresh"), before);
}

TEST_F(BadSurroundingsTest, ATabletThatChangesUnderTheRunIsNotOverwritten) {
  for (const char* const changed : {"C/Windows/new.txt", "registry/50-new.reg", "tablet.json", "efi/X"}) {
    std::filesystem::remove_all(In("already-deployed"));
    Make("already-deployed");
    said_.clear();
    Begin({"run", "already-deployed", "--in-place", "--realtime"}, "Vantor");
    std::ofstream(In(std::string("already-deployed/") + changed), std::ios::app) << "\n";
    auto const before = Contents("already-deployed");
    EXPECT_EQ(End(), 3) << changed;
    EXPECT_THAT(said_, HasSubstr(std::string("already-deployed/") + changed + ": has changed while the run was on"));
    auto after = Contents("already-deployed");
    // The run's own folder may have been seen before it went.
    EXPECT_THAT(after, testing::SizeIs(testing::Le(before.size())));
    for (auto const& [path, content] : after) EXPECT_EQ(before.at(path), content) << path;
    EXPECT_TRUE(after.contains(std::string("already-deployed/") + changed));
  }
}

TEST_F(BadSurroundingsTest, ARunThatKeepsNothingDoesNotMindChanges) {
  Make("already-deployed");
  Begin({"run", "already-deployed", "--realtime"}, "Vantor");
  std::filesystem::remove_all(In("already-deployed"));
  EXPECT_EQ(End(), 0) << said_;
  EXPECT_THAT(said_, HasSubstr("the service stopped as it was told"));
}

TEST_F(BadSurroundingsTest, ATabletIsNotSavedIntoItself) {
  Make("fresh");
  auto const before = Contents("fresh");
  for (const char* const target : {"fresh", "fresh/", "./fresh", "fresh/C/../kept", "fresh/kept"}) {
    ProgramResult const result = Run({"run", "fresh", "--save", target});
    EXPECT_EQ(result.exit_code, 3) << target;
    EXPECT_THAT(result.err, HasSubstr("lies in the tablet itself; name a folder elsewhere")) << target;
  }
  std::filesystem::create_directory_symlink("fresh", In("link"));
  EXPECT_EQ(Run({"run", "fresh", "--save", "link/kept"}).exit_code, 3);
  EXPECT_EQ(Contents("fresh"), before);
}

TEST_F(BadSurroundingsTest, ATabletMayLieDeeperThan260Characters) {
  std::string deep;
  for (int i = 0; i < 30; ++i) deep += "a-long-name/";
  std::filesystem::create_directories(In(deep));
  ASSERT_EQ(Run({"init", deep + "fresh", "--small"}).exit_code, 0);
  EXPECT_TRUE(RunJson({"run", deep + "fresh"})["deployed"]);
}

TEST_F(BadSurroundingsTest, AnEntryWithAPathOfMoreThan260CharactersGoesUnderTheFirst259) {
  Make("fresh");
  std::string long_name = "modem_fw/";
  while (long_name.size() < 300) long_name += "name";
  std::vector<std::uint8_t> const archive = cli::MakeArchive(std::vector<cli::ArchiveEntry>{
      {.name = "before.bin", .size = 100}, {.name = long_name, .size = 100}, {.name = "behind.bin", .size = 100}});
  Write("fresh/C/Windows/System32/modem_core/VZW.bin", archive);
  json const document = RunJson({"run", "fresh"});
  EXPECT_TRUE(document["deployed"]);
  std::string path = "C:\\Windows\\System32\\" + long_name;
  std::ranges::replace(path, '/', '\\');
  EXPECT_FALSE(Change(document, path.substr(0, 259)).is_null()) << document["changes"]["files"];
  EXPECT_FALSE(Change(document, "C:\\Windows\\System32\\before.bin").is_null());
  EXPECT_FALSE(Change(document, "C:\\Windows\\System32\\behind.bin").is_null());
}

TEST_F(BadSurroundingsTest, AnInterruptInTheMiddleLeavesTheTabletAsItWas) {
  Make("late-modem");
  auto const before = Contents("late-modem");
  for (const char* const keep : {"--in-place", "--save=kept"}) {
    said_.clear();
    Begin({"run", "late-modem", keep, "--realtime"}, "Failed to open");
    ::kill(child_, SIGINT);
    EXPECT_EQ(End(), 130);
    EXPECT_EQ(Contents("late-modem"), before);
    EXPECT_FALSE(std::filesystem::exists(In("kept")));
    EXPECT_FALSE(LeftSomething());
  }
  for (const auto& entry : std::filesystem::directory_iterator(scratch())) {
    EXPECT_THAT(entry.path().string(), testing::Not(HasSubstr(".making-")));
  }
}

}  // namespace
