// The check before shipping as its users meet it: the table, the policy, the reports.
#include <fmt/format.h>

#include <map>

#include "cli/base/console.h"
#include "sim/tablet/drive/pe_version.h"
#include "tests/testing/zip_builder.h"
#include "tests/unit/cli/program.h"

namespace {

constexpr const char* kArchives = "fresh/C/Windows/System32/modem_core/";

class CheckTest : public ProgramTest {
 protected:
  CheckTest() { Make("fresh"); }

  void Map(const std::string& lines) {
    Write("fresh/registry/50-map.reg",
          "Windows Registry Editor Version 5.00\n\n"
          "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\CSC]\n" +
              lines + "\n");
  }
  void Policy(const json& policy) {
    json whole = policy;
    whole["schema"] = 1;
    Write("fresh/vantord-check.json", whole.dump(1));
  }
  void Unused(const std::string& name) { fs::copy(In(std::string(kArchives) + "KOR.bin"), In(kArchives + name)); }
  json Check(int code) { return RunJson({"check", "fresh"}, code)["tablets"][0]; }
  static json CaseOf(const json& tablet, const std::string& by, const std::string& name) {
    for (const json& one : tablet["cases"]) {
      if (one["by"] == by && (one["name"] == name || name.empty())) return one;
    }
    return {};
  }
  static std::vector<std::string> Ids(const json& tablet) {
    std::vector<std::string> ids;
    for (const json& finding : tablet["findings"]) ids.push_back(finding["id"]);
    return ids;
  }
};

TEST_F(CheckTest, EveryCodeAndIdHasARow) {
  json const tablet = Check(0);
  EXPECT_EQ(tablet["result"], "well");
  EXPECT_THAT(tablet["findings"], IsEmpty());
  EXPECT_EQ(tablet["cases"].size(), 8u);
  EXPECT_EQ(CaseOf(tablet, "code", "KOR")["gets"], "KOR.bin");
  EXPECT_EQ(CaseOf(tablet, "id", "ATT")["result"], "deploys");
  EXPECT_EQ(CaseOf(tablet, "none", "")["gets"], "VZW.bin");
  EXPECT_EQ(tablet["archives"].size(), 3u);
  for (const json& archive : tablet["archives"]) EXPECT_EQ(archive["deployment"], "deployed");
}

TEST_F(CheckTest, PowerCutsAndEarlyStopsAreTried) {
  json const stops = Check(0)["stops"];
  EXPECT_EQ(stops["archives"], 1);
  EXPECT_EQ(stops["power_cuts"], 24);
  EXPECT_EQ(stops["schedules"], 4);
  EXPECT_EQ(stops["all"], false);
}

TEST_F(CheckTest, DeepCutsThePowerAtEveryCallWithEachArchive) {
  ZipBuilder archive;
  archive.Add("qcdsp1v2850.mbn", ToBytes("firmware"), 0);
  archive.Add("qcdsp2850.mbn", ToBytes("software"), 0);
  for (const char* name : {"VZW.bin", "ATT.bin", "KOR.bin"}) Write(std::string(kArchives) + name, archive.Build());
  fs::remove(In("fresh/C/Windows/ToastGenerator/ToastResource_20180816.zip"));
  Policy({{"allow", {{{"id", "toast-archive"}, {"reason", "nobody is notified"}}}}});
  json const tablet = RunJson({"check", "fresh", "--deep"})["tablets"][0];
  EXPECT_EQ(tablet["stops"]["all"], true);
  EXPECT_EQ(tablet["stops"]["archives"], 1) << "equal ones are one";
  EXPECT_GT(tablet["stops"]["power_cuts"], 300);
}

TEST_F(CheckTest, TheTableNamesTheReasonAndThePlace) {
  fs::remove(In(std::string(kArchives) + "KOR.bin"));
  ProgramResult const result = Run({"check", "fresh"});
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_THAT(result.out, HasSubstr("  sales code KOR       KOR.bin     fails "));
  EXPECT_THAT(result.out, HasSubstr("fresh/registry/10-image.reg:15: sales code KOR leads to"));
  EXPECT_THAT(result.out, HasSubstr("[archive-missing]"));
  EXPECT_THAT(result.out, HasSubstr("1 error\n"));
}

TEST_F(CheckTest, SeveralTabletsAreCheckedAndBadOnesEndNoOther) {
  fs::copy(In("fresh"), In("bad"), fs::copy_options::recursive);
  Write("bad/registry/50-bad.reg", "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\A]\n\"x\n");
  json const document = RunJson({"check", "nowhere", "bad", "fresh"}, 3);
  EXPECT_EQ(document["tablets"][0]["result"], "bad input");
  EXPECT_EQ(document["tablets"][1]["result"], "bad input");
  EXPECT_EQ(document["tablets"][1]["findings"][0]["file"], "bad/registry/50-bad.reg");
  EXPECT_EQ(document["tablets"][1]["findings"][0]["line"], 4);
  EXPECT_EQ(document["tablets"][2]["result"], "well");
}

TEST_F(CheckTest, EqualArchivesAreTriedOnce) {
  Unused("KR2.bin");
  Map("\"KO2\"=\"KR2.bin\"\n\"KO3\"=\"kor.BIN\"");
  json const tablet = Check(0);
  EXPECT_EQ(tablet["archives"].size(), 3u);
  json const archive = CaseOf(tablet, "code", "KOR")["archive"];
  EXPECT_EQ(CaseOf(tablet, "code", "KO2")["archive"], archive);
  EXPECT_EQ(CaseOf(tablet, "code", "KO3")["archive"], archive);
  EXPECT_THAT(tablet["archives"][archive.get<std::size_t>()]["equal"],
              ElementsAre("fresh/C/Windows/System32/modem_core/KOR.bin"));
}

TEST_F(CheckTest, NothingOfTheTabletIsChanged) {
  auto const before = Contents("fresh");
  EXPECT_EQ(Run({"check", "fresh"}).exit_code, 0);
  EXPECT_EQ(Contents("fresh"), before);
  EXPECT_FALSE(LeftSomething());
}

TEST_F(CheckTest, ThePolicyNamesTheArchiveOfEachCode) {
  Policy({{"archives",
           {{"codes", {{"VZW", "VZW.bin"}, {"KOR", "ATT.bin"}, {"USC", "USC.bin"}, {"*", "fail"}}},
            {"ids", {{"VZW", "vzw.bin"}}},
            {"none", "KOR.bin"}}}});
  json const tablet = Check(5);
  EXPECT_EQ(CaseOf(tablet, "code", "VZW")["result"], "deploys");
  EXPECT_EQ(CaseOf(tablet, "id", "VZW")["result"], "deploys");
  EXPECT_EQ(CaseOf(tablet, "code", "KOR")["reason"], "sales code KOR gets KOR.bin, and the policy expects ATT.bin");
  EXPECT_EQ(CaseOf(tablet, "code", "USC")["reason"], "sales code USC gets VZW.bin, and the policy expects USC.bin");
  EXPECT_EQ(CaseOf(tablet, "code", "ATT")["reason"],
            "sales code ATT gets ATT.bin, and the policy expects that it fails");
  EXPECT_EQ(CaseOf(tablet, "none", "")["reason"], "neither code nor ID gets VZW.bin, and the policy expects KOR.bin");
  EXPECT_EQ(tablet["policy"], "fresh/vantord-check.json");
  for (const json& finding : tablet["findings"]) EXPECT_EQ(finding["file"], "fresh/vantord-check.json");
}

TEST_F(CheckTest, WhatThePolicyExpectsToFailDoesNotFailTheCheck) {
  fs::remove(In(std::string(kArchives) + "KOR.bin"));
  Policy({{"archives", {{"codes", {{"KOR", "fail"}}}, {"ids", {{"KOR", "fail"}}}}}});
  json const tablet = Check(0);
  EXPECT_EQ(CaseOf(tablet, "code", "KOR")["result"], "fails as expected");
  EXPECT_THAT(Ids(tablet), ElementsAre("archive-missing"));
  EXPECT_EQ(tablet["findings"][0]["allowed"], "the policy expects that it fails");
}

TEST_F(CheckTest, ThePolicyAllowsWarningsWithAReason) {
  Unused("OLD.bin");
  EXPECT_THAT(Ids(Check(5)), ElementsAre("archive-unused"));
  Policy({{"allow", {{{"id", "archive-unused"}, {"reason", "for the service centre"}, {"place", "OLD.bin"}}}}});
  json const tablet = Check(0);
  EXPECT_EQ(tablet["findings"][0]["allowed"], "for the service centre");
  Policy({{"allow", {{{"id", "archive-unused"}, {"reason", "for the service centre"}, {"place", "NEW.bin"}}}}});
  EXPECT_THAT(Ids(Check(5)), ElementsAre("archive-unused", "policy-unused"));
}

TEST_F(CheckTest, AllowancesThatNothingNeedsAreNotes) {
  Write("fresh/vantord-check.json",
        "{ \"schema\": 1,\n  \"allow\": [\n    { \"id\": \"toast-archive\", \"reason\": \"no pictures\" }\n  ]\n}\n");
  json const finding = Check(0)["findings"][0];
  EXPECT_EQ(finding["id"], "policy-unused");
  EXPECT_EQ(finding["severity"], "note");
  EXPECT_EQ(finding["line"], 3);
  EXPECT_EQ(finding["text"], "nothing needs the allowance of \"toast-archive\"");
}

TEST_F(CheckTest, ThePolicyLimitsTheDeploymentsSize) {
  Policy({{"max_deployment_bytes", 20'000}});
  json const tablet = Check(5);
  EXPECT_THAT(Ids(tablet), ElementsAre("policy-size"));
  EXPECT_EQ(CaseOf(tablet, "code", "VZW")["result"], "fails");
  EXPECT_THAT(CaseOf(tablet, "code", "VZW")["reason"].get<std::string>(), HasSubstr("the policy allows 20.0 kB"));
  EXPECT_EQ(CaseOf(tablet, "code", "KOR")["result"], "deploys");
}

TEST_F(CheckTest, ThePolicyAsksForFreeSpace) {
  Policy({{"free_bytes", 500'000}});
  EXPECT_THAT(Check(5)["findings"][0]["text"].get<std::string>(), HasSubstr("tablet.json does not say"));
  Set("fresh", "/drive/free_bytes", 520'000);
  json const tablet = Check(5);
  EXPECT_THAT(Ids(tablet), ElementsAre("policy-free"));
  EXPECT_EQ(CaseOf(tablet, "code", "VZW")["result"], "fails");
  EXPECT_EQ(CaseOf(tablet, "code", "KOR")["result"], "deploys");
  Set("fresh", "/drive/free_bytes", 600'000);
  EXPECT_THAT(Check(0)["findings"], IsEmpty());
}

TEST_F(CheckTest, ThePolicyNamesVersionsInTheArchives) {
  ZipBuilder archive;
  archive.Add("qcdsp1v2850.mbn", ToBytes("QC firmware 2.0.1 of the modem"));
  archive.Add("qcdsp2850.mbn", ToBytes("software"), 0);
  archive.Add("tools/update.exe", tablet::MakeExecutableWithVersion(3, 1, 4, 15));
  Write(std::string(kArchives) + "KOR.bin", archive.Build());
  auto const wanted = [&](const std::string& text, const std::string& program) {
    Policy({{"versions", {{"KOR.bin", {{"qcdsp1v2850.mbn", text}, {"tools/update.exe", program}}}}}});
  };
  wanted("2.0.1", "3.1.4.15");
  EXPECT_THAT(Check(0)["findings"], IsEmpty());
  wanted("2.0.2", "3.1.4.16");
  json const tablet = Check(5);
  EXPECT_EQ(tablet["findings"][0]["text"], "qcdsp1v2850.mbn does not hold the text \"2.0.2\"");
  EXPECT_EQ(tablet["findings"][1]["text"], "tools/update.exe has version 3.1.4.15, not 3.1.4.16");
  Policy({{"versions", {{"KOR.bin", {{"absent.txt", "1"}}}}}});
  EXPECT_THAT(Check(5)["findings"][0]["text"].get<std::string>(), HasSubstr("absent.txt is not there"));
}

TEST_F(CheckTest, APolicyThatCannotBeReadIsBadInputWithItsLine) {
  auto const problem = [&](const std::string& policy) {
    Write("policy.json", policy);
    json const finding = RunJson({"check", "fresh", "--policy", "policy.json"}, 3)["tablets"][0]["findings"][0];
    return fmt::format("{}: {}; {}", finding["file"].get<std::string>(), finding["text"].get<std::string>(),
                       finding["next"].get<std::string>());
  };
  EXPECT_THAT(problem("{\n  \"schema\": 1,\n  \"alow\": []\n}"),
              HasSubstr("policy.json:3: alow: unknown key; did you mean \"allow\"?"));
  EXPECT_THAT(problem("{ \"schema\": 1, \"allow\": [ { \"id\": \"toast-archiv\", \"reason\": \"x\" } ] }"),
              HasSubstr("there is no finding \"toast-archiv\"; did you mean \"toast-archive\"?"));
  EXPECT_THAT(problem("{ \"schema\": 1, \"allow\": [ { \"id\": \"archive-missing\", \"reason\": \"x\" } ] }"),
              HasSubstr("\"archive-missing\" is an error; only warnings can be allowed"));
  EXPECT_THAT(problem("{ \"schema\": 1, \"allow\": [ { \"id\": \"toast-archive\", \"reason\": \" \" } ] }"),
              HasSubstr("allow[0].reason: is empty; say why the warning may stay"));
  EXPECT_THAT(problem("{ \"schema\": 2 }"), HasSubstr("this program reads schema 1"));
}

TEST_F(CheckTest, TheJunitReportHasACaseForEachCode) {
  Unused("OLD.bin");
  fs::remove(In(std::string(kArchives) + "KOR.bin"));
  EXPECT_EQ(Run({"check", "fresh", "--junit", "check.xml"}).exit_code, 5);
  std::string const report = Read("check.xml");
  EXPECT_THAT(report, HasSubstr("<testsuite name=\"fresh\" tests=\"9\" failures=\"3\">"));
  EXPECT_THAT(report, HasSubstr("<testcase classname=\"fresh\" name=\"sales code VZW\"/>"));
  EXPECT_THAT(report, HasSubstr("name=\"sales code KOR\">\n      <failure message=\"sales code KOR leads to"));
  EXPECT_THAT(report, HasSubstr("OLD.bin: nothing leads to this file; remove it, or add it to a map [archive-unused]"));
  EXPECT_EQ(Run({"check", "fresh", "--junit", "check.xml"}).exit_code, 3) << "replaced a file";
}

TEST_F(CheckTest, SarifPointsIntoTheFiles) {
  Unused("OLD.bin");
  Policy({{"allow", {{{"id", "archive-unused"}, {"reason", "for the service centre"}}}}});
  Map("\"KORX\"=\"KOR.bin\"");
  ZipBuilder archive;
  archive.Add("empty file.txt");
  Write(std::string(kArchives) + "ATT.bin", archive.Build());
  EXPECT_EQ(Run({"check", "fresh", "--sarif", "check.sarif"}).exit_code, 5);
  json const sarif = json::parse(Read("check.sarif"));
  EXPECT_EQ(sarif["version"], "2.1.0");
  json const& run = sarif["runs"][0];
  std::map<std::string, json> results;
  for (const json& result : run["results"]) {
    std::string const id = result["ruleId"];
    results[id] = result;
    EXPECT_EQ(run["tool"]["driver"]["rules"][result["ruleIndex"].get<std::size_t>()]["id"], id);
  }
  json const line = results["map-unreachable"]["locations"][0]["physicalLocation"];
  EXPECT_EQ(line["artifactLocation"]["uri"], "fresh/registry/50-map.reg");
  EXPECT_EQ(line["region"]["startLine"], 4);
  json const entry = results["entry-empty"]["locations"][0];
  EXPECT_EQ(entry["physicalLocation"]["artifactLocation"]["uri"], std::string(kArchives) + "ATT.bin");
  EXPECT_EQ(entry["logicalLocations"][0]["name"], "empty file.txt");
  EXPECT_EQ(results["entry-empty"]["level"], "error");
  EXPECT_EQ(results["archive-unused"]["level"], "warning");
  EXPECT_EQ(results["archive-unused"]["suppressions"][0]["justification"], "for the service centre");
  EXPECT_FALSE(results["entry-empty"].contains("suppressions"));
}

TEST_F(CheckTest, ThePageUnfoldsAFailureIntoItsStart) {
  ZipBuilder archive;
  archive.Add("a&b.txt");
  Write(std::string(kArchives) + "ATT.bin", archive.Build());
  EXPECT_EQ(Run({"check", "fresh", "--report", "check.html"}).exit_code, 5);
  std::string const page = Read("check.html");
  EXPECT_THAT(page, HasSubstr("1 of 1 tablet would fail"));
  EXPECT_THAT(page, HasSubstr("a&amp;b.txt"));
  EXPECT_THAT(page, Not(HasSubstr("a&b.txt")));
  std::size_t const row = page.find("<span>sales code ATT</span>");
  ASSERT_NE(row, std::string::npos);
  std::string const below = page.substr(row, page.find("</details>", row) - row);
  EXPECT_THAT(below, HasSubstr("takes an empty file for a failure"));
  EXPECT_THAT(below, HasSubstr("DetermineModemBinary ATT.bin by CSC ATT"));
  EXPECT_THAT(below, HasSubstr("Unzipping status"));
}

TEST(CheckProgress, TheTimeLeftFollowsThePaceSoFar) {
  using std::chrono::milliseconds;
  EXPECT_EQ(cli::TimeLeft(milliseconds(2'000), 50, 100), "3 s");
  EXPECT_EQ(cli::TimeLeft(milliseconds(100), 99, 100), "1 s");
  EXPECT_EQ(cli::TimeLeft(milliseconds(60'000), 10, 100), "10 min");
}

}  // namespace
