// Tablets from Windows volumes, and what is known of them afterwards.
#include <sys/xattr.h>

#include "cli/import/import.h"
#include "cli/import/imported_drive.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/drive/dos_attributes.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"
#include "tests/testing/empty_hive.h"
#include "tests/testing/zip_builder.h"
#include "tests/unit/cli/import/hive_maker.h"
#include "tests/unit/cli/program.h"

namespace {

using tablet::InputError;
using namespace testing_support;

constexpr const char* kSystem = "volume/Windows/System32/config/SYSTEM";
constexpr const char* kSalesCode = "efi/SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83";

class ImportTest : public ProgramTest {
 protected:
  /// Makes "volume" from a small sample.
  void MakeVolume(const std::string& sample, int control_set = 1) {
    Make(sample);
    MakeWindowsVolume(In(sample), In("volume"), control_set);
  }
  void MakeVolumeAgain(const std::string& sample) {
    fs::remove_all(In("volume"));
    MakeVolume(sample);
  }
  /// The message of an import that must fail, in this process.
  std::string Refusal(const std::string& source, const cli::ImportOptions& options = {}) {
    try {
      cli::ImportTablet(In(source), In("imported"), options);
    } catch (const InputError& error) {
      EXPECT_FALSE(fs::exists(In("imported")));
      EXPECT_NE(error.next(), "");
      return error.what();
    }
    return "imported";
  }
  json Imported(std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"import", "volume", "imported"});
    return RunJson(options);
  }
  static std::string Taken(const json& document, const std::string& unknown) {
    for (const json& one : document["assumed"]) {
      if (one["unknown"] == unknown) return one["taken"];
    }
    return "known";
  }
  json Description() const { return json::parse(Read("imported/tablet.json")); }
};

TEST_F(ImportTest, AVolumeBecomesATabletThatRunsAsTheOneItWasMadeFrom) {
  MakeVolume("fresh", 2);
  auto const before = Contents("volume");
  Imported({"--sales-code", "VZW"});
  EXPECT_EQ(Contents("volume"), before);
  EXPECT_EQ(RunJson({"validate", "imported"})["valid"], true);
  json const original = RunJson({"run", "fresh"});
  json const run = RunJson({"run", "imported", "--save", "after"});
  EXPECT_EQ(run["deployment"], original["deployment"]);
  EXPECT_EQ(run["changes"]["files"], original["changes"]["files"]);
  EXPECT_EQ(run["status"], original["status"]);
  EXPECT_EQ(run["messages"], original["messages"]);
  EXPECT_THAT(Read("after/registry/zz-saved.reg"), HasSubstr("\\SYSTEM\\ControlSet002\\"));
  EXPECT_FALSE(LeftSomething());
}

TEST_F(ImportTest, OnlyKeysOfTheServiceComeAlong) {
  MakeVolume("fresh");
  Imported();
  std::string const text = Read("imported/registry/10-imported.reg");
  EXPECT_THAT(text, HasSubstr("\\SYSTEM\\ControlSet001\\Services\\Vantord\\Parameters\\CSC]\n\"ATT\"=\"ATT.bin\""));
  EXPECT_THAT(text, HasSubstr("\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State]"));
  EXPECT_THAT(text, Not(HasSubstr("Elsewhere")));
}

TEST_F(ImportTest, WhatIsNotKnownIsListedAndMarked) {
  MakeVolume("fresh");
  json const document = Imported();
  EXPECT_EQ(Taken(document, "the sales code"), "none");
  EXPECT_THAT(Taken(document, "the modem"), HasSubstr("present, since its driver is installed"));
  EXPECT_THAT(Description()["assumed"].dump(), HasSubstr("the sales code: none; --sales-code CODE"));
  EXPECT_THAT(Run({"import", "volume", "again"}).out, HasSubstr("Assumed     "));
  EXPECT_FALSE(fs::exists(In(std::string("imported/") + kSalesCode)));
}

TEST_F(ImportTest, AVolumeIsCheckedAsATabletWithPlacesBelowTheSource) {
  MakeVolume("fresh");
  fs::remove(In("volume/Windows/System32/modem_core/KOR.bin"));
  auto const before = Contents("volume");
  json const document = RunJson({"check", "volume"}, 5);
  EXPECT_EQ(Contents("volume"), before);
  std::vector<std::string> noted;
  bool missing = false;
  for (const json& finding : document["tablets"][0]["findings"]) {
    EXPECT_THAT(finding["file"].get<std::string>(), ::testing::StartsWith("volume"));
    if (finding["id"] == "assumed") noted.push_back(finding["text"]);
    missing = missing || finding["id"] == "archive-missing";
  }
  EXPECT_TRUE(missing) << document.dump(1);
  EXPECT_THAT(noted, ::testing::Contains("the sales code: none"));
  EXPECT_FALSE(LeftSomething());
}

TEST_F(ImportTest, OptionsSayWhatTheSourceDoesNot) {
  MakeVolume("fresh");
  EXPECT_THAT(Refusal("volume", {.sales_code = "LONG"}), HasSubstr("--sales-code: \"LONG\" is not a text of 1 to 3"));
  json const document = Imported({"--sales-code", "KOR", "--image-id", "ATT", "--modem", "late"});
  EXPECT_EQ(Taken(document, "the sales code"), "known");
  EXPECT_EQ(Taken(document, "the modem"), "known");
  EXPECT_EQ(Read(std::string("imported/") + kSalesCode), std::string("\7\0\0\0KOR", 7));
  EXPECT_EQ(Description()["modem"]["arrives_at_ms"], 5000);
  EXPECT_THAT(RunJson({"select", "imported"})["archive"]["name"], "KOR.bin");
  RunJson({"import", "volume", "wifi", "--modem", "no"});
  EXPECT_EQ(json::parse(Read("wifi/tablet.json"))["modem"]["present"], false);
}

TEST_F(ImportTest, AVolumeWithoutAnyTraceOfAModemIsAWiFiTablet) {
  MakeVolume("wifi-only");
  EXPECT_THAT(Taken(Imported(), "the modem"), HasSubstr("missing"));
  EXPECT_EQ(Description()["modem"]["present"], false);
}

TEST_F(ImportTest, RegisteredInterfacesAreTheModemsLinks) {
  Make("wifi-only");
  tablet::Registry registry;
  std::u16string const classes = u"SYSTEM\\CurrentControlSet\\Control\\DeviceClasses\\";
  registry.MakeKey(classes +
                   u"{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}\\##?#QCMS#1#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}");
  registry.MakeKey(classes +
                   u"{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}\\##?#ROOT#S#{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}");
  Write("wifi-only/registry/50.reg", tablet::WriteRegText(registry));
  MakeWindowsVolume(In("wifi-only"), In("volume"));
  EXPECT_EQ(Taken(Imported(), "the driver for firmware variables"), "known");
  EXPECT_EQ(Description()["modem"]["links"], json({"\\\\?\\QCMS#1#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}"}));
  EXPECT_EQ(Description()["firmware_driver"]["link"], "\\\\?\\ROOT#S#{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}");
}

TEST_F(ImportTest, DeployedFilesComeAlong) {
  MakeVolume("already-deployed");
  Imported({"--sales-code", "VZW"});
  EXPECT_EQ(RunJson({"verify", "imported"})["exit_code"], 0);
  EXPECT_EQ(RunJson({"run", "imported"})["deployment"], "not needed");
}

TEST_F(ImportTest, DumpsComeAlongAndEarlierOnesDoNot) {
  MakeVolume("crashed-modem");
  fs::create_directories(In("volume/Users/Public/Documents/RetailLog/CPCrash_20250101_000000"));
  Write("volume/Users/Public/Documents/RetailLog/CPCrash_20250101_000000/old.dmp", "old");
  Imported();
  auto const contents = Contents("imported/C");
  EXPECT_THAT(contents, Contains(::testing::Key(::testing::EndsWith(".dmp"))));
  EXPECT_TRUE(fs::is_directory(In("imported/C/Users/Public/Documents/RetailLog/CPCrash_20250101_000000")));
  EXPECT_FALSE(fs::exists(In("imported/C/Users/Public/Documents/RetailLog/CPCrash_20250101_000000/old.dmp")));
}

TEST_F(ImportTest, UsersWhoWereLoggedOnAreNotifiedOfTheCrash) {
  MakeVolume("crashed-modem");
  json const document = Imported();
  EXPECT_EQ(Taken(document, "users"), "known");
  EXPECT_EQ(Description()["sessions"][0]["id"], 1);
  json const toast = RunJson({"run", "imported"})["crash"]["toast"];
  json const original = RunJson({"run", "crashed-modem"})["crash"]["toast"];
  EXPECT_EQ(toast.value("session", 0), 1);
  EXPECT_EQ(toast.value("at_ms", -1), original.value("at_ms", -2));
  EXPECT_THAT(toast.value("user", ""), ::testing::StartsWith("S-1-5-21-"));  // the sample's hive has no name
  MakeVolumeAgain("crashed-nobody-logged-on");
  RunJson({"import", "volume", "nobody"});
  EXPECT_EQ(RunJson({"run", "nobody"})["crash"], RunJson({"run", "crashed-nobody-logged-on"})["crash"]);
}

TEST_F(ImportTest, NamesInAnyCaseAreFound) {
  MakeVolume("fresh");
  fs::rename(In("volume/Windows/System32"), In("volume/Windows/SYSTEM32"));
  fs::rename(In("volume/Windows"), In("volume/WINDOWS"));
  Imported();
  EXPECT_TRUE(fs::exists(In("imported/C/WINDOWS/SYSTEM32/modem_core/VZW.bin")));
}

TEST_F(ImportTest, AttributesOfSambaAndWineAreKept) {
  MakeVolume("fresh");
  fs::path const file = In("volume/Windows/System32/modem_core/VZW.bin");
  if (::setxattr(file.c_str(), "user.DOSATTRIB", "0x23", 5, 0) != 0) GTEST_SKIP() << "no extended attributes here";
  EXPECT_EQ(Taken(Imported(), "hidden, system and read-only files"), "known");
  tablet::KeptFacts const kept = tablet::ReadExtendedAttributes(In("imported/C/Windows/System32/modem_core/VZW.bin"));
  EXPECT_EQ(kept.attributes, 0x23u);
}

TEST_F(ImportTest, ADirtyHiveIsRefusedOrReadAndMarked) {
  MakeVolume("fresh");
  std::string hive = ReadBytes(In(kSystem));
  PutHiveNumber(hive, 4, 90);
  SealHive(hive);
  WriteBytes(In(kSystem), hive);
  ProgramResult const result = Run({"import", "volume", "imported"});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.err, HasSubstr("volume/Windows/System32/config/SYSTEM: is not up to date"));
  EXPECT_THAT(result.err, HasSubstr("--dirty"));
  EXPECT_FALSE(fs::exists(In("imported")));
  EXPECT_THAT(Taken(Imported({"--dirty"}), "the latest registry changes"), HasSubstr("left out"));
  EXPECT_THAT(Description()["assumed"].dump(), HasSubstr("SYSTEM: its sequence numbers are 90 and"));
}

TEST_F(ImportTest, WhatIsNoSourceIsRefused) {
  Make("fresh");
  fs::create_directories(In("empty"));
  Write("text", "this is text");
  EXPECT_THAT(Refusal("nowhere"), HasSubstr("nowhere: does not exist"));
  EXPECT_THAT(Refusal("fresh"), HasSubstr("is a tablet already"));
  EXPECT_THAT(Refusal("empty"), HasSubstr("is neither an image"));
  EXPECT_THAT(Refusal("text"), HasSubstr("is neither an image"));
  fs::create_directories(In("half/Windows/System32/config"));
  EXPECT_THAT(Refusal("half"), HasSubstr("half: has no Windows\\System32\\config\\SYSTEM"));
  EXPECT_TRUE(cli::IsImportable(In("half")));
  EXPECT_FALSE(cli::IsImportable(In("fresh")));
  EXPECT_FALSE(cli::IsImportable(In("nowhere")));
}

TEST_F(ImportTest, AControlSetThatIsMissingIsRefused) {
  MakeVolume("fresh", 1);
  tablet::Registry registry;
  registry.PutDword(u"SYSTEM\\Select", u"Current", 2);
  registry.MakeKey(u"SYSTEM\\ControlSet001");
  WriteHive(In(kSystem), registry, u"SYSTEM");
  EXPECT_THAT(Refusal("volume"), HasSubstr("SYSTEM\\Select says that ControlSet002 is current"));
  WriteHive(In(kSystem), tablet::Registry(), u"SYSTEM");
  EXPECT_THAT(Refusal("volume"), HasSubstr("does not say which control set"));
}

TEST_F(ImportTest, LinksAndDoubledNamesAreRefused) {
  MakeVolume("fresh");
  fs::create_symlink("unsupported reparse tag 0x80000017", In("volume/Windows/System32/qcdsp2850.mbn"));
  EXPECT_THAT(Refusal("volume"), HasSubstr("qcdsp2850.mbn: is a link to unsupported reparse tag 0x80000017"));
  fs::remove(In("volume/Windows/System32/qcdsp2850.mbn"));
  fs::create_directory(In("volume/windows"));
  EXPECT_THAT(Refusal("volume"), HasSubstr("differ in case only"));
}

TEST_F(ImportTest, NothingIsReplacedUnasked) {
  MakeVolume("fresh");
  Imported();
  Write("imported/mine", "mine");
  EXPECT_EQ(Run({"import", "volume", "imported"}).exit_code, 3);
  EXPECT_EQ(Read("imported/mine"), "mine");
  Imported({"--force", "--sales-code", "ATT"});
  EXPECT_FALSE(fs::exists(In("imported/mine")));
  fs::create_directories(In("other/folder"));
  EXPECT_THAT(Run({"import", "volume", "other", "--force"}).err, HasSubstr("other: is not a tablet"));
  EXPECT_THAT(Run({"import", "volume", "volume/new"}).err, HasSubstr("which is read"));
}

TEST_F(ImportTest, NamesInArchivesNeverLeadElsewhere) {
  ZipBuilder archive;
  archive.Add("a/b.mbn", ToBytes("x"));
  archive.Add("../up", ToBytes("x"));
  archive.Add("c:/d", ToBytes("x"));
  archive.Add("/e", ToBytes("x"));
  Write("a.bin", archive.Build());
  EXPECT_THAT(cli::FilesInArchive(In("a.bin")), ::testing::ElementsAre(u"a\\b.mbn"));
  Write("b.bin", "no archive");
  EXPECT_THAT(cli::FilesInArchive(In("b.bin")), ::testing::IsEmpty());
}

}  // namespace
