#include <unistd.h>

#include <algorithm>

#include "tests/unit/cli/program.h"

namespace {

constexpr const char* kArchive = "fresh/C/Windows/System32/modem_core/VZW.bin";

class RunTest : public ProgramTest {
 protected:
  /// Overwrites one byte of the `nth` record with that signature in the sample's archive.
  void Damage(const std::string& signature, int nth) const {
    std::string bytes = Read(kArchive);
    std::size_t at = 0;
    for (int i = 0; i < nth; ++i) at = bytes.find(signature, at + 1);
    ASSERT_NE(at, std::string::npos);
    bytes[at] = 0;
    Write(kArchive, bytes);
  }
};

std::vector<std::string> States(const json& document) {
  std::vector<std::string> states;
  for (const json& status : document["status"]) states.push_back(status["state"]);
  return states;
}

TEST_F(RunTest, AFreshTabletGetsTheArchiveOfItsSalesCode) {
  json const document = RunJson({"run", Make("fresh")});
  EXPECT_EQ(document["deployed"], true);
  EXPECT_EQ(document["archive"]["path"], "c:\\windows\\system32\\modem_core\\VZW.bin");
  EXPECT_THAT(document["archive"]["why"].get<std::string>(), HasSubstr("Parameters\\CSC maps VZW to VZW.bin"));
  EXPECT_EQ(document["archive"]["failures"], json::array());
  EXPECT_THAT(States(document), ElementsAre("START_PENDING", "RUNNING", "STOP_PENDING", "STOPPED"));
  EXPECT_EQ(document["end"], "stopped");
  std::string const changes = document["changes"].dump();
  EXPECT_THAT(changes, HasSubstr("qcdsp1v2850.mbn"));
  EXPECT_THAT(changes, HasSubstr("AmssSwImagePath"));
}

TEST_F(RunTest, CallsHaveOneNumbering) {
  Make("fresh");
  RunJson({"run", "fresh", "--events", "e.jsonl", "--calls"});
  std::uint64_t nth = 0;
  std::uint64_t number = 0;
  std::uint64_t last = 0;
  for (const json& event : Events("e.jsonl")) {
    if (event["kind"] == "call" && event["name"] != "_vsnwprintf") {
      EXPECT_GT(event["call"], 0);
      if (event["name"] == "WriteFile" && ++nth == 5) number = event["call"];
    }
    last = std::max(last, event["call"].get<std::uint64_t>());
  }
  ASSERT_GT(number, 0U);
  EXPECT_EQ(last, RunJson({"run", "fresh"})["calls"]);
  json const by_number = RunJson({"run", "fresh", "--cut-at", std::to_string(number), "--save", "a"});
  json const by_name = RunJson({"run", "fresh", "--cut-at", "WriteFile@5", "--save", "b"});
  EXPECT_EQ(by_number["power_cut"]["call"], number);
  EXPECT_EQ(by_name["power_cut"], by_number["power_cut"]);
  EXPECT_EQ(by_name["changes"], by_number["changes"]);
  for (const char* const wrong : {"0", "-3", "WriteFile@0", "WriteFile@", "WritFile@3", "x"}) {
    EXPECT_EQ(Run({"run", "fresh", std::string("--cut-at=") + wrong}).exit_code, 2) << wrong;
  }
  EXPECT_THAT(Run({"run", "fresh", "--cut-at", "WritFile@3"}).err, HasSubstr("did you mean \"WriteFile\"?"));
}

TEST_F(RunTest, AServiceThatPollsForEverEndsAtTheCallLimitWithItsLoop) {
  Make("oobe");
  json const document = RunJson({"run", "oobe", "--fault", "CreateEventW@2:ERROR_NOT_ENOUGH_MEMORY"}, 6);
  EXPECT_EQ(document["end"], "call limit");
  EXPECT_THAT(document["message"].get<std::string>(),
              AllOf(HasSubstr("the service polls for ever"), HasSubstr("WaitForSingleObject(")));
}

TEST_F(RunTest, AChangedFileHasItsAttributesBeforeAndAfter) {
  Make("read-only-leftovers");
  auto const attributes = [&](const std::vector<std::string>& more) {
    std::map<std::string, std::pair<json, json>> found;
    json const document = RunJson(Joined({"run", "read-only-leftovers"}, more));
    for (const json& file : document["changes"]["files"]) {
      std::string const path = file["path"];
      found[path.substr(path.rfind('\\') + 1)] = {file["attributes_before"], file["attributes_after"]};
    }
    return found;
  };
  auto const whole = attributes({});
  EXPECT_EQ(whole.at("VZW.bin"), std::pair(json("A"), json("HA")));
  EXPECT_EQ(whole.at("qcdsp1v2850.mbn"), std::pair(json("RA"), json("A")));
  EXPECT_EQ(whole.at("carrier01.mbn"), std::pair(json(nullptr), json("RA"))) << "it is new";
  auto const cut = attributes({"--cut-at", "WriteFile@2"});
  EXPECT_EQ(cut, whole) << "the same over both runs together";
}

TEST_F(RunTest, AFailedDeploymentLooksFailed) {
  Make("fresh");
  Damage("PK\x03\x04", 2);
  ProgramResult const result = Run({"run", "fresh", "--color", "always"});
  EXPECT_EQ(result.exit_code, 0) << "what a service may do is no failure of the run";
  EXPECT_THAT(result.out, HasSubstr("\x1b[31mthe deployment FAILED: 1 of "));
  EXPECT_THAT(result.out, HasSubstr("Unzipping status "));
  json const document = RunJson({"run", "fresh"});
  EXPECT_EQ(document["deployed"], false);
  EXPECT_EQ(document["deployment"], "failed");
  ASSERT_EQ(document["archive"]["failed_entries"].size(), 1U);
  EXPECT_TRUE(document["archive"]["failed_entries"][0]["code"].is_number());
  EXPECT_EQ(RunJson({"run", Make("already-deployed")})["deployment"], "not needed");
}

TEST_F(RunTest, ADeploymentThatLeadsNowhereIsAWarning) {
  std::string const request =
      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters]\n\"Distribute\"=";
  Make("fresh");
  EXPECT_EQ(RunJson({"run", "fresh"})["warnings"], json::array());
  PutRegistry("fresh", request + "\"1\"\n");
  EXPECT_THAT(RunJson({"run", "fresh"})["warnings"].dump(), HasSubstr("Distribute is no DWORD"));
  PutRegistry(
      "fresh",
      "[-HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e97d-e325-11ce-bfc1-08002be10318}]\n" +
          request + "dword:00000001\n");
  json const document = RunJson({"run", "fresh"});
  EXPECT_EQ(document["deployed"], true);
  EXPECT_THAT(document["warnings"].dump(), HasSubstr("no driver instance was there"));
}

TEST_F(RunTest, TheGivenTabletStaysAsItWas) {
  Make("fresh");
  auto const before = Contents("fresh");
  EXPECT_EQ(Run({"run", "fresh"}).exit_code, 0);
  EXPECT_EQ(Run({"run", "fresh", "--save", "kept"}).exit_code, 0);
  EXPECT_EQ(Contents("fresh"), before);
  EXPECT_FALSE(LeftSomething());
}

TEST_F(RunTest, TheSameRunGivesTheSameBytes) {
  Make("fresh");
  ProgramResult const first = Run({"run", "fresh", "--json", "--seed", "7", "--events", "a.jsonl", "--calls"});
  ProgramResult const second = Run({"run", "fresh", "--json", "--seed", "7", "--events", "b.jsonl", "--calls"});
  EXPECT_EQ(first.exit_code, 0);
  EXPECT_EQ(first.out, second.out);
  EXPECT_EQ(Read("a.jsonl"), Read("b.jsonl"));
  EXPECT_GT(Read("a.jsonl").size(), 1000U);
}

TEST_F(RunTest, WhatWasDeployedAndSavedIsNotDeployedAgain) {
  Make("fresh");
  EXPECT_EQ(RunJson({"run", "fresh", "--save", "kept"})["deployed"], true);
  EXPECT_TRUE(fs::exists(In("kept/C/Windows/System32/qcdsp1v2850.mbn")));
  EXPECT_EQ(Read("kept/registry/10-image.reg"), Read("fresh/registry/10-image.reg"));
  EXPECT_THAT(Read("kept/registry/zz-saved.reg"), HasSubstr("qcdsp1v2850.mbn"));

  json const second = RunJson({"run", "kept", "--in-place"});
  EXPECT_EQ(second["deployed"], false);
  EXPECT_EQ(second["archive"], nullptr);
  EXPECT_THAT(second["reason"].get<std::string>(), HasSubstr("0001\\AmssFwImagePath is \\SystemRoot"));
  EXPECT_THAT(Read("kept/registry/zz-saved.reg"), HasSubstr("\"PELT_KNOW_TO_GO_SSR\"=dword:00000001"));
  EXPECT_THAT(Read("kept/registry/zz-saved.reg"), HasSubstr("qcdsp1v2850.mbn"));
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(In("kept"))) left.push_back(entry.path().filename());
  EXPECT_THAT(left, ::testing::UnorderedElementsAre("C", "efi", "registry", "tablet.json"));
}

TEST_F(RunTest, ATabletWithoutAModemStopsCleanlyAfterTwentySeconds) {
  json const document = RunJson({"run", Make("wifi-only")});
  EXPECT_EQ(document["deployed"], false);
  EXPECT_EQ(document["virtual_ms"], 20000);
  EXPECT_THAT(States(document), ElementsAre("START_PENDING", "STOPPED"));
  EXPECT_EQ(document["status"][1]["exit_code"], 0);
}

TEST_F(RunTest, AFailedDeploymentIsNoFailureOfTheProgram) {
  Make("fresh");
  Damage("PK\x03\x04", 2);
  json const document = RunJson({"run", "fresh"});
  EXPECT_EQ(document["deployed"], false);
  EXPECT_EQ(document["archive"]["failures"].size(), 1U);
  EXPECT_THAT(document["reason"].get<std::string>(), HasSubstr("1 of 8 entries"));

  Write(kArchive, "this is no zip file");
  EXPECT_THAT(RunJson({"run", "fresh"})["reason"].get<std::string>(), HasSubstr("is no archive"));
  fs::remove(In(kArchive));
  EXPECT_THAT(RunJson({"run", "fresh"})["reason"].get<std::string>(),
              HasSubstr("could not be opened: ERROR_FILE_NOT_FOUND (2)"));
}

TEST_F(RunTest, AServiceThatHangsEndsTheRunWithFour) {
  Make("fresh");
  Damage(std::string("PK\x01\x02"), 3);
  auto const before = Contents("fresh");
  json const document = RunJson({"run", "fresh", "--timeout", "0.3", "--save", "kept"}, 4);
  EXPECT_EQ(document["end"], "hung");
  EXPECT_EQ(document["deployed"], false);
  EXPECT_EQ(Contents("fresh"), before);
  EXPECT_FALSE(LeftSomething());
  for (const auto& entry : fs::directory_iterator(scratch())) {
    EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr("kept")));
  }
}

TEST_F(RunTest, UntilEndsTheRunWithSix) {
  json const document = RunJson({"run", Make("wifi-only"), "--until", "5250"}, 6);
  EXPECT_EQ(document["virtual_ms"], 5250);
  EXPECT_EQ(document["end"], "time limit");
  EXPECT_THAT(States(document), ElementsAre("START_PENDING"));
}

TEST_F(RunTest, TheTimelineStopsTheService) {
  Make("already-deployed");
  Set("already-deployed", "/timeline/0", {{"at_ms", 7000}, {"event", "preshutdown"}});
  json const document = RunJson({"run", "already-deployed", "--events", "e.jsonl"});
  EXPECT_EQ(document["status"][2]["state"], "STOP_PENDING");
  EXPECT_EQ(document["status"][2]["time_ms"], 7000);
  EXPECT_THAT(Read("e.jsonl"), HasSubstr("preshutdown control sent"));
}

TEST_F(RunTest, EventsCarryWhatTheirKindPromises) {
  Make("fresh");
  EXPECT_EQ(Run({"run", "fresh", "--events", "plain.jsonl"}).exit_code, 0);
  EXPECT_EQ(Run({"run", "fresh", "--events", "calls.jsonl", "--calls"}).exit_code, 0);
  std::size_t seq = 0;
  bool without_line = false;
  for (const json& event : Events("plain.jsonl")) {
    EXPECT_EQ(event["seq"], ++seq);
    EXPECT_TRUE(event["time_ms"].is_number_integer());
    EXPECT_TRUE(event["thread"].is_string());
    EXPECT_NE(event["kind"], "call");
    if (event["kind"] == "status") {
      EXPECT_TRUE(event.contains("state") && event.contains("controls_accepted") && event.contains("exit_code") &&
                  event.contains("check_point"));
    }
    if (event["kind"] == "trace") {
      EXPECT_TRUE(event.contains("function") && event.contains("text") && event.contains("guid"));
      without_line = without_line || !event.contains("line");
    }
  }
  EXPECT_TRUE(without_line) << "entry and exit messages have no line";
  auto const calls = Events("calls.jsonl");
  auto const call = std::find_if(calls.begin(), calls.end(), [](const json& e) { return e["kind"] == "call"; });
  ASSERT_NE(call, calls.end());
  EXPECT_TRUE(call->contains("name") && call->contains("args") && call->contains("result") &&
              call->contains("last_error"));
}

TEST_F(RunTest, TheStoryLeavesOutWhatRepeatsUnlessAskedForEverything) {
  Make("wifi-only");
  std::string const story = Run({"run", "wifi-only"}).out;
  EXPECT_THAT(story, HasSubstr("... and 76 more like these, the last at 19.500 s"));
  EXPECT_THAT(story, Not(HasSubstr("(+)")));
  EXPECT_THAT(story, HasSubstr("not deployed: the service ended before it came to the firmware"));
  std::string const everything = Run({"run", "wifi-only", "--verbose"}).out;
  EXPECT_THAT(everything, HasSubstr("(+)"));
  EXPECT_THAT(everything, Not(HasSubstr("more like these")));
  EXPECT_THAT(Run({"run", "wifi-only", "--quiet"}).out, Not(HasSubstr("START_PENDING, check point")));
}

TEST_F(RunTest, AKeptTabletIsReplacedOnlyOnRequest) {
  Make("wifi-only");
  Make("fresh");
  auto const before = Contents("fresh");
  ProgramResult const refused = Run({"run", "wifi-only", "--save", "fresh"});
  EXPECT_EQ(refused.exit_code, 3);
  EXPECT_THAT(refused.err, HasSubstr("fresh: exists already; name a folder that does not exist or is empty, or add "
                                     "--force to replace this tablet"));
  EXPECT_EQ(Contents("fresh"), before);
  EXPECT_EQ(Run({"run", "wifi-only", "--save", "fresh", "--force"}).exit_code, 0);
  EXPECT_FALSE(std::filesystem::exists(In("fresh/C/Windows/System32/modem_core"))) << "nothing of the old one stays";
  EXPECT_THAT(Run({"run", "fresh"}).out, HasSubstr("wifi-only: "));
  std::filesystem::create_directory(In("photos"));
  Write("photos/one.jpg", "mine");
  EXPECT_THAT(Run({"run", "wifi-only", "--save", "photos", "--force"}).err, HasSubstr("is not a tablet's folder"));
  EXPECT_EQ(Read("photos/one.jpg"), "mine");
  EXPECT_EQ(Run({"run", "wifi-only", "--save", "wifi-only", "--force"}).exit_code, 3);
}

TEST_F(RunTest, ASignalLeavesNothingBehind) {
  Make("wifi-only");
  auto const before = Contents("wifi-only");
  // The clock waits, so that the service is in its twenty seconds when it is first heard of its failure.
  auto const result = RunOnTerminal({"run", "wifi-only", "--in-place", "--realtime"}, "Failed to open");
  if (!result) GTEST_SKIP() << "this machine gives no pseudo-terminal (is devpts mounted on /dev/pts?)";
  EXPECT_EQ(result->exit_code, 130) << result->out;
  EXPECT_EQ(Contents("wifi-only"), before);
  EXPECT_FALSE(LeftSomething());
}

}  // namespace
