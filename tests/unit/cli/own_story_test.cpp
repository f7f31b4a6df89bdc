// Stories of one's own tablet: expectations in place of a transcript, a matrix, and a first story from a run.
#include "tests/unit/cli/program.h"

namespace {

constexpr const char* kPreface = "# One.\n# Two.\n# Three.\n";
constexpr const char* kParameters = "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters]";
constexpr const char* kFirmware = "C:\\Windows\\System32\\qcdsp1v2850.mbn";

class OwnStoryTest : public testing_support::ProgramTest {
 protected:
  ProgramResult Play(const std::string& verbs, const std::vector<std::string>& more = {}) {
    Write("own.story", kPreface + verbs);
    return Run(Joined({"story", "own.story"}, more));
  }
};

TEST_F(OwnStoryTest, ATabletOfTheUsersIsPlayedAndLeftAsItWas) {
  Make("fresh");
  fs::rename(In("fresh"), In("mine"));
  auto const before = Contents("mine");
  std::string const story = std::string("tablet mine\nboot quietly\n") +                 //
                            "expect firmware VZW.bin deployed\n" +                       //
                            "expect message \"VantorService OnStart\"\n" +               //
                            "expect no message \"no such words\"\n" +                    //
                            "expect no message in zone error\n" +                        //
                            "expect status RUNNING\n" +                                  //
                            "expect no registry " + kParameters + " \"Distribute\"\n" +  //
                            "expect file " + kFirmware + " from qcdsp1v2850.mbn\n" +     //
                            "expect no file C:\\Windows\\System32\\nothing.mbn\n" +      //
                            "stop\nexpect stopped within 10 s\nexpect status STOPPED\n";
  ProgramResult const result = Play(story);
  EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
  EXPECT_EQ(Contents("mine"), before);
  EXPECT_FALSE(LeftSomething());
  fs::create_directory(In("sub"));
  Write("sub/own.story", kPreface + std::string("tablet ../mine\nboot quietly\nexpect firmware vzw.bin deployed\n"));
  EXPECT_EQ(Run({"story", "sub/own.story"}).exit_code, 0) << "paths are relative to the story";
}

TEST_F(OwnStoryTest, EachExpectationThatDoesNotHoldIsNamedWithWhatWasFound) {
  std::string const registry = std::string("expect registry ") + kParameters;
  std::vector<std::pair<std::string, std::string>> const unmet{
      {"expect firmware KOR.bin deployed", "VZW.bin deployed: "},
      {"expect firmware VZW.bin failed", "VZW.bin deployed: "},
      {"expect firmware not needed", "VZW.bin deployed: "},
      {"expect message \"no such words\"", "none of "},
      {"expect no message \"OnStart\"", "message"},
      {"expect message in zone error", "none of "},
      {"expect status STOPPED", "RUNNING"},
      {"expect stopped within 10 s", "its status is RUNNING"},
      {registry + " \"Distribute\"", "it is not set"},
      {registry + " \"Distribute\"=dword:00000001", "it is not set"},
      {std::string("expect no registry ") + kParameters + "\\CSC] \"VZW\"", "\"VZW.bin\""},
      {std::string("expect file ") + kFirmware + " from qcdsp2850.mbn", "its bytes are others"},
      {std::string("expect file ") + kFirmware + " from none.mbn", "no archive that the service opened has this entry"},
      {std::string("expect no file ") + kFirmware, "it is there"},
      {"expect file C:\\Windows\\nothing", "it does not exist"}};
  std::string story = "tablet fresh\nboot quietly\n";
  for (auto const& [verb, found] : unmet) {
    std::string text = verb;
    if (std::size_t const at = text.find("]\\CSC]"); at != std::string::npos) text.erase(at, 1);
    story += text + "\n";
  }
  Write("own.story", kPreface + story);
  json const differences = RunJson({"story", "own.story"}, 5)["stories"][0]["differences"];
  ASSERT_EQ(differences.size(), unmet.size()) << differences.dump(1);
  for (std::size_t i = 0; i < unmet.size(); ++i) {
    EXPECT_EQ(differences[i]["line"], 6 + i);
    EXPECT_THAT(differences[i]["now"].get<std::string>(), HasSubstr(unmet[i].second)) << unmet[i].first;
  }
  ProgramResult const told = Run({"story", "own.story"});
  EXPECT_THAT(told.out,
              HasSubstr("  own.story:6:1: expect firmware KOR.bin deployed\n    found     VZW.bin deployed: "));
  EXPECT_THAT(told.out, Not(HasSubstr("--rewrite")));
}

TEST_F(OwnStoryTest, AFailedDeploymentCanBeExpected) {
  EXPECT_EQ(Play("tablet corrupt-archive\nboot quietly\nexpect firmware VZW.bin failed\nexpect message in zone error\n")
                .exit_code,
            0);
}

TEST_F(OwnStoryTest, AMatrixPlaysOneStoryOverSeveralCodes) {
  std::string const story =
      "tablet fresh\nmatrix code VZW KOR\nboot quietly\nexpect firmware $code.bin deployed\n"
      "expect no file C:\\Windows\\System32\\modem_fw\\KOR.txt\n";
  ProgramResult const result = Play(story, {"--junit", "report.xml"});
  EXPECT_EQ(result.exit_code, 5) << result.err;
  EXPECT_THAT(result.out, HasSubstr("own.story:8:1, with code KOR: expect no file"));
  EXPECT_THAT(result.out, Not(HasSubstr("with code VZW")));
  EXPECT_THAT(Read("report.xml"), AllOf(HasSubstr("tests=\"2\" failures=\"1\""), HasSubstr("name=\"own [code VZW]\""),
                                        HasSubstr("name=\"own [code KOR]\"")));
  json const difference = RunJson({"story", "own.story"}, 5)["stories"][0]["differences"][0];
  EXPECT_EQ(difference["variation"], "code KOR");
  EXPECT_EQ(Play("tablet fresh\nmatrix code none\nboot quietly\nexpect firmware VZW.bin deployed\n").exit_code, 0);
}

TEST_F(OwnStoryTest, ABundleIsATabletToo) {
  Make("fresh");
  ASSERT_EQ(Run({"collect", "fresh", "-o", "run.zip"}).exit_code, 0);
  EXPECT_EQ(Play("bundle run.zip\nboot quietly\nexpect firmware VZW.bin deployed\n").exit_code, 0);
  EXPECT_FALSE(LeftSomething());
  Write("text.zip", "no bundle");
  EXPECT_EQ(Play("bundle text.zip\nboot\n").exit_code, 3);
}

TEST_F(OwnStoryTest, ErrorsNameLineAndColumn) {
  auto const error = [&](const std::string& verbs) { return Play("tablet wifi-only\n" + verbs).err; };
  EXPECT_THAT(error("boot\nexpect frimware VZW.bin deployed\n"),
              HasSubstr("own.story:6:8: expect: \"frimware\" cannot be expected; did you mean \"firmware\"?"));
  EXPECT_THAT(error("boot\nexpect firmware VZW.bin\n"), HasSubstr("own.story:6:17: expect: "));
  EXPECT_THAT(error("boot\nexpect stopped within ten s\n"), HasSubstr("own.story:6:16: expect: "));
  EXPECT_THAT(error("boot\nexpect no status RUNNING\n"), HasSubstr("\"no\" is for messages"));
  EXPECT_THAT(error("boot\nexpect registry HKLM \"x\"\n"), HasSubstr("write: expect registry [HKEY_LOCAL_MACHINE"));
  EXPECT_THAT(error("boot\nexpect registry [HKEY_LOCAL_MACHINE\\A] \"x\"=dowrd:1\n"),
              HasSubstr("own.story:6:8: expect: "));
  EXPECT_THAT(error("expect status RUNNING\nboot\n"), HasSubstr("own.story:5:1: expect: the tablet is off"));
  EXPECT_THAT(error("matrix color red\nboot\n"), HasSubstr("own.story:5:8: matrix: \"color red\" is not a matrix"));
  EXPECT_THAT(error("boot\nmatrix code VZW\n"), HasSubstr("own.story:6:1: matrix: the tablet is on"));
  Make("fresh");
  fs::rename(In("fresh"), In("mine"));
  Write("mine/tablet.json", "{ \"schema\": 1, \"nmae\": \"x\" }\n");
  EXPECT_THAT(Play("tablet mine\nboot\n").err, testing::StartsWith("vantord-tablet: mine/tablet.json:1"));
}

TEST_F(OwnStoryTest, AFirstStoryIsWrittenFromARunAndHolds) {
  Make("fresh");
  fs::rename(In("fresh"), In("mine"));
  fs::create_directory(In("stories"));
  ProgramResult const made = Run({"story", "--new", "mine", "stories/first.story"});
  EXPECT_EQ(made.exit_code, 0) << made.err;
  std::string const text = Read("stories/first.story");
  EXPECT_THAT(text,
              AllOf(HasSubstr("\ntablet ../mine\nboot quietly\n"), HasSubstr("\nexpect firmware VZW.bin deployed\n"),
                    HasSubstr("\nstop\nexpect stopped within "), Not(HasSubstr("KOR.bin")), Not(HasSubstr("failed"))));
  EXPECT_EQ(Run({"story", "stories/first.story"}).exit_code, 0);
  EXPECT_EQ(Run({"story", "--new", "mine", "stories/first.story"}).exit_code, 3) << "nothing is overwritten";
  EXPECT_EQ(Read("stories/first.story"), text);
  EXPECT_THAT(Run({"story", "--new", "mine"}).out, HasSubstr("\ntablet mine\n"));
  EXPECT_EQ(Run({"story"}).exit_code, 2);
  Make("wifi-only");
  EXPECT_THAT(Run({"story", "--new", "wifi-only"}).out,
              AllOf(HasSubstr("expect firmware not needed\n"), HasSubstr("expect status STOPPED\n")));
  EXPECT_FALSE(LeftSomething());
}

}  // namespace
