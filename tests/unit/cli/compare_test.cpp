#include <sys/xattr.h>

#include "tests/testing/zip_builder.h"
#include "tests/unit/cli/program.h"

namespace {

constexpr const char* kDeployed = "kept/C/Windows/System32/";

class CompareTest : public ProgramTest {
 protected:
  CompareTest() {
    Make("fresh");
    EXPECT_EQ(Run({"run", "fresh", "--save", "kept"}).exit_code, 0);
  }
  static std::string StateOf(const json& document, const std::string& name) {
    for (const json& file : document["files"]) {
      if (file["path"].get<std::string>().ends_with(name)) return file["state"];
    }
    return "not named";
  }
  static json DifferenceOf(const json& document, const std::string& name) {
    for (const json& file : document["files"]) {
      const json& side = file["after"].is_null() ? file["before"] : file["after"];
      if (side["path"].get<std::string>().ends_with(name)) return file;
    }
    return {};
  }
};

class VerifyTest : public CompareTest {};
class DiffTest : public CompareTest {};

TEST_F(VerifyTest, WhatARunDeployedIsAsInTheArchive) {
  json const document = RunJson({"verify", "kept"});
  EXPECT_EQ(document["files"].size(), 6u);
  EXPECT_EQ(StateOf(document, "\\qcdsp1v2850.mbn"), "equal");
  EXPECT_TRUE(document["archive"]["trouble"].is_null());
}

TEST_F(VerifyTest, TheDigestsAreThoseOfOtherTools) {
  json const document = RunJson({"verify", "kept"});
  std::string const command = "sha256sum " + In(std::string(kDeployed) + "qcdsp2850.mbn").string();
  std::unique_ptr<FILE, int (*)(FILE*)> const pipe(::popen(command.c_str(), "r"), ::pclose);
  std::string digest(64, ' ');
  ASSERT_EQ(std::fread(digest.data(), 1, 64, pipe.get()), 64u);
  EXPECT_THAT(document.dump(), HasSubstr("\"archive_sha256\":\"" + digest + "\""));
}

TEST_F(VerifyTest, AChangedByteAndAMissingFileAreFound) {
  std::string bytes = Read(std::string(kDeployed) + "qcdsp2850.mbn");
  bytes[100] = static_cast<char>(bytes[100] ^ 1);
  Write(std::string(kDeployed) + "qcdsp2850.mbn", bytes);
  fs::remove(In(std::string(kDeployed) + "modem_fw/release.txt"));
  auto const before = Contents("kept");
  json const document = RunJson({"verify", "kept"}, 5);
  EXPECT_EQ(StateOf(document, "\\qcdsp2850.mbn"), "differs");
  EXPECT_EQ(StateOf(document, "\\release.txt"), "missing");
  EXPECT_EQ(StateOf(document, "\\qcdsp1v2850.mbn"), "equal");
  EXPECT_THAT(Run({"verify", "kept"}).out, HasSubstr("4 of 6 are as in the archive"));
  EXPECT_EQ(Contents("kept"), before);
  EXPECT_FALSE(LeftSomething());
}

TEST_F(VerifyTest, AnotherArchiveCanBeNamed) {
  json const document = RunJson({"verify", "kept", "--archive", "kept/C/Windows/System32/modem_core/KOR.bin"}, 5);
  EXPECT_EQ(StateOf(document, "\\qcdsp1v2850.mbn"), "differs");
  EXPECT_EQ(StateOf(document, "\\KOR.txt"), "missing");
}

TEST_F(VerifyTest, AnArchiveThatTheServiceCannotExtractIsTrouble) {
  Write("no.zip", "this is text");
  json const none = RunJson({"verify", "kept", "--archive", "no.zip"}, 5);
  EXPECT_EQ(none["archive"]["trouble"], "the service finds no archive in it");
  ZipBuilder archive;
  archive.Add("qcdsp2850.mbn").edit_central = [](auto& header) { header.signature = 0; };
  archive.Add("b", ToBytes("x"));
  Write("hangs.zip", archive.Build());
  json const hangs = RunJson({"verify", "kept", "--archive", "hangs.zip", "--timeout", "1"}, 5);
  EXPECT_EQ(hangs["archive"]["trouble"], "the service hangs on it");
}

TEST_F(VerifyTest, ATabletWithoutItsArchiveIsBadInput) {
  fs::remove(In("kept/C/Windows/System32/modem_core/VZW.bin"));
  json const document = RunJson({"verify", "kept"}, 3);
  EXPECT_THAT(document["error"]["problem"].get<std::string>(), HasSubstr("modem_core\\VZW.bin, which it gets"));
  EXPECT_THAT(document["error"]["next"].get<std::string>(), HasSubstr("--archive"));
}

TEST_F(DiffTest, ATabletDoesNotDifferFromItself) {
  EXPECT_EQ(RunJson({"diff", "kept", "kept"})["equal"], true);
  EXPECT_THAT(Run({"diff", "kept", "kept"}).out, HasSubstr("Files       the same"));
}

TEST_F(DiffTest, ShowsWhatARunHasChanged) {
  json const document = RunJson({"diff", "fresh", "kept"}, 5);
  json const image = DifferenceOf(document, "\\qcdsp2850.mbn");
  EXPECT_TRUE(image["before"].is_null());
  EXPECT_EQ(image["after"]["attributes"], "RA");
  json const archive = DifferenceOf(document, "\\VZW.bin");
  EXPECT_EQ(archive["attributes"], true);
  EXPECT_EQ(archive["content"], false);
  EXPECT_THAT(document["registry"].dump(), HasSubstr("AmssSwImagePath"));
  EXPECT_EQ(RunJson({"run", "fresh"})["changes"]["registry"], document["registry"]);
}

TEST_F(DiffTest, FindsAChangedByteOfAFileOfTheSameSize) {
  fs::copy(In("kept"), In("other"), fs::copy_options::recursive);
  std::string bytes = Read("other/C/Windows/System32/qcdsp2850.mbn");
  bytes[7] = static_cast<char>(bytes[7] ^ 1);
  Write("other/C/Windows/System32/qcdsp2850.mbn", bytes);
  EXPECT_EQ(DifferenceOf(RunJson({"diff", "kept", "other"}, 5), "\\qcdsp2850.mbn")["content"], true);
}

TEST_F(DiffTest, FindsAVariableAndAnotherLetterCase) {
  ASSERT_EQ(Run({"run", "kept", "--save", "other"}).exit_code, 0);
  Write("other/efi/SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83", std::string("\x07\0\0\0KOR", 7));
  fs::rename(In("other/C/Windows/System32/modem_fw/release.txt"), In("other/C/Windows/System32/modem_fw/RELEASE.txt"));
  json const document = RunJson({"diff", "kept", "other"}, 5);
  ASSERT_EQ(document["firmware"].size(), 1u);
  EXPECT_EQ(document["firmware"][0]["before"], "\"VZW\"");
  EXPECT_EQ(document["firmware"][0]["after"], "\"KOR\"");
  ASSERT_EQ(document["files"].size(), 1u);
  EXPECT_EQ(document["files"][0]["letter_case"], true);
}

TEST_F(DiffTest, AMissingTabletIsBadInput) {
  EXPECT_EQ(RunJson({"diff", "kept", "nowhere"}, 3)["error"]["place"], "nowhere");
}

TEST_F(DiffTest, ATextFileIsShownByItsLines) {
  Write("kept/C/notes.txt", "one\r\ntwo\r\nthree\r\n");
  Write("fresh/C/notes.txt", "one\r\n2\x1b\r\n3\r\nthree\r\n");
  std::string const binary = Run({"diff", "fresh", "kept"}).out;
  EXPECT_THAT(binary, testing::Not(HasSubstr("- one"))) << "a file with control characters is not text";
  Write("fresh/C/notes.txt", "one\r\n2\r\n3\r\nthree\r\n");
  std::string const out = Run({"diff", "fresh", "kept"}).out;
  EXPECT_THAT(out, testing::ContainsRegex("notes.txt, before .*\n +- 2\n +- 3\n +\\+ two\n"));
  EXPECT_THAT(out, testing::Not(HasSubstr("- one")));
}

}  // namespace
