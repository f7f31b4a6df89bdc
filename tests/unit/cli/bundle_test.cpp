// collect and replay: a run that somebody else repeats to the byte.
#include "cli/bundle/bundle.h"

#include <algorithm>
#include <cctype>

#include <fstream>
#include "tests/unit/cli/program.h"

namespace {

class BundleTest : public ProgramTest {
 protected:
  void Collect(const std::string& tablet, const std::string& bundle, const std::vector<std::string>& more = {}) {
    ProgramResult const result = Run(Joined({"collect", tablet, "-o", bundle, "--force"}, more));
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_FALSE(LeftSomething());
  }
  void Unpack(const std::string& bundle, const std::string& folder) {
    fs::create_directory(In(folder));
    cli::UnpackBundle(In(bundle), In(folder));
  }
  void Replace(const std::string& file, const std::string& from, const std::string& to) {
    std::string text = Read(file);
    ASSERT_NE(text.find(from), std::string::npos) << file << ": " << text;
    text.replace(text.find(from), from.size(), to);
    Write(file, text);
  }
};

TEST_F(BundleTest, AnyRunRepeatsToTheByte) {
  for (const char* sample : {"fresh", "crashed-two-sessions", "oobe-then-desktop", "wifi-only"}) {
    SCOPED_TRACE(sample);
    auto const before = (Make(sample), Contents(sample));
    Collect(sample, "b.zip", {"--seed", "7"});
    EXPECT_EQ(Contents(sample), before);
    json const document = RunJson({"replay", "b.zip"});
    EXPECT_EQ(document["same"], true);
    EXPECT_EQ(document["versions"]["same"], true);
    EXPECT_EQ(document["difference"], nullptr);
    EXPECT_GT(document["events"], 100);
    EXPECT_FALSE(LeftSomething());
  }
}

TEST_F(BundleTest, FaultsAndPowerCutsAreRepeatedToo) {
  Make("fresh");
  Collect("fresh", "b.zip", {"--fault", "RegQueryValueExW@3:ERROR_ACCESS_DENIED", "--cut-at", "300"});
  Unpack("b.zip", "b");
  EXPECT_THAT(Read("b/events.jsonl"), HasSubstr("the power is cut"));
  EXPECT_EQ(Run({"replay", "b.zip"}).exit_code, 0);
  Collect("fresh", "c.zip", {"--cut-at", "WriteFile@2"});
  Unpack("c.zip", "c");
  EXPECT_THAT(Read("c/events.jsonl"), HasSubstr(", WriteFile@2\""));
  EXPECT_EQ(Run({"replay", "c.zip"}).exit_code, 0);
  EXPECT_EQ(Run({"collect", "fresh", "-o", "d.zip", "--cut-at", "WriteFlie@2"}).exit_code, 2);
  ProgramResult const result = Run({"collect", "fresh", "-o", "b.zip", "--force", "--fault", "ReadFiel"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.err, HasSubstr("ReadFile"));
}

TEST_F(BundleTest, ABundleHoldsTheEventsAndTheSummaryOfTheRun) {
  Make("wifi-only");
  json const document = RunJson({"collect", "wifi-only", "-o", "b.zip", "--until", "5250"});
  EXPECT_EQ(document["end"], "time limit");
  EXPECT_EQ(document["run_exit_code"], 6);
  EXPECT_EQ(Run({"run", "wifi-only", "--until", "5250", "--quiet", "--calls", "--events", "e.jsonl"}).exit_code, 6);
  Unpack("b.zip", "b");
  EXPECT_EQ(Read("b/events.jsonl"), Read("e.jsonl"));
  EXPECT_EQ(json::parse(Read("b/summary.json")), RunJson({"run", "wifi-only", "--until", "5250"}, 6));
  EXPECT_EQ(json::parse(Read("b/manifest.json"))["schema"], 1);
}

TEST_F(BundleTest, TheSameTabletGivesTheSameBundle) {
  Make("fresh");
  Collect("fresh", "a.zip");
  ::setenv("TZ", "Asia/Kolkata", 1);
  Collect("fresh", "b.zip");
  ::unsetenv("TZ");
  EXPECT_EQ(Read("a.zip"), Read("b.zip"));
}

TEST_F(BundleTest, WhatTheHostKeepsBesideFilesIsInTheBundle) {
  Make("fresh");
  EXPECT_EQ(Run({"run", "fresh", "--save", "kept", "--quiet"}).exit_code, 0);
  Collect("kept", "b.zip");
  Unpack("b.zip", "b");
  EXPECT_THAT(Read("b/tablet/attributes.txt"), HasSubstr("modem_core\\VZW.bin"));
  EXPECT_THAT(json::parse(Read("b/manifest.json"))["times"].dump(), HasSubstr("modem_core/VZW.bin"));
  EXPECT_EQ(Run({"replay", "b.zip"}).exit_code, 0);
}

TEST_F(BundleTest, ARunThatGoesAnotherWayIsToldWithItsFirstDifference) {
  Make("fresh");
  Collect("fresh", "a.zip");
  Unpack("a.zip", "a");
  fs::remove(In("a/tablet/C/Windows/System32/modem_core/VZW.bin"));
  cli::PackBundle(In("a"), In("b.zip"));
  ProgramResult const result = Run({"replay", "b.zip"});
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_THAT(result.out, HasSubstr("differs"));
  json const document = RunJson({"replay", "b.zip"}, 5);
  EXPECT_EQ(document["same"], false);
  EXPECT_THAT(document["difference"]["where"].get<std::string>(), HasSubstr("event "));
  EXPECT_THAT(document["difference"]["bundle"].get<std::string>(), HasSubstr("FindNextFileW"));
  EXPECT_NE(document["difference"]["bundle"], document["difference"]["here"]);
}

TEST_F(BundleTest, OtherVersionsAreSaidAndTheRunIsComparedAllTheSame) {
  Make("wifi-only");
  Collect("wifi-only", "a.zip");
  Unpack("a.zip", "a");
  Replace("a/manifest.json", "\"version\": \"", "\"version\": \"0.9-");
  cli::PackBundle(In("a"), In("b.zip"));
  ProgramResult const result = Run({"replay", "b.zip"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, HasSubstr("differ: the bundle is of vantord-tablet 0.9-"));
  EXPECT_THAT(Run({"replay", "a.zip"}).out, Not(HasSubstr("differ")));
}

TEST_F(BundleTest, WhatIsNoBundleIsRefused) {
  EXPECT_THAT(Run({"replay", "missing.zip"}).err, HasSubstr("missing.zip: there is no such file"));
  Write("text.zip", "this is no zip file");
  ProgramResult const result = Run({"replay", "text.zip"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.err, HasSubstr("text.zip: is not a bundle"));
  Make("wifi-only");
  Collect("wifi-only", "a.zip");
  Unpack("a.zip", "a");
  Write("a/manifest.json", R"({"schema": 1, "run": ["--save", "elsewhere"]})");
  cli::PackBundle(In("a"), In("b.zip"));
  EXPECT_THAT(Run({"replay", "b.zip"}).err, HasSubstr("\"--save\" is not an option that a bundle may use"));
  EXPECT_FALSE(fs::exists(In("elsewhere")));
  fs::remove(In("a/events.jsonl"));
  cli::PackBundle(In("a"), In("b.zip"));
  EXPECT_THAT(Run({"replay", "b.zip"}).err, HasSubstr("it has no events.jsonl"));
  EXPECT_THAT(Run({"collect", "wifi-only", "-o", "missing/b.zip"}).err, HasSubstr("missing/b.zip: cannot be written"));
}

TEST_F(BundleTest, ErrorsNameTheUsersTablet) {
  Make("wifi-only");
  Write("wifi-only/registry/99.reg", "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\A]\n\"b\"=wrong\n");
  for (const char* more : {"--json", "--redact"}) {
    ProgramResult const result = Run({"collect", "wifi-only", "-o", "b.zip", more});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.out + result.err, HasSubstr("wifi-only/registry/99.reg:3"));
    EXPECT_THAT(result.out + result.err, testing::Not(HasSubstr("/bundle/")));
  }
}

TEST_F(BundleTest, ABundleTakesThePlaceOfNothingThatAPersonMade) {
  Make("wifi-only");
  auto const before = Contents("wifi-only");
  EXPECT_EQ(Run({"collect", "wifi-only", "-o", "wifi-only/tablet.json", "--force"}).exit_code, 3);
  EXPECT_EQ(Run({"collect", "wifi-only", "-o", "wifi-only/b.zip"}).exit_code, 3);
  EXPECT_EQ(Contents("wifi-only"), before);
  Write("mine.txt", "mine");
  EXPECT_EQ(Run({"collect", "wifi-only", "-o", "mine.txt"}).exit_code, 3);
  EXPECT_EQ(Read("mine.txt"), "mine");
  EXPECT_EQ(Run({"collect", "wifi-only", "-o", "mine.txt", "--force"}).exit_code, 0);
  EXPECT_EQ(Run({"replay", "mine.txt"}).exit_code, 0);
}

TEST_F(BundleTest, ARunThatHangsIsRepeatedWithItsTimeOut) {
  Make("fresh");
  std::string const archive = "fresh/C/Windows/System32/modem_core/VZW.bin";
  std::string bytes = Read(archive);
  std::size_t at = bytes.find("PK\x01\x02");
  for (int entry = 1; entry < 3; ++entry) at = bytes.find("PK\x01\x02", at + 1);
  bytes.at(at) = 0;
  Write(archive, bytes);
  Collect("fresh", "b.zip", {"--timeout", "0.3"});
  Unpack("b.zip", "b");
  EXPECT_EQ(json::parse(Read("b/manifest.json"))["run"], (json{"--timeout", "300ms"}));
  EXPECT_EQ(json::parse(Read("b/summary.json"))["end"], "hung");
  EXPECT_EQ(RunJson({"replay", "b.zip"})["same"], true);
}

class RedactionTest : public BundleTest {
 protected:
  /// A crashed tablet of somebody in particular.
  void MakePersonal() {
    Make("crashed-two-sessions");
    Replace("crashed-two-sessions/tablet.json", "\"lee\"", "\"Marga Lindqvist\"");
    Replace("crashed-two-sessions/tablet.json", "{ \"present\": true }",
            R"({ "present": true, "links": ["\\\\?\\QCMS#modem#SN48151623#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}"] })");
    Write("crashed-two-sessions/registry/50-personal.reg",
          "Windows Registry Editor Version 5.00\n\n; this tablet is Marga Lindqvist's\n"
          "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName]\n"
          "\"ComputerName\"=\"LAB-PC-0042\"\n"
          "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vendor]\n\"IMEI\"=\"356938035643809\"\n\"Note\"=\"lab-pc-0042, on a desk\"\n"
          "\"Wide\"=hex:4c,00,41,00,42,00,2d,00,50,00,43,00,2d,00,30,00,30,00,34,00,32,00\n");
    fs::create_directories(In("crashed-two-sessions/C/Users/margal"));
    Write("crashed-two-sessions/C/Users/margal/letter.txt", "Dear Kim");
    Write("crashed-two-sessions/efi/BoardSerial-9806d87d-b4fb-4d02-97d2-8597337abc83",
          std::string("\7\0\0\0B0A4D77", 11));
    fs::path const dumps = In("crashed-two-sessions/C/Windows/System32/DriverState/Services/QCCDI/Data/ssr_dumps");
    std::ofstream(dumps / "reason.txt", std::ios::app) << "crash of IMEI 356938035643809";
  }
};

/// Whether a text, or the same in 16-bit characters, is in the bytes, in either case.
bool Holds(std::string bytes, std::string word) {
  auto const lower = [](std::string& text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  };
  lower(bytes);
  lower(word);
  std::string wide;
  for (char const c : word) wide += {c, '\0'};
  return bytes.find(word) != std::string::npos || bytes.find(wide) != std::string::npos;
}

TEST_F(RedactionTest, NothingThatIdentifiesRemainsAndTheRunGoesTheSameWay) {
  MakePersonal();
  Collect("crashed-two-sessions", "plain.zip");
  json const document = RunJson({"collect", "crashed-two-sessions", "-o", "redacted.zip", "--redact"});
  EXPECT_GE(document["redacted"]["user"], 3);
  EXPECT_GE(document["redacted"]["serial"], 2);
  EXPECT_EQ(document["redacted"]["computer"], 1);
  EXPECT_EQ(document["redacted"]["security identifier"], 1);
  Unpack("plain.zip", "plain");
  Unpack("redacted.zip", "redacted");
  std::string before;
  std::string after;
  for (auto const& [name, text] : Contents("plain")) before += name + '\n' + text + '\n';
  for (auto const& [name, text] : Contents("redacted")) after += name + '\n' + text + '\n';
  for (const char* word : {"Lindqvist", "Marga Lindqvist", "margal", "LAB-PC-0042", "SN48151623", "356938035643809",
                           "B0A4D77", "S-1-5-21-2891047133-1204871593-3380512846", "Dear Kim"}) {
    EXPECT_TRUE(Holds(before, word)) << word;
    EXPECT_FALSE(Holds(after, word)) << word;
  }
  json const was = json::parse(Read("plain/summary.json"));
  json const is = json::parse(Read("redacted/summary.json"));
  for (const char* key : {"end", "deployed", "virtual_ms", "status"}) EXPECT_EQ(is[key], was[key]) << key;
  EXPECT_EQ(is["crash"].dump().size(), was["crash"].dump().size());
  EXPECT_EQ(cli::Lines(Read("redacted/events.jsonl")).size(), cli::Lines(Read("plain/events.jsonl")).size());
  EXPECT_EQ(Run({"replay", "redacted.zip"}).exit_code, 0);
}

TEST_F(RedactionTest, TheSameIdentifierIsTheSameEverywhere) {
  MakePersonal();
  Collect("crashed-two-sessions", "b.zip", {"--redact"});
  Unpack("b.zip", "b");
  std::string const registry = Read("b/tablet/registry/00-tablet.reg");
  std::size_t const at = registry.find("\"ComputerName\"=\"") + 16;
  std::string const name = registry.substr(at, 11);
  EXPECT_EQ(name.substr(0, 8), "XXX-XX-1");
  std::string lower = name;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  EXPECT_THAT(registry, HasSubstr("\"Note\"=\"" + lower + ", on a desk\""));
}

TEST_F(RedactionTest, ARunThatDependsOnAnIdentifierIsNotRedacted) {
  Make("fresh");
  Write("fresh/registry/50-name.reg",
        "Windows Registry Editor Version 5.00\n\n"
        "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName]\n"
        "\"ComputerName\"=\"VZW\"\n");
  ProgramResult const result = Run({"collect", "fresh", "-o", "b.zip", "--redact"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, HasSubstr("without its identifiers the run differs"));
  EXPECT_FALSE(fs::exists(In("b.zip")));
}

}  // namespace
