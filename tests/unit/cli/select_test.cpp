#include <fmt/format.h>
#include <sys/xattr.h>

#include <array>
#include <random>
#include <set>

#include "tests/unit/cli/program.h"

namespace {

constexpr const char* kSalesCode = "SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83";
constexpr const char* kImageId = "ModemImageID-b61eb57b-80e6-491c-afca-45ff77702391";
constexpr const char* kService = "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord";

class SelectTest : public ProgramTest {
 protected:
  SelectTest() {
    Make("fresh");
    fs::remove(In("fresh/efi") / kSalesCode);
  }

  void Firmware(const std::string& name, const std::string& data) {
    Write("fresh/efi/" + name, std::string("\x07\0\0\0", 4) + data);
  }
  /// Adds a .reg file with these lines below a key; the key is relative to the service's.
  void Registry(const std::string& key, const std::string& lines) {
    std::string const head = "Windows Registry Editor Version 5.00\n\n";
    Write(fmt::format("fresh/registry/{}.reg", 50 + files_++),
          fmt::format("{}[{}{}]\n{}\n", head, kService, key, lines));
  }
  void RemoveMap(const std::string& map) {
    Write(fmt::format("fresh/registry/{}.reg", 50 + files_++),
          fmt::format("Windows Registry Editor Version 5.00\n\n[-{}\\Parameters\\{}]\n", kService, map));
  }
  /// What else a folder's files are: their times and their DOS attributes.
  std::map<std::string, std::string> Facts(const std::string& name) const {
    std::map<std::string, std::string> facts;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(In(name))) {
      std::array<char, 64> attributes{};
      ::getxattr(entry.path().c_str(), "user.DOSATTRIB", attributes.data(), attributes.size() - 1);
      facts[entry.path().string()] =
          fmt::format("{} {}", entry.last_write_time().time_since_epoch().count(), attributes.data());
    }
    return facts;
  }
  json Select() { return RunJson({"select", "fresh"}); }
  static json SourceOf(const json& document, const std::string& id) {
    for (const json& source : document["sources"]) {
      if (source["source"] == id) return source;
    }
    return {};
  }

 private:
  int files_ = 0;
};

TEST_F(SelectTest, TheSalesCodeComesFirst) {
  Firmware(kSalesCode, "KOR");
  Registry("", "\"ModemImageID\"=\"ATT\"");
  json const document = Select();
  EXPECT_EQ(document["archive"]["name"], "KOR.bin");
  EXPECT_EQ(document["archive"]["path"], "c:\\windows\\system32\\modem_core\\KOR.bin");
  EXPECT_EQ(document["archive"]["present"], true);
  EXPECT_EQ(document["decided_by"], "csc_map");
  EXPECT_EQ(SourceOf(document, "sales_code")["found"], "\"KOR\"");
  EXPECT_EQ(SourceOf(document, "registry_image_id")["asked"], false);
  EXPECT_THAT(document["messages"].dump(), HasSubstr("CImageSelector::DetermineImageByCSC:62 : DetermineModemBinary"));
}

TEST_F(SelectTest, ASalesCodeThatTheMapDoesNotKnowLeadsToTheRegistrysImageId) {
  Firmware(kSalesCode, "XYZ");
  Firmware(kImageId, "KOR");
  Registry("", "\"ModemImageID\"=\"ATT\"");
  json const document = Select();
  EXPECT_EQ(document["archive"]["name"], "ATT.bin");
  EXPECT_EQ(document["decided_by"], "image_id_map");
  json const map = SourceOf(document, "csc_map");
  EXPECT_EQ(map["error"], 2);
  EXPECT_THAT(map["where"].get<std::string>(), HasSubstr("value \"XYZ\""));
  EXPECT_THAT(map["remark"].get<std::string>(), HasSubstr("The system cannot find the file specified"));
  EXPECT_EQ(SourceOf(document, "firmware_image_id")["remark"], "not asked: the registry has an ID");
}

TEST_F(SelectTest, WithoutAnIdInTheRegistryTheFirmwareIsAsked) {
  Firmware(kImageId, "KOR");
  json const document = Select();
  EXPECT_EQ(document["archive"]["name"], "KOR.bin");
  EXPECT_EQ(SourceOf(document, "registry_image_id")["error"], 2);
  EXPECT_EQ(SourceOf(document, "firmware_image_id")["found"], "\"KOR\"");
  EXPECT_EQ(SourceOf(document, "csc_map")["remark"], "not asked: there is no sales code to look up");
}

TEST_F(SelectTest, AnUnknownRegistryIdIsNotRetriedWithTheFirmwares) {
  Firmware(kImageId, "KOR");
  Registry("", "\"ModemImageID\"=\"NONE\"");
  json const document = Select();
  EXPECT_EQ(document["archive"]["name"], "VZW.bin");
  EXPECT_EQ(document["decided_by"], "default");
  EXPECT_EQ(SourceOf(document, "firmware_image_id")["asked"], false);
}

TEST_F(SelectTest, ASalesCodeOfFiveBytesIsToldWithItsError) {
  Firmware(kSalesCode, "KORXX");
  json const document = Select();
  json const code = SourceOf(document, "sales_code");
  EXPECT_EQ(code["error"], 10);
  EXPECT_EQ(code["found"], "\"KORXX\"");
  EXPECT_EQ(code["remark"], "5 bytes, not read: error 10, The environment is incorrect.");
  EXPECT_EQ(document["decided_by"], "default");
}

TEST_F(SelectTest, ADeniedMapIsToldWithItsError) {
  Firmware(kSalesCode, "KOR");
  Set("fresh", "/registry/denied", {"SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\CSC"});
  json const map = SourceOf(Select(), "csc_map");
  EXPECT_EQ(map["error"], 5);
  EXPECT_EQ(map["remark"], "its key cannot be opened: ERROR_ACCESS_DENIED (5), Access is denied.");
}

TEST_F(SelectTest, ADoubleQuoteInTheMapIsPartOfTheName) {
  Firmware(kSalesCode, "KOR");
  Registry("\\Parameters\\CSC", R"("KOR"="A\"B.bin")");
  json const document = Select();
  EXPECT_EQ(document["archive"]["name"], "A\"B.bin");
  EXPECT_EQ(document["decided_by"], "csc_map");
  EXPECT_EQ(RunJson({"run", "fresh"})["archive"]["path"], "c:\\windows\\system32\\modem_core\\A\"B.bin");
}

TEST_F(SelectTest, ANameOverNineCharactersIsCutAndMissing) {
  Firmware(kSalesCode, "KOR");
  Registry("\\Parameters\\CSC", "\"KOR\"=\"ABCDEFGHIJK.bin\"");
  json const document = Select();
  EXPECT_EQ(document["archive"]["name"], "ABCDEFGHI");
  EXPECT_EQ(document["archive"]["cut"], true);
  EXPECT_EQ(document["archive"]["present"], false);
  EXPECT_EQ(SourceOf(document, "csc_map")["found"], "\"ABCDEFGHIJK.bin\"");
  EXPECT_THAT(Run({"select", "fresh"}).out, HasSubstr("not on the tablet: the deployment would fail"));
}

TEST_F(SelectTest, TellsWhetherTheNextStartGoesForTheArchive) {
  EXPECT_EQ(Select()["next_start"]["goes_for_an_archive"], true);
  Make("already-deployed");
  json const document = RunJson({"select", "already-deployed"});
  EXPECT_EQ(document["archive"]["name"], "VZW.bin");
  EXPECT_EQ(document["next_start"]["goes_for_an_archive"], false);
  EXPECT_THAT(document["next_start"]["reason"].get<std::string>(), HasSubstr("AmssFwImagePath is \\SystemRoot"));
}

TEST_F(SelectTest, ATextThatPeopleReadNamesTheRuleAndMarksTheDecision) {
  Firmware(kSalesCode, "KOR");
  ProgramResult const result = Run({"select", "fresh"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, HasSubstr("Because     the map of sales codes has \"KOR.bin\" for \"KOR\""));
  EXPECT_THAT(result.out, HasSubstr("\"KOR.bin\"  <- decides"));
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos) << "no colours where there is no terminal";
}

TEST_F(SelectTest, TheMatrixHasEveryCodeAndIdOfTheMaps) {
  Registry("\\Parameters\\CSC", "\"TMO\"=\"TMO.bin\"\n\"LONG\"=\"KOR.bin\"\n\"CUT\"=\"ABCDEFGHIJK.bin\"");
  Registry("\\Parameters\\ImageID", "\"TENLETTERS\"=\"ATT.bin\"\n\"ELEVENLETTE\"=\"ATT.bin\"");
  Write("fresh/C/Windows/System32/modem_core/OLD.bin", "x");
  json const document = RunJson({"select", "--matrix", "fresh"});
  std::map<std::string, json> rows;
  for (const json& row : document["matrix"]) {
    rows[row["by"].get<std::string>() + " " + (row["name"].is_null() ? "" : row["name"].get<std::string>())] = row;
  }
  EXPECT_EQ(rows.size(), 12u);
  EXPECT_EQ(rows["sales_code KOR"]["archive"], "KOR.bin");
  EXPECT_EQ(rows["sales_code KOR"]["present"], true);
  EXPECT_EQ(rows["sales_code TMO"]["archive"], "TMO.bin");
  EXPECT_EQ(rows["sales_code TMO"]["present"], false);
  EXPECT_EQ(rows["sales_code LONG"]["reachable"], false);
  EXPECT_EQ(rows["sales_code LONG"]["remark"], "never used: looked up as \"LON\"");
  EXPECT_EQ(rows["sales_code CUT"]["cut"], true);
  EXPECT_EQ(rows["sales_code CUT"]["archive"], "ABCDEFGHI");
  EXPECT_EQ(rows["image_id TENLETTERS"]["reachable"], true);
  EXPECT_EQ(rows["image_id TENLETTERS"]["remark"], "by an ID in firmware only");
  EXPECT_EQ(rows["image_id ELEVENLETTE"]["reachable"], false);
  EXPECT_EQ(rows["default "]["archive"], "VZW.bin");
  EXPECT_EQ(document["unused"], json::array({"OLD.bin"}));
}

TEST_F(SelectTest, ChangesNothingToTheByte) {
  Firmware(kSalesCode, "KOR");
  RemoveMap("ImageID");
  auto const before = Contents("fresh");
  auto const facts = Facts("fresh");
  EXPECT_EQ(Run({"select", "fresh"}).exit_code, 0);
  EXPECT_EQ(Run({"select", "--matrix", "fresh"}).exit_code, 0);
  EXPECT_EQ(Contents("fresh"), before);
  EXPECT_EQ(Facts("fresh"), facts);
  EXPECT_FALSE(LeftSomething());
}

TEST_F(SelectTest, AFolderThatIsNoTabletIsBadInput) {
  EXPECT_EQ(RunJson({"select", "nowhere"}, 3)["error"]["problem"], "there is no such folder");
  Firmware("SALES_CODE", "KOR");
  json const document = RunJson({"select", "fresh"}, 3);
  EXPECT_THAT(document["error"]["place"].get<std::string>(), HasSubstr("fresh/efi/SALES_CODE"));
  EXPECT_THAT(document["error"]["next"].get<std::string>(), HasSubstr("NAME-GUID"));
}

// What one generated tablet is made of, drawn from few names so that they often meet.
class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}

  bool Chance(int percent) { return static_cast<int>(random_() % 100) < percent; }
  std::string Pick(const std::vector<std::string>& from) { return from[random_() % from.size()]; }
  std::string Id() {
    return Pick({"VZW", "KOR", "ATT", "KO", "vzw", "NINELETTR", "TENLETTERS", "ELEVENLETTE", "\xC3\xA9"});
  }
  std::string Code() { return Pick({"VZW", "KOR", "ATT", "kor", "KO", "KORX", "KORXX"}); }
  std::string Map() {
    std::string lines;
    for (const char* name : {"VZW", "KOR", "ATT", "KO", "NINELETTR", "TENLETTERS", "\xC3\xA9"}) {
      if (!Chance(60)) continue;
      std::string const entry = Pick({"\"VZW.bin\"", "\"KOR.bin\"", "\"att.BIN\"", "\"ABCDEFGHIJK.bin\"",
                                      "\"NINE9.bin\"", "\"NONE.bin\"", "dword:00000001", "-"});
      lines += fmt::format("\"{}\"={}\n", name, entry);
    }
    return lines;
  }

 private:
  std::mt19937 random_;
};

// The promise of the whole command: what it says is what a run then does.
TEST_F(SelectTest, AgreesWithWhatRunsDoOnManyTablets) {
  std::set<std::string> names;
  std::set<std::string> deciders;
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(fmt::format("tablet {}", seed));
    Generator draw(seed);
    for (const char* folder : {"fresh/efi", "fresh/registry"}) {
      for (const fs::directory_entry& entry : fs::directory_iterator(In(folder))) {
        if (entry.path().filename().string().front() != '1' && entry.path().filename().string().front() != '2') {
          fs::remove(entry.path());
        }
      }
    }
    if (draw.Chance(50)) RemoveMap("CSC");
    if (draw.Chance(50)) RemoveMap("ImageID");
    Registry("\\Parameters", "\"Distribute\"=dword:00000001");
    if (draw.Chance(80)) Registry("\\Parameters\\CSC", draw.Map());
    if (draw.Chance(80)) Registry("\\Parameters\\ImageID", draw.Map());
    if (draw.Chance(50)) Registry("", fmt::format("\"ModemImageID\"=\"{}\"", draw.Id()));
    if (draw.Chance(60)) Firmware(kSalesCode, draw.Code());
    if (draw.Chance(60)) Firmware(kImageId, draw.Id());
    json const selected = Select();
    json const ran = RunJson({"run", "fresh"});
    EXPECT_EQ(selected["archive"]["path"], ran["archive"]["path"]);
    EXPECT_EQ(selected["archive"]["present"], ran["deployed"]) << ran["reason"];
    EXPECT_EQ(selected["next_start"]["goes_for_an_archive"], true);
    EXPECT_FALSE(selected["decided_by"].is_null()) << selected["why"];
    names.insert(selected["archive"]["name"].get<std::string>());
    deciders.insert(selected["decided_by"].get<std::string>());
  }
  EXPECT_GT(names.size(), 4u) << "too few kinds of tablets";
  EXPECT_EQ(deciders.size(), 3u);
}

}  // namespace
