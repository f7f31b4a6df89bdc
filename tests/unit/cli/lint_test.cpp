#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "tests/testing/zip_builder.h"
#include "tests/unit/cli/program.h"

namespace {

using testing_support::Bytes;

constexpr const char* kArchive = "fresh/C/Windows/System32/modem_core/VZW.bin";
constexpr std::uint32_t kUnixFile = 0100644u << 16;

/// A kind of archive: how it is made, and what lint prints for it. Every archive begins with the driver's two images.
struct Kind {
  std::string name;
  std::function<void(ZipBuilder&)> add;
  std::string verdict;
  std::vector<std::string> codes;     ///< of the entries after the images
  std::vector<std::string> warnings;  ///< what they are about
  std::function<void(Bytes&)> spoil = nullptr;
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

class LintTest : public ProgramTest {
 protected:
  LintTest() { Make("fresh"); }

  static Bytes MakeBytes(const Kind& kind) {
    ZipBuilder archive;
    archive.Add("qcdsp1v2850.mbn", Compressible(700));
    archive.Add("qcdsp2850.mbn", ToBytes("software"), 0);
    kind.add(archive);
    Bytes bytes = archive.Build();
    if (kind.spoil) kind.spoil(bytes);
    return bytes;
  }
  void Put(const ZipBuilder& archive, const std::string& file = kArchive) { Write(file, archive.Build()); }
  static std::vector<std::string> WarningsOf(const json& found) {
    std::vector<std::string> whats;
    for (const json& warning : found["warnings"]) whats.push_back(warning["what"]);
    return whats;
  }
};

class LintedArchive : public LintTest, public ::testing::WithParamInterface<Kind> {};

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

/// Holds the prediction against what became of the archive on a tablet.
void ExpectItHappened(const json& found, const json& ran) {
  std::string const verdict = found["verdict"];
  EXPECT_EQ(verdict == "deploys", ran["deployed"] == true) << ran["reason"];
  EXPECT_EQ(verdict == "hangs", ran["end"] == "hung");
  EXPECT_EQ(verdict == "unknown", ran["end"] == "not modelled");
  bool const nothing_found = ran["reason"].get<std::string>().ends_with("no archive that the service can read");
  EXPECT_EQ(verdict == "not found", nothing_found) << ran["reason"];
  std::vector<std::string> codes;
  for (const json& failure : ran["archive"]["failures"]) {
    std::string const text = failure;
    codes.push_back(fmt::format("0x{:08x}", std::stoul(text.substr(text.rfind("0x")), nullptr, 16)));
  }
  std::vector<std::string> predicted;
  std::set<std::string> written;
  for (const json& file : ran["changes"]["files"]) written.insert(Lower(file["path"]));
  for (const json& entry : found["entries"]) {
    if (entry["verdict"] == "refused" || entry["verdict"] == "fails") predicted.push_back(entry["code"]);
    if (entry["verdict"] == "accepted" && entry["folder"] == false) {
      EXPECT_TRUE(written.contains(Lower(entry["lands"]))) << entry["lands"];
    }
  }
  EXPECT_EQ(codes, predicted);
}

TEST_P(LintedArchive, IsDealtWithAsForetold) {
  const Kind& kind = GetParam();
  Write(kArchive, MakeBytes(kind));
  bool const clean = kind.verdict == "deploys" && kind.warnings.empty();
  json const document = RunJson({"lint", kArchive, "--timeout", "2"}, clean ? 0 : 5);
  json const found = document["archives"][0];
  EXPECT_EQ(found["verdict"], kind.verdict) << found["reason"];
  std::vector<std::string> codes;
  for (const json& entry : found["entries"]) codes.push_back(entry["code"].is_null() ? "-" : entry["code"]);
  if (codes.size() >= 2) codes.erase(codes.begin(), codes.begin() + 2);
  EXPECT_EQ(codes, kind.codes) << found["entries"].dump(1);
  EXPECT_EQ(WarningsOf(found), kind.warnings) << found["warnings"].dump(1);

  json const ran = json::parse(Run({"run", "fresh", "--json", "--timeout", "1"}).out);
  ExpectItHappened(found, ran);
  EXPECT_FALSE(LeftSomething());
}

constexpr const char* kOk = "0x00000000";
constexpr const char* kNoFile = "0x00000200";
constexpr const char* kPassword = "0x00001000";
constexpr const char* kData = "0x05000000";

/// One entry of this name.
std::function<void(ZipBuilder&)> Named(const std::string& name) {
  return [name](ZipBuilder& archive) { archive.Add(name, ToBytes("content")); };
}
/// One entry, changed before it is written.
std::function<void(ZipBuilder&)> Changed(std::function<void(ZipItem&)> change) {
  return [change](ZipBuilder& archive) { change(archive.Add("x.bin", Compressible(500), 0)); };
}
std::function<void(ZipBuilder&)> Two(const std::string& first, const std::string& second,
                                     std::uint32_t attributes = 0x20) {
  return [=](ZipBuilder& archive) {
    archive.Add(first, ToBytes("first")).external_attributes = attributes;
    archive.Add(second, ToBytes("second"));
  };
}
std::function<void(ZipBuilder&)> End(std::function<void(testing_support::EndRecord&)> change) {
  return [change](ZipBuilder& archive) {
    archive.Add("x.bin", ToBytes("content"));
    archive.edit_end = change;
  };
}

/// As large archives have them: a Zip64 end record and its locator in front of the end record.
void AddZip64Records(Bytes& bytes) {
  Bytes records(76, 0);
  std::ranges::copy(std::string_view("PK\6\6"), records.begin());
  std::ranges::copy(std::string_view("PK\6\7"), records.begin() + 56);
  bytes.insert(bytes.end() - 22, records.begin(), records.end());
}

const std::vector<Kind> kKinds{
    {"Plain", Named("x.bin"), "deploys", {kOk}, {}},
    {"Stored", Changed([](ZipItem&) {}), "deploys", {kOk}, {}},
    {"Folders", [](ZipBuilder& a) { a.AddFolder("sub/"), a.Add("sub/x", ToBytes("x")); }, "deploys", {kOk, kOk}, {}},
    {"NoMoreEntries", [](ZipBuilder&) {}, "deploys", {}, {}},
    {"EmptyFile", [](ZipBuilder& a) { a.Add("empty.txt"); }, "fails", {kData}, {}},
    {"UnknownMethod", Changed([](ZipItem& i) { i.method = 12; }), "fails", {kNoFile}, {}},
    {"Encrypted", Changed([](ZipItem& i) { i.password = "secret"; }), "fails", {kPassword}, {"encrypted"}},
    {"WrongChecksum",
     Changed([](ZipItem& i) { i.EditBoth([](auto& header) { header.crc32 ^= 1; }); }),
     "deploys",
     {kOk},
     {"checksum"}},
    {"CorruptData",
     [](ZipBuilder& a) { a.Add("x.bin", Compressible(500)).data = ToBytes("\xff\xff\xff\xff no deflated data"); },
     "fails",
     {kData},
     {}},
    {"DataThatEndsEarly",
     [](ZipBuilder& a) { a.Add("x.bin", Compressible(500)).data = testing_support::Deflate(Compressible(300)); },
     "deploys",
     {kOk},
     {"short"}},
    {"StoredDataCutOff", Changed([](ZipItem& i) { i.data = ToBytes("few"); }), "fails", {kData}, {}},
    {"LongestComment", [](ZipBuilder& a) { a.comment = Bytes(1006, 'c'); }, "deploys", {}, {}},
    {"CommentTooLong", [](ZipBuilder& a) { a.comment = Bytes(1007, 'c'); }, "not found", {}, {}},
    {"BytesAhead", [](ZipBuilder& a) { a.prefix = Bytes(500, 'p'), a.Add("x", ToBytes("x")); }, "deploys", {kOk}, {}},
    {"LocalNameOfAnotherLength",
     Changed([](ZipItem& i) { i.edit_local = [](auto& header) { header.name_length = 4; }; }),
     "fails",
     {kNoFile},
     {}},
    {"LocalChecksumDiffers",
     Changed([](ZipItem& i) { i.edit_local = [](auto& header) { header.crc32 ^= 1; }; }),
     "fails",
     {kNoFile},
     {}},
    {"DataDescriptor", Changed([](ZipItem& i) { i.data_descriptor = true; }), "deploys", {kOk}, {}},
    {"BadCentralHeaderInTheMiddle",
     [](ZipBuilder& a) {
       a.Add("bad.bin", ToBytes("x")).edit_central = [](auto& header) { header.signature = 0; };
       a.Add("never.bin", ToBytes("x"));
     },
     "hangs",
     {kData},
     {}},
    {"BadCentralHeaderAtTheEnd",
     Changed([](ZipItem& i) { i.edit_central = [](auto& header) { header.signature = 0; }; }),
     "fails",
     {kData},
     {}},
    {"OneEntryTooManyClaimed",
     End([](auto& end) { end.entries = end.entries_on_disk = 4; }),
     "fails",
     {kOk, kNoFile},
     {}},
    {"TwoEntriesTooManyClaimed",
     End([](auto& end) { end.entries = end.entries_on_disk = 5; }),
     "hangs",
     {kOk, kNoFile},
     {}},
    {"SeveralDisks", End([](auto& end) { end.disk = 1; }), "not found", {}, {}},
    {"Zip64", End([](auto& end) { end.directory_size = end.directory_offset = 0xFFFFFFFF; }), "not found", {}, {}},
    {"Zip64BesideAnUsualEndRecord", Named("x"), "hangs", {kNoFile}, {"zip64"}, AddZip64Records},
    {"EscapesUpwards", Named("../x.bin"), "deploys", {kOk}, {"escapes", "parent"}},
    {"StepsUpWithin", Named("a/../x.bin"), "deploys", {kOk}, {"parent"}},
    {"StepsUpTwice", Named("a/../../x.bin"), "deploys", {kOk}, {"escapes", "parent"}},
    {"Drive", Named("C:\\sub\\x.bin"), "deploys", {kOk}, {"backslash", "drive"}},
    {"Absolute", Named("/etc/x.bin"), "deploys", {kOk}, {"absolute"}},
    {"Backslash", Named("sub\\x.bin"), "deploys", {kOk}, {"backslash"}},
    {"Device", Named("NUL"), "unknown", {"-"}, {"device"}},
    {"TrailingDot", Named("x."), "deploys", {kOk}, {"trailing"}},
    {"TrailingBlank", Named("sub/x "), "deploys", {kOk}, {"trailing"}},
    {"CharacterThatWindowsForbids", Named("a<b"), "fails", {kNoFile}, {}},
    {"Colon", Named("ab:cd"), "fails", {kNoFile}, {"stream"}},
    {"NameTooLong", Named(std::string(300, 'n')), "deploys", {kOk}, {"long-path", "long-name"}},
    {"NotUtf8", Named("gr\xFC\xDF"), "deploys", {kOk}, {"encoding"}},
    {"SameNameTwice", Two("x.bin", "x.bin"), "deploys", {kOk, kOk}, {"duplicate"}},
    {"ReadOnlyTwice", Two("x.bin", "x.bin", 0x21), "deploys", {kOk, kOk}, {"duplicate"}},
    {"HiddenTwice", Two("x.bin", "x.bin", 0x22), "fails", {kOk, kNoFile}, {"duplicate"}},
    {"LetterCase", Two("x.bin", "X.BIN"), "deploys", {kOk, kOk}, {"case"}},
    {"FileWhereAFolderIsNeeded", Two("x", "x/y"), "fails", {kOk, kNoFile}, {}},
    {"FolderWithoutItsAttribute", Named("sub/"), "fails", {kNoFile}, {}},
    {"FolderThatCannotBeMade",
     [](ZipBuilder& a) { a.Add("x", ToBytes("x")), a.AddFolder("x/sub/"); },
     "deploys",
     {kOk, kOk},
     {"folder"}},
    {"UnixModes",
     [](ZipBuilder& a) {
       ZipItem& item = a.Add("x.bin", ToBytes("x"));
       item.version_made_by = 3 << 8;
       item.external_attributes = kUnixFile;
     },
     "deploys",
     {kOk},
     {}},
    {"NoArchiveAtAll", Named("x"), "not found", {}, {}, [](Bytes& bytes) { bytes = ToBytes("this is text"); }},
    {"CutOffInTheMiddle", Named("x"), "not found", {}, {}, [](Bytes& bytes) { bytes.resize(bytes.size() / 2); }},
    {"BytesMissingAhead",
     Named("x"),
     "not found",
     {},
     {},
     [](Bytes& bytes) { bytes.erase(bytes.begin(), bytes.begin() + 40); }},
};

INSTANTIATE_TEST_SUITE_P(Kinds, LintedArchive, ::testing::ValuesIn(kKinds),
                         [](const auto& info) { return info.param.name; });

TEST_F(LintTest, PlacesInMessagesAreTheUsersTabletNotItsCopy) {
  Write("fresh/C/Windows/Notes.txt", "one");
  Write("fresh/C/Windows/NOTES.TXT", "another");
  ProgramResult const result = Run({"lint", "--tablet", "fresh", kArchive});
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.err, testing::StartsWith("vantord-tablet: fresh/C/Windows/"));
}

TEST_F(LintTest, TheSamplesArchivesAreClean) {
  json const document = RunJson({"lint", kArchive, "fresh/C/Windows/System32/modem_core/KOR.bin"});
  ASSERT_EQ(document["archives"].size(), 2u);
  json const first = document["archives"][0]["entries"][0];
  EXPECT_EQ(first["name"], "qcdsp1v2850.mbn");
  EXPECT_EQ(first["lands"], "C:\\windows\\system32\\qcdsp1v2850.mbn");
  EXPECT_EQ(first["verdict"], "accepted");
}

TEST_F(LintTest, TheImagesAreThoseThatARunPointsTheDriverAt) {
  json const found = RunJson({"lint", kArchive, "--tablet", "fresh"})["archives"][0];
  json const ran = RunJson({"run", "fresh"});
  std::map<std::string, std::string> written;
  for (const json& change : ran["changes"]["registry"]) {
    if (change.contains("after")) written[change["value"]] = change["after"];
  }
  ASSERT_EQ(found["images"].size(), 2u);
  for (const json& image : found["images"]) {
    EXPECT_EQ(written[image["value"]], '"' + image["path"].get<std::string>() + '"');
    EXPECT_TRUE(image["entry"].is_number());
  }
}

TEST_F(LintTest, AnArchiveWithoutTheDriversImagesIsWarnedOf) {
  ZipBuilder archive;
  archive.Add("sub/qcdsp1v2850.mbn", ToBytes("x"));
  archive.Add("QCDSP2850.MBN", ToBytes("x"));
  Put(archive, "odd.zip");
  json const found = RunJson({"lint", "odd.zip"}, 5)["archives"][0];
  EXPECT_EQ(found["verdict"], "deploys");
  EXPECT_THAT(WarningsOf(found), ElementsAre("image"));
  EXPECT_THAT(found["warnings"][0]["text"].get<std::string>(), HasSubstr("\\SystemRoot\\System32\\qcdsp1v2850.mbn"));
}

TEST_F(LintTest, AnImageThatFailsIsNamedWithItsEntry) {
  ZipBuilder archive;
  archive.Add("qcdsp1v2850.mbn");
  archive.Add("qcdsp2850.mbn", ToBytes("x"));
  Put(archive, "odd.zip");
  json const found = RunJson({"lint", "odd.zip"}, 5)["archives"][0];
  EXPECT_EQ(found["verdict"], "fails");
  EXPECT_EQ(found["images"][0]["entry"], nullptr);
  EXPECT_EQ(found["images"][1]["entry"], 1);
  EXPECT_THAT(WarningsOf(found), ElementsAre("image"));
  EXPECT_THAT(found["warnings"][0]["text"].get<std::string>(), HasSubstr("and entry 0, which brings it, fails"));
}

TEST_F(LintTest, EntriesAfterADeviceNameAreJudged) {
  ZipBuilder archive;
  for (const char* name : {"qcdsp1v2850.mbn", "NUL", "qcdsp2850.mbn", "sub/com1.txt"}) archive.Add(name, ToBytes("x"));
  Put(archive, "odd.zip");
  json found = RunJson({"lint", "odd.zip"}, 5)["archives"][0];
  EXPECT_EQ(found["verdict"], "unknown");
  EXPECT_THAT(found["reason"].get<std::string>(), HasSubstr("2 of 4 entries have a device's name"));
  EXPECT_EQ(found["entries"][1]["verdict"], "unknown");
  EXPECT_EQ(found["entries"][2]["verdict"], "accepted");
  archive.Add("empty.txt");
  Put(archive, "odd.zip");
  found = RunJson({"lint", "odd.zip"}, 5)["archives"][0];
  EXPECT_EQ(found["verdict"], "fails");
  EXPECT_EQ(found["entries"][4]["verdict"], "fails");
}

TEST_F(LintTest, ADriverThatKeepsItsOwnSoftwareImageNeedsThatOne) {
  PutRegistry("fresh",
              "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Class\\"
              "{4d36e97d-e325-11ce-bfc1-08002be10318}\\0001]\n\"AmssFwImagePath\"=\"\\\\SystemRoot\\\\System32\\\\"
              "QCDSP1V2850.mbn\"\n\"AmssSwImagePath\"=\"\\\\SystemRoot\\\\own.mbn\"\n");
  json const found = RunJson({"lint", kArchive, "--tablet", "fresh"}, 5)["archives"][0];
  EXPECT_THAT(WarningsOf(found), ElementsAre("image"));
  EXPECT_EQ(found["images"][1]["path"], "\\SystemRoot\\own.mbn");
}

TEST_F(LintTest, WhatStandsOnTheTabletCounts) {
  fs::create_directories(In("fresh/C/Windows/System32/qcdsp2850.mbn"));
  json const found = RunJson({"lint", kArchive, "--tablet", "fresh"}, 5)["archives"][0];
  EXPECT_EQ(found["verdict"], "fails");
  EXPECT_EQ(found["entries"][1]["verdict"], "refused");
  EXPECT_EQ(found["entries"][1]["reason"], "its file cannot be made: ERROR_ACCESS_DENIED (5), Access is denied.");
}

TEST_F(LintTest, AnArchiveThatTheTabletHasNoRoomForFails) {
  EXPECT_EQ(RunJson({"lint", kArchive, "--tablet", "fresh"})["archives"][0]["free_bytes"], nullptr);
  Set("fresh", "/drive/free_bytes", 10'000);
  json const found = RunJson({"lint", kArchive, "--tablet", "fresh"}, 5)["archives"][0];
  EXPECT_EQ(found["verdict"], "fails");
  EXPECT_EQ(found["free_bytes"], 10000);
  EXPECT_GT(found["unpacked_bytes"], 10000);
  EXPECT_EQ(found["entries"][0]["code"], "0x00000400");
  EXPECT_THAT(std::string(found["entries"][0]["reason"]), HasSubstr("the drive is full"));
  EXPECT_THAT(Run({"lint", kArchive, "--tablet", "fresh"}).out, HasSubstr("unpacked, 10.0 kB free on the tablet"));
}

TEST_F(LintTest, SaysPlainlyThatAnArchiveHangsTheService) {
  ZipBuilder archive;
  archive.Add("a", ToBytes("x")).edit_central = [](auto& header) { header.signature = 0; };
  archive.Add("b", ToBytes("x"));
  Put(archive, "odd.zip");
  ProgramResult const result = Run({"lint", "odd.zip"});
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_THAT(result.out, HasSubstr("hangs"));
  EXPECT_THAT(result.out, HasSubstr("the central header of entry 0 is damaged or missing, and 2 entries are claimed"));
}

TEST_F(LintTest, SaysWhyAnArchiveIsNotFound) {
  ZipBuilder archive;
  archive.comment = Bytes(2000, 'c');
  Put(archive, "odd.zip");
  json const found = RunJson({"lint", "odd.zip"}, 5)["archives"][0];
  EXPECT_THAT(found["reason"].get<std::string>(), HasSubstr("2022 bytes before the end of the file"));
}

TEST_F(LintTest, LeavesArchiveAndTabletAsTheyAre) {
  auto const before = Contents("fresh");
  EXPECT_EQ(Run({"lint", kArchive, "--tablet", "fresh"}).exit_code, 0);
  EXPECT_EQ(Contents("fresh"), before);
  EXPECT_FALSE(LeftSomething());
}

TEST_F(LintTest, MissingFilesAreBadInput) {
  json const document = RunJson({"lint", "nothing.zip"}, 3);
  EXPECT_EQ(document["error"]["place"], "nothing.zip");
  EXPECT_EQ(document["error"]["problem"], "there is no such file");
  EXPECT_EQ(RunJson({"lint", kArchive, "--tablet", "nowhere"}, 3)["error"]["problem"], "there is no such folder");
}

}  // namespace
