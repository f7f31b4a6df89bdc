// What tablet.json says of space, locked files, missing privileges, a late modem and a firmware driver in trouble, and
// whether the documentation knows every key that the program knows.
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "tests/testing/places.h"
#include "tests/testing/tablet_fixture.h"
#include "tests/unit/tablet/description_fixture.h"

namespace {

using tablet::Description;

class SurroundingsTest : public description_tests::DescriptionText {};

TEST_F(SurroundingsTest, ReadsEveryKey) {
  Description const description = Read(R"({
    "schema": 1,
    "modem": { "arrives_at_ms": 5000 },
    "firmware_driver": { "status": 1117, "status_count": 3, "request_error": 31 },
    "drive": { "free_bytes": 70000,
               "locked": ["C:\\Windows\\a.bin"] },
    "privileges": { "missing": ["SeSystemEnvironmentPrivilege"] }
  })");
  EXPECT_EQ(description.modem_arrival, tablet::Millis(5000));
  EXPECT_EQ(description.firmware_trouble.status, 1117u);
  EXPECT_EQ(description.firmware_trouble.count, 3u);
  EXPECT_EQ(description.firmware_trouble.request_error, 31u);
  EXPECT_EQ(description.free_bytes, 70'000u);
  ASSERT_EQ(description.locked_files.size(), 1u);
  EXPECT_EQ(description.locked_files[0].path, u"C:\\Windows\\a.bin");
  EXPECT_THAT(description.locked_files[0].place, HasSubstr("tablet.json:6: drive.locked"));
  EXPECT_THAT(description.missing_privileges, testing::ElementsAre(22u));
}

TEST_F(SurroundingsTest, WithoutTheKeysNothingIsAmiss) {
  Description const description = Read(R"({ "schema": 1 })");
  EXPECT_EQ(description.modem_arrival, tablet::Millis(0));
  EXPECT_EQ(description.firmware_trouble.status, 0u);
  EXPECT_EQ(description.free_bytes, std::nullopt);
  EXPECT_TRUE(description.locked_files.empty());
  EXPECT_TRUE(description.missing_privileges.empty());
  EXPECT_EQ(
      Read(R"({ "schema": 1, "firmware_driver": { "status": 5, "status_count": "always" } })").firmware_trouble.count,
      tablet::FirmwareTrouble::kEvery);
}

TEST_F(SurroundingsTest, WrongValuesAreRefusedWithFileLineAndKey) {
  EXPECT_THAT(Refusal("{ \"schema\": 1,\n \"drive\": { \"free_byte\": 1 } }"),
              HasSubstr("tablet.json:2: drive.free_byte: unknown key; did you mean \"free_bytes\"?"));
  EXPECT_THAT(Refusal(R"({ "schema": 1, "drive": { "free_bytes": "1 MB" } })"),
              HasSubstr("drive.free_bytes: must be a whole number, is a text"));
  EXPECT_THAT(Refusal(R"({ "schema": 1, "drive": { "free_bytes": -1 } })"), HasSubstr("-1 is out of range"));
  EXPECT_THAT(Refusal(R"({ "schema": 1, "drive": { "locked": [1] } })"),
              HasSubstr("drive.locked[0]: must be a text, is a whole number"));
  EXPECT_THAT(Refusal(R"({ "schema": 1, "privileges": { "missing": ["SeSystemEnvironment"] } })"),
              HasSubstr("\"SeSystemEnvironment\" is not a privilege; did you mean \"SeSystemEnvironmentPrivilege\"?"));
  EXPECT_THAT(Refusal(R"({ "schema": 1, "firmware_driver": { "status_count": "never" } })"),
              HasSubstr("firmware_driver.status_count: must be a whole number or \"always\""));
  EXPECT_THAT(Refusal(R"({ "schema": 1, "modem": { "arrives_at_ms": -5 } })"), HasSubstr("modem.arrives_at_ms: -5"));
}

/// Every key that the program takes, found by asking it: the message about an unknown key lists the known ones.
class KnownKeys {
 public:
  explicit KnownKeys(std::function<std::string(const std::string&)> complaint) : complaint_(std::move(complaint)) {
    Visit("", [](const std::string& inner) { return "{ \"schema\": 1, " + inner + " }"; });
  }
  const std::set<std::string>& all() const { return keys_; }

 private:
  using Wrap = std::function<std::string(const std::string& inner)>;

  /// `wrap` puts members into the object of this name.
  void Visit(const std::string& name, const Wrap& wrap) {
    static const std::regex kKnown("zzz: unknown key; known are: (.*)$");
    std::smatch match;
    std::string const answer = complaint_(wrap("\"zzz\": 0"));
    if (!std::regex_search(answer, match, kKnown)) return;
    std::istringstream list(match[1].str());
    for (std::string key; std::getline(list >> std::ws, key, ',');) {
      if (name.empty() && key == "schema") {
        keys_.insert(key);
        continue;
      }
      keys_.insert(name + key);
      Visit(name + key + ".", [=](const std::string& inner) { return wrap("\"" + key + "\": { " + inner + " }"); });
      Visit(name + key + "[].",
            [=](const std::string& inner) { return wrap("\"" + key + "\": [ { " + inner + " } ]"); });
    }
  }

  std::function<std::string(const std::string&)> complaint_;
  std::set<std::string> keys_;
};

std::string Documentation() {
  std::ifstream in(testing_support::SourceFolder() + "/docs/tablet.md");
  std::ostringstream text;
  text << in.rdbuf();
  return text.str().substr(0, text.str().find("## registry/"));
}

TEST_F(SurroundingsTest, TheDocumentationNamesEveryKeyThatTheProgramTakes) {
  KnownKeys const known([this](const std::string& text) { return Refusal(text); });
  std::string const text = Documentation();
  EXPECT_GT(known.all().size(), 60u);
  EXPECT_THAT(known.all(), Contains("partner.starting.ends_in"));
  EXPECT_THAT(known.all(), Contains("processes[].account"));
  std::set<std::string> sections;
  for (const std::string& key : known.all()) {
    for (std::size_t at = key.find_first_of(".["); at != std::string::npos; at = key.find_first_of(".[", at + 1)) {
      sections.insert(key.substr(0, at));
    }
  }
  for (const std::string& key : known.all()) {
    if (sections.contains(key)) continue;  // its keys are looked for
    // Keys in lists and in phases are explained by their last name alone.
    std::string const last = key.substr(key.find_last_of('.') + 1);
    bool const nested = key.find("[]") != std::string::npos || std::ranges::count(key, '.') > 1;
    std::string const wanted = "`" + (nested ? last : key) + "`";
    bool const in_example = text.find("\"" + last + "\"") != std::string::npos;
    EXPECT_TRUE(text.find(wanted) != std::string::npos || (nested && in_example)) << key;
  }
}

TEST_F(SurroundingsTest, TheProgramTakesEveryKeyThatTheDocumentationLists) {
  KnownKeys const known([this](const std::string& text) { return Refusal(text); });
  std::istringstream lines(Documentation());
  std::size_t rows = 0;
  for (std::string line; std::getline(lines, line);) {
    bool const of_keys = line.starts_with("| `") && std::ranges::count(line, '|') >= 5;
    if (!of_keys) continue;
    static const std::regex kName("`([a-z_.]+)`");
    std::string const cell = line.substr(2, line.find('|', 2) - 2);
    for (std::sregex_iterator at(cell.begin(), cell.end(), kName); at != std::sregex_iterator(); ++at) {
      EXPECT_THAT(known.all(), Contains((*at)[1].str()));
      ++rows;
    }
  }
  EXPECT_GT(rows, 30u);
}

}  // namespace
