#include "cli/story/story_file.h"

#include <cstdlib>

#include "cli/output/story_teller.h"
#include "tests/unit/cli/program.h"

namespace {

constexpr const char* kPreface = "# One.\n# Two.\n# Three.\n";

class StoryTest : public ProgramTest {
 protected:
  ProgramResult Play(const std::string& verbs, const std::vector<std::string>& more = {}) {
    Write("it.story", kPreface + verbs);
    return Run(Joined({"story", "it.story"}, more));
  }
  /// What is recorded for the verbs.
  std::string Record(const std::string& verbs) {
    ProgramResult const result = Play(verbs, {"--rewrite"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    return Read("it.story").substr(std::string(kPreface).size());
  }
};

TEST_F(StoryTest, WhatIsRecordedIsToldAgain) {
  std::string const recorded = Record("tablet wifi-only\nboot\n");
  EXPECT_THAT(recorded, HasSubstr("     20.000  status    STOPPED\n"));
  EXPECT_THAT(recorded, HasSubstr("changes   none\n"));
  EXPECT_EQ(Run({"story", "it.story"}).exit_code, 0);
}

TEST_F(StoryTest, AnotherEndingIsToldWithItsPlace) {
  std::string recorded = Record("tablet wifi-only\nboot quietly\n");
  std::size_t const at = recorded.find("STOPPED");
  recorded.replace(at, 7, "PAUSED");
  ProgramResult const result = Play(recorded);
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_THAT(result.out, HasSubstr("it.story:9, under \"boot quietly\":"));
  EXPECT_THAT(result.out, HasSubstr("recorded     20.000  status    PAUSED"));
  EXPECT_THAT(result.out, HasSubstr("now          20.000  status    STOPPED"));
  Write("it.story", kPreface + recorded);
  EXPECT_EQ(RunJson({"story", "it.story"}, 5)["stories"][0]["differences"][0]["line"], 9);
}

TEST_F(StoryTest, AReportForBuildServersHasACaseForEachStory) {
  std::string recorded = Record("tablet wifi-only\nboot quietly\n");
  Write("good & fine.story", kPreface + recorded);
  recorded.replace(recorded.find("STOPPED"), 7, "<odd> & \x02");
  Write("it.story", kPreface + recorded);
  EXPECT_EQ(Run({"story", "good & fine.story", "it.story", "--junit", "report.xml"}).exit_code, 5);
  std::string const report = Read("report.xml");
  EXPECT_THAT(report, HasSubstr("<testsuite name=\"stories\" tests=\"2\" failures=\"1\" errors=\"0\">"));
  EXPECT_THAT(report, HasSubstr("<testcase classname=\"stories\" name=\"good &amp; fine\""));
  EXPECT_THAT(report, HasSubstr("it.story:9, under &quot;boot quietly&quot;:"));
  EXPECT_THAT(report, HasSubstr("&lt;odd&gt; &amp; \xEF\xBF\xBD"));
  std::string const parse = "import sys, xml.etree.ElementTree as tree; tree.parse(sys.argv[1])";
  EXPECT_EQ(std::system(("python3 -c '" + parse + "' " + In("report.xml").string()).c_str()), 0) << report;
  EXPECT_EQ(Run({"story", "good & fine.story", "--junit", "no/such/folder.xml"}).exit_code, 3);
}

TEST_F(StoryTest, AMalformedStoryIsOneErrorAndTheOthersArePlayed) {
  std::string const recorded = Record("tablet wifi-only\nboot quietly\n");
  Write("broken.story", std::string(kPreface) + "tablet wifi-only\nbot <now>\n");
  ProgramResult const result = Run({"story", "broken.story", "none.story", "it.story", "--junit", "report.xml"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.err, HasSubstr("broken.story:5:1: bot: unknown verb"));
  EXPECT_THAT(result.out, HasSubstr("matches   it.story"));
  EXPECT_THAT(result.out, HasSubstr("3 stories, 1 matches"));
  std::string const report = Read("report.xml");
  EXPECT_THAT(report, HasSubstr("tests=\"3\" failures=\"0\" errors=\"2\">"));
  EXPECT_THAT(report,
              HasSubstr("<error message=\"broken.story:5:1: bot: unknown verb; did you mean &quot;boot&quot;?"));
  EXPECT_THAT(report, HasSubstr("name=\"it\" file=\"it.story\"/>"));
  auto const document = RunJson({"story", "broken.story", "it.story"}, 3);
  EXPECT_EQ(document["stories"][0]["error"]["problem"], "unknown verb");
  EXPECT_EQ(document["stories"][1]["as_told"], true);
}

TEST_F(StoryTest, TheReportNeverTakesThePlaceOfAStory) {
  std::string const recorded = Record("tablet wifi-only\nboot quietly\n");
  std::string const before = Read("it.story");
  EXPECT_EQ(Run({"story", "it.story", "--junit", "it.story", "--force"}).exit_code, 3);
  EXPECT_EQ(Read("it.story"), before);
  Write("kept.txt", "mine");
  EXPECT_EQ(Run({"story", "it.story", "--junit", "kept.txt"}).exit_code, 3);
  EXPECT_EQ(Read("kept.txt"), "mine");
  EXPECT_EQ(Run({"story", "it.story", "--junit", "kept.txt", "--force"}).exit_code, 0);
  EXPECT_THAT(Read("kept.txt"), HasSubstr("<testsuites>"));
}

TEST_F(StoryTest, VerbsChangeTheTabletBetweenRuns) {
  std::string const recorded = Record(
      "tablet fresh\n"
      "firmware SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83 KOR\n"
      "boot quietly\n"
      "stop\n"
      "registry [HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters] \"Distribute\"=dword:00000001\n"
      "file C:\\Windows\\System32\\modem_core\\KOR.bin -\n"
      "set modem.present false\n"
      "boot quietly\n"
      "show registry HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\n"
      "show file C:\\Windows\\System32\\modem_core\\KOR.bin\n"
      "show firmware\n");
  EXPECT_THAT(recorded, HasSubstr("C:\\Windows\\System32\\modem_fw\\KOR.txt"));
  EXPECT_THAT(recorded, HasSubstr("\"Distribute\"=dword:00000001"));
  EXPECT_THAT(recorded, HasSubstr("KOR.bin is not there"));
  EXPECT_THAT(recorded, HasSubstr("SALES_CODE = \"KOR\""));
  EXPECT_THAT(recorded, HasSubstr("20.000  status    STOPPED"));
}

TEST_F(StoryTest, MachineEventsAreVerbs) {
  std::string const recorded = Record(
      "tablet already-deployed\n"
      "boot\n"
      "display off\n"
      "arrival \\\\?\\USB#1\n"
      "removal \\\\?\\QCMS#1 {d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}\n"
      "control 131\n"
      "power 10\n"
      "suspend\n"
      "resume\n"
      "interrogate\n"
      "show radio\n");
  EXPECT_THAT(recorded, HasSubstr("Power Data=0x0"));
  EXPECT_THAT(recorded, HasSubstr("DBT_DEVICEARRIVAL, (\\\\?\\USB#1)"));
  EXPECT_THAT(recorded, ::testing::Not(HasSubstr("DBT_DEVICEREMOVECOMPLETE"))) << "of a class without a registration";
  EXPECT_THAT(recorded, HasSubstr("SERVICE_CONTROL_MODEM_OFF"));
  EXPECT_THAT(recorded, HasSubstr("power event 0xa sent"));
  EXPECT_THAT(recorded, HasSubstr("partner service receives control 134"));
  EXPECT_THAT(recorded, HasSubstr("PBT_APMRESUMEAUTOMATIC"));
  EXPECT_THAT(recorded, HasSubstr("interrogate control sent"));
  EXPECT_THAT(recorded, HasSubstr("connections tried 0, commands 0, releases 0"));
}

TEST_F(StoryTest, FaultsHoldForOneRun) {
  std::string const recorded = Record(
      "tablet already-deployed\n"
      "fault QueueUserWorkItem:8\n"
      "fault StartTraceW\n"
      "boot quietly\n"
      "boot quietly\n"
      "fault CreateEventW@1\n"
      "boot quietly\n");
  EXPECT_THAT(recorded, HasSubstr("STOPPED, exit code 8"));
  EXPECT_THAT(recorded, HasSubstr("fault     of StartTraceW never came"));
  EXPECT_THAT(recorded, HasSubstr("RUNNING"));
  EXPECT_THAT(recorded, HasSubstr("Windows error code 8"));
}

TEST_F(StoryTest, WhatIsNoStoryIsRefusedWithItsLine) {
  EXPECT_THAT(Play("tablet fresh\nbot\n").err, HasSubstr("it.story:5:1: bot: unknown verb; did you mean \"boot\"?"));
  EXPECT_THAT(Play("boot\n").err, HasSubstr("it.story:4: the first verb must be \"tablet\" or \"bundle\""));
  EXPECT_THAT(Play("  a record\n").err, HasSubstr("it.story:4: a record without a verb"));
  EXPECT_THAT(Play("tablet fersh\n").err, HasSubstr("unknown sample \"fersh\""));
  EXPECT_THAT(Play("tablet fresh\nstop\n").err, HasSubstr("it.story:5:1: stop: no service runs"));
  EXPECT_THAT(Play("tablet fresh\nset modem.presnet true\n").err,
              HasSubstr("it.story:5:5: modem.presnet: unknown key"));
  EXPECT_THAT(Play("tablet fresh\nboot quietly\ncontrol 12\n").err, HasSubstr("give a number from 128 to 255"));
  EXPECT_THAT(Play("tablet fresh\nboot quietly\nstop now\n").err,
              HasSubstr("it.story:6:6: stop: \"now\" is nothing for it"));
  EXPECT_THAT(Play("tablet fresh\nboot quietly\narrival a usb\n").err, HasSubstr("\"usb\" is no GUID"));
  EXPECT_THAT(Play("tablet fresh\nfault CreateFile@x\n").err,
              HasSubstr("it.story:5:7: fault: there is no call \"CreateFile\""));
  EXPECT_THAT(Play("tablet fresh\nboot\nwait soon\n").err, HasSubstr("it.story:6:6: wait: \"soon\" is no time"));
  Write("it.story", "no preface\n\n\ntablet fresh\n");
  EXPECT_THAT(Run({"story", "it.story"}).err, HasSubstr("it.story:1: a story begins with three lines"));
  EXPECT_EQ(Run({"story", "none.story"}).exit_code, 3);
}

TEST_F(StoryTest, AStoryHasFewerThanAHundredAndTwentyLines) {
  std::string const verbs = "tablet wifi-only\n";
  EXPECT_EQ(Play(verbs + std::string(115, '\n')).exit_code, 0);
  EXPECT_THAT(Play(verbs + std::string(116, '\n')).err, HasSubstr("a story has fewer than 120 lines"));
}

TEST_F(StoryTest, ReadingAndWritingKeepsEveryLine) {
  std::string const text = std::string(kPreface) + "\n# why\ntablet fresh\n  a record\n\nboot\n    indented further\n";
  Write("it.story", text);
  cli::Story const story = cli::ReadStory(In("it.story"));
  EXPECT_EQ(cli::ToText(story), text);
  EXPECT_THAT(story.verbs[1].recorded, ElementsAre("  indented further"));
}

TEST(StoryTeller, CountsMessagesThatComeInTurns) {
  std::vector<std::string> told;
  cli::StoryTeller teller([&](const cli::StoryLine& line) { told.push_back(line.text); },
                          cli::StoryTeller::Detail::kRecord);
  auto const say = [&](int seconds, const std::string& text) {
    tablet::TraceEvent message;
    message.text = "F:1 : " + text;
    message.function = "F";
    message.line = 1;
    teller.Tell({.seq = 1, .time = tablet::Millis(1000 * seconds), .thread = "t", .what = message});
  };
  say(1, "a");
  say(1, "b");
  say(2, "a");
  say(2, "b");
  say(3, "c");
  say(4, "c");
  teller.Flush();
  EXPECT_THAT(told, ElementsAre("a", "b", "... and 2 more like these, the last at 2.000 s", "c",
                                "... and 1 more like it, the last at 4.000 s"));
}

TEST(StoryTeller, ShowsControlCharactersOfMessages) {
  std::vector<std::string> told;
  cli::StoryTeller teller([&](const cli::StoryLine& line) { told.push_back(line.text); },
                          cli::StoryTeller::Detail::kRecord);
  tablet::TraceEvent message;
  message.text = "F:1 : one\x1b[2Jtwo\n";
  message.function = "F";
  message.line = 1;
  teller.Tell({.seq = 1, .time = tablet::Millis(0), .thread = "t", .what = message});
  EXPECT_THAT(told, ElementsAre("one\\x1b[2Jtwo"));
}

}  // namespace
