// What tablets get wrong in the field: each mistake passes the other commands, and fails the check with its name.
#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "cli/check/tablet_check.h"
#include "cli/samples/samples.h"
#include "tests/testing/zip_builder.h"
#include "tests/unit/cli/program.h"

namespace {

using cli::CheckFinding;
using cli::TabletCheck;

constexpr const char* kService = R"(SYSTEM\CurrentControlSet\Services\Vantord)";
constexpr const char* kClass = R"(SYSTEM\CurrentControlSet\Control\Class\{4d36e97d-e325-11ce-bfc1-08002be10318})";
constexpr const char* kInstance =
    R"(SYSTEM\CurrentControlSet\Control\Class\{4d36e97d-e325-11ce-bfc1-08002be10318}\0001)";
constexpr const char* kSetup = R"(SOFTWARE\Microsoft\Windows\CurrentVersion\Setup\State)";
constexpr const char* kCrash = R"(SYSTEM\CurrentControlSet\Control\CrashControl)";
constexpr const char* kLogon = R"(SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\LogonUI)";
constexpr const char* kOurPath = R"("AmssFwImagePath"="\\SystemRoot\\System32\\qcdsp1v2850.mbn")";

/// A tablet of the sample "fresh" that can be spoilt.
class Spoilt {
 public:
  explicit Spoilt(fs::path folder) : folder_(std::move(folder)) {}

  fs::path Drive(const std::string& path = {}) const { return folder_ / "C" / "Windows" / path; }
  fs::path Archive(const std::string& name) const { return Drive("System32/modem_core") / name; }
  void Write(const fs::path& file, const std::string& text) const {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
  }
  /// Lines below a key.
  void Registry(const std::string& key, const std::string& lines) {
    Write(folder_ / "registry" / fmt::format("{}.reg", 50 + files_++),
          fmt::format("Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\{}]\n{}\n", key, lines));
  }
  void Map(const std::string& line) { Registry(std::string(kService) + "\\Parameters\\CSC", line); }
  void Parameters(const std::string& line) { Registry(std::string(kService) + "\\Parameters", line); }
  void Firmware(const std::string& name, const std::string& data) const {
    Write(folder_ / "efi" / name, std::string("\x07\0\0\0", 4) + data);
  }
  /// Changes tablet.json: "/drive/free_bytes".
  void Setting(const std::string& pointer, const json& value) const {
    fs::path const file = folder_ / "tablet.json";
    json description = json::parse(std::ifstream(file));
    description[json::json_pointer(pointer)] = value;
    Write(file, description.dump(1));
  }
  /// KOR.bin, made of the driver's two images and what `add` adds.
  void Korean(const std::function<void(ZipBuilder&)>& add) const {
    ZipBuilder archive;
    archive.Add("qcdsp1v2850.mbn", Compressible(700));
    archive.Add("qcdsp2850.mbn", ToBytes("software"), 0);
    add(archive);
    Put("KOR.bin", archive);
  }
  void KoreanEntry(const std::function<void(ZipItem&)>& change) const {
    Korean([&](ZipBuilder& archive) { change(archive.Add("modem_fw/x.bin", Compressible(500), 0)); });
  }
  void Put(const std::string& name, const ZipBuilder& archive) const {
    auto const bytes = archive.Build();
    Write(Archive(name), std::string(bytes.begin(), bytes.end()));
  }

 private:
  fs::path folder_;
  int files_ = 0;
};

struct Mistake {
  std::string name;
  std::function<void(Spoilt&)> make;
  std::string id;
  std::string text;   ///< part of the finding's text
  std::string place;  ///< part of where it is
  std::string sample = "fresh";
};
void PrintTo(const Mistake& mistake, std::ostream* out) { *out << mistake.name; }

class FieldMistake : public ProgramTest, public ::testing::WithParamInterface<Mistake> {};

TabletCheck CheckWithoutStops(const fs::path& folder) {
  cli::Console console;
  cli::CheckSettings settings;
  settings.stops = false;
  settings.time_out = std::chrono::milliseconds(1000);
  return cli::CheckTablet(folder, settings, console);
}

TEST_P(FieldMistake, PassesTheOtherCommandsAndIsNamedByTheCheck) {
  const Mistake& mistake = GetParam();
  cli::MakeSample(mistake.sample, true, In("fresh"));
  Spoilt tablet(In("fresh"));
  mistake.make(tablet);
  EXPECT_EQ(Run({"validate", "fresh"}).exit_code, 0);
  EXPECT_EQ(Run({"select", "fresh", "--matrix"}).exit_code, 0);
  EXPECT_EQ(Run({"run", "fresh", "--quiet"}).exit_code, 0);

  TabletCheck const check = CheckWithoutStops(In("fresh"));
  EXPECT_TRUE(check.well_formed);
  EXPECT_FALSE(check.well());
  std::string all;
  bool found = false;
  for (const CheckFinding& finding : check.findings) {
    all += fmt::format("{} at {}: {}\n", finding.id, finding.place.Text(), finding.text);
    found = found || (finding.id == mistake.id && finding.text.find(mistake.text) != std::string::npos &&
                      finding.place.Text().find(mistake.place) != std::string::npos && finding.fails());
  }
  EXPECT_TRUE(found) << all;
}

std::function<void(Spoilt&)> ServiceValue(const std::string& line) {
  return [line](Spoilt& tablet) { tablet.Registry(kService, line); };
}
std::function<void(Spoilt&)> Parameter(const std::string& line) {
  return [line](Spoilt& tablet) { tablet.Parameters(line); };
}
std::function<void(Spoilt&)> MapLine(const std::string& line) {
  return [line](Spoilt& tablet) { tablet.Map(line); };
}
std::function<void(Spoilt&)> KoreanEntry(const std::function<void(ZipItem&)>& change) {
  return [change](Spoilt& tablet) { tablet.KoreanEntry(change); };
}
std::function<void(Spoilt&)> KoreanName(const std::string& name) {
  return [name](Spoilt& tablet) { tablet.Korean([&](ZipBuilder& archive) { archive.Add(name, ToBytes("content")); }); };
}
void CutOneByte(Spoilt& tablet) {
  fs::resize_file(tablet.Archive("KOR.bin"), fs::file_size(tablet.Archive("KOR.bin")) - 1);
}
void PutAFolder(Spoilt& tablet) {
  fs::remove(tablet.Archive("KOR.bin"));
  fs::create_directory(tablet.Archive("KOR.bin"));
}

const std::vector<Mistake> kMistakes{
    {"RequestIsAText", Parameter("\"Distribute\"=\"1\""), "distribute", "is REG_SZ, not REG_DWORD", "50.reg"},
    {"RequestHasEightBytes", Parameter("\"Distribute\"=hex(b):01,00,00,00,00,00,00,00"), "distribute",
     "is REG_QWORD of 8 bytes", "50.reg"},
    {"RequestInAnExportOfAnOfflineHive",
     [](Spoilt& tablet) {
       std::u16string const text =
           u"\uFEFFWindows Registry Editor Version 5.00\r\n\r\n"
           u"[HKEY_LOCAL_MACHINE\\SYSTEM\\Select]\r\n\"Current\"=dword:00000001\r\n\r\n"
           u"[HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001\\Services\\Vantord\\Parameters]\r\n\"Distribute\"=\"1\"\r\n";
       tablet.Write(tablet.Drive("../../registry/60-export.reg"),
                    std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2));
     },
     "distribute", "is REG_SZ, not REG_DWORD", "60-export.reg:7"},
    {"RequestIsTwo", Parameter("\"Distribute\"=dword:00000002"), "distribute", "is 2, and only 1 requests", "50.reg"},
    {"ZoneMaskIsAText", Parameter("\"ulZoneMask\"=\"0x4000F\""), "zone-mask", "is REG_SZ of 16 bytes", "50.reg"},
    {"FlagForThePartnerIsAText", Parameter("\"PELT_KNOW_TO_GO_SSR\"=\"yes\""), "ssr-flag", "REG_SZ of 8 bytes",
     "50.reg"},
    {"VersionIsTooLong", ServiceValue("\"Version\"=\"1.0.25.0 of 2018-08-16\""), "version", "has 22 characters",
     "50.reg"},
    {"ImageIdIsTooLong", ServiceValue("\"ModemImageID\"=\"KOREA_LTE1\""), "image-id", "has 10 characters", "50.reg"},
    {"ImageIdIsInNoMap",
     [](Spoilt& tablet) {
       tablet.Registry(kService, "\"ModemImageID\"=\"TMO\"");
       fs::remove_all(tablet.Drive("../../efi"));
     },
     "image-id-unmapped", "no map has the tablet's image ID \"TMO\": it gets VZW.bin", "50.reg"},
    {"StartsOnDemandOnly", ServiceValue("\"Start\"=dword:00000003"), "service", "does not start the service", "50.reg"},
    {"ServiceIsNotRegistered", ServiceValue("\"Start\"=-"), "service", "is not registered", "10-image.reg"},
    {"ServicesProgramIsMissing", [](Spoilt& tablet) { fs::remove(tablet.Drive("System32/Vantord.exe")); }, "service",
     "drive C: has no such file", "10-image.reg"},
    {"UserIsANumber", [](Spoilt& tablet) { tablet.Registry(kLogon, "\"SelectedUserSID\"=dword:00000001"); }, "user-sid",
     "is REG_DWORD, not REG_SZ", "50.reg"},
    {"ImageStateInLowerCase",
     [](Spoilt& tablet) { tablet.Registry(kSetup, "\"ImageState\"=\"image_state_undeployable\""); }, "image-state",
     "letter case counts", "50.reg"},
    {"CrashDumpsAsAText", [](Spoilt& tablet) { tablet.Registry(kCrash, "\"CrashDumpEnabled\"=\"1\""); }, "crash-dumps",
     "not REG_DWORD", "50.reg"},
    {"NobodyCanBeNotified", [](Spoilt& tablet) { tablet.Registry(kCrash, "\"CrashDumpEnabled\"=dword:00000001"); },
     "toast-program", "nobody is notified", "50.reg"},
    {"NoticesArchiveIsDamaged",
     [](Spoilt& tablet) { tablet.Write(tablet.Drive("ToastGenerator/ToastResource_20180816.zip"), "text"); },
     "toast-archive", "is no archive that the service can read", "C"},
    {"SalesCodeHasFiveBytes",
     [](Spoilt& tablet) { tablet.Firmware("SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83", "VZW\r\n"); },
     "sales-code", "5 bytes; the service takes 3 characters", "SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83"},
    {"SalesCodeIsInNoMap",
     [](Spoilt& tablet) { tablet.Firmware("SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83", "USC"); },
     "sales-code-unmapped", "sales code \"USC\": it gets VZW.bin", "SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83"},
    {"SalesCodeOfAnotherVendor",
     [](Spoilt& tablet) { tablet.Firmware("SALES_CODE-11111111-b4fb-4d02-97d2-8597337abc83", "KOR"); },
     "firmware-vendor", "never for this variable", "SALES_CODE-11111111-b4fb-4d02-97d2-8597337abc83"},
    {"ImageIdInFirmwareIsTooLong",
     [](Spoilt& tablet) { tablet.Firmware("ModemImageID-b61eb57b-80e6-491c-afca-45ff77702391", "KOREA_LTE_1"); },
     "firmware-image-id", "11 bytes", "ModemImageID-b61eb57b-80e6-491c-afca-45ff77702391"},
    {"FirmwareDriverIsMissing", [](Spoilt& tablet) { tablet.Setting("/firmware_driver/present", false); },
     "firmware-driver", "no sales code can be read", "tablet.json"},
    {"MapHasANumber", MapLine("\"KOR\"=dword:00000001"), "map-type", "is REG_DWORD, not REG_SZ", "50.reg"},
    {"MapNamesNothing", MapLine("\"KOR\"=\"\""), "map-empty", "names no archive", "50.reg"},
    {"ArchivesNameIsTooLong",
     [](Spoilt& tablet) {
       tablet.Map("\"KOR\"=\"KOREA_SKT.bin\"");
       fs::rename(tablet.Archive("KOR.bin"), tablet.Archive("KOREA_SKT.bin"));
     },
     "map-cut", "the service uses \"KOREA_SKT\"", "50.reg"},
    {"CodeOfFourLetters", MapLine("\"KORX\"=\"KOR.bin\""), "map-unreachable", "\"KORX\" is never used", "50.reg"},
    {"ArchiveIsMissing", [](Spoilt& tablet) { fs::remove(tablet.Archive("KOR.bin")); }, "archive-missing",
     "sales code KOR leads to", "10-image.reg"},
    {"ArchiveIsAFolder", PutAFolder, "archive-missing", "sales code KOR leads to", "10-image.reg"},
    {"NothingLeadsToAnArchive", [](Spoilt& tablet) { fs::copy(tablet.Archive("KOR.bin"), tablet.Archive("KR2.bin")); },
     "archive-unused", "nothing leads to this file", "KR2.bin"},
    {"ArchiveIsOneByteShort", CutOneByte, "archive-cut-off", "it is shorter than it was made", "KOR.bin"},
    {"CommentIsTooLong", [](Spoilt& tablet) { tablet.Korean([](ZipBuilder& a) { a.comment.assign(1007, 'c'); }); },
     "archive-not-found", "a comment may have 1006 bytes", "KOR.bin"},
    {"ArchiveHangsTheService",
     [](Spoilt& tablet) {
       tablet.Korean([](ZipBuilder& a) {
         a.Add("bad.bin", ToBytes("x")).edit_central = [](auto& header) { header.signature = 0; };
         a.Add("never.bin", ToBytes("x"));
       });
     },
     "archive-hangs", "the service never returns", "KOR.bin"},
    {"EntryIsEmpty", [](Spoilt& tablet) { tablet.Korean([](ZipBuilder& a) { a.Add("empty.txt"); }); }, "entry-empty",
     "takes an empty file for a failure", "KOR.bin"},
    {"EntryIsEncrypted", KoreanEntry([](ZipItem& item) { item.password = "secret"; }), "entry-password",
     "the service has no password", "KOR.bin"},
    {"EntryByAnotherMethod", KoreanEntry([](ZipItem& item) { item.method = 12; }), "entry-method",
     "compression method 12", "KOR.bin"},
    {"EntrysDataIsDamaged", KoreanEntry([](ZipItem& item) {
       item.method = 8;
       item.data = ToBytes("\xff\xff\xff\xff no deflated data");
     }),
     "entry-data", "cannot be unpacked", "KOR.bin"},
    {"EntrysHeadersDisagree",
     KoreanEntry([](ZipItem& item) { item.edit_local = [](auto& header) { header.crc32 ^= 1; }; }), "entry-header",
     "disagrees with the central directory", "KOR.bin"},
    {"ChecksumDiffers", KoreanEntry([](ZipItem& item) { item.EditBoth([](auto& header) { header.crc32 ^= 1; }); }),
     "archive-checksum", "the service does not notice", "KOR.bin"},
    {"DataEndsEarly", KoreanEntry([](ZipItem& item) {
       item.method = 8;
       item.data = testing_support::Deflate(Compressible(300));
     }),
     "archive-short", "after 300 of 500 bytes", "KOR.bin"},
    {"EntryLeavesTheSystemFolder", KoreanName("../x.bin"), "archive-escapes", "outside of the system folder",
     "KOR.bin"},
    {"EntryIsADevice", KoreanName("NUL"), "entry-device", "is a device's", "KOR.bin"},
    {"NameWithACharacterThatWindowsForbids", KoreanName("a<b"), "entry-file", "cannot be made", "KOR.bin"},
    {"ArchiveLacksTheDriversImages",
     [](Spoilt& tablet) {
       ZipBuilder archive;
       archive.Add("firmware/qcdsp1v2850.mbn", Compressible(700));
       tablet.Put("KOR.bin", archive);
     },
     "driver-file", "qcdsp1v2850.mbn and C:\\Windows\\System32\\qcdsp2850.mbn", "KOR.bin"},
    {"DriveIsFull", [](Spoilt& tablet) { tablet.Setting("/drive/free_bytes", 20'000); }, "entry-full",
     "the drive is full", "VZW.bin"},
    {"TargetIsLocked",
     [](Spoilt& tablet) {
       tablet.Write(tablet.Drive("System32/qcdsp2850.mbn"), "old");
       tablet.Setting("/drive/locked", {"C:\\Windows\\System32\\qcdsp2850.mbn"});
     },
     "entry-file", "ERROR_SHARING_VIOLATION", "VZW.bin"},
    {"TargetIsAFolder", [](Spoilt& tablet) { fs::create_directory(tablet.Drive("System32/qcdsp2850.mbn")); },
     "entry-file", "cannot be made", "VZW.bin"},
    {"DriverHasNoInstance",
     [](Spoilt& tablet) { tablet.Registry(std::string(kClass) + "\\0001", "\"AmssFwImagePath\"=-"); },
     "driver-instance", "no start deploys anything", "20-modem-class.reg"},
    {"DriverHasTwoInstances",
     [](Spoilt& tablet) { tablet.Registry(std::string(kClass) + "\\0000", "\"AmssFwImagePath\"=\"old.mbn\""); },
     "driver-instances", "2 instances", "50.reg"},
    {"DriversPathIsANumber",
     [](Spoilt& tablet) { tablet.Registry(std::string(kClass) + "\\0001", "\"AmssFwImagePath\"=dword:00000001"); },
     "driver-path", "is REG_DWORD, not REG_SZ", "50.reg"},
    {"ModemsClassIsReadOnly", [](Spoilt& tablet) { tablet.Setting("/registry/read_only", {kClass}); }, "key-access",
     "may not write SYSTEM\\CurrentControlSet\\Control\\Class", "tablet.json"},
    {"DriversKeyIsReadOnly", [](Spoilt& tablet) { tablet.Setting("/registry/read_only", {kInstance}); },
     "driver-not-updated", "it cannot be written", "20-modem-class.reg"},
    {"EveryStartDeploysAnew", [](Spoilt& tablet) { tablet.Setting("/registry/read_only", {kInstance}); }, "second-boot",
     "it goes for c:\\windows\\system32\\modem_core\\VZW.bin again", "fresh"},
    {"RequestStays",
     [](Spoilt& tablet) {
       tablet.Parameters("\"Distribute\"=dword:00000001");
       tablet.Setting("/registry/read_only", {std::string(kService) + "\\Parameters"});
     },
     "second-boot", "again", "fresh"},
    {"PathsAreRightAndFilesMissing", [](Spoilt& tablet) { tablet.Registry(std::string(kClass) + "\\0001", kOurPath); },
     "deployed-differs", "no start deploys it, and C:\\Windows\\System32\\", "VZW.bin"},
    {"SoftwarePathAloneIsWrong",
     [](Spoilt& tablet) { tablet.Registry(kInstance, "\"AmssSwImagePath\"=\"\\\\SystemRoot\\\\old.mbn\""); },
     "driver-file", "pointed at C:\\Windows\\old.mbn", "50.reg", "already-deployed"},
    {"DeployedForOneCodeOnly", [](Spoilt&) {}, "other-archives", "keep the files of VZW.bin", "20-modem-class.reg",
     "already-deployed"},
    {"DeployedFilesAreOlder", [](Spoilt& tablet) { tablet.Write(tablet.Drive("System32/qcdsp2850.mbn"), "older"); },
     "deployed-differs", "C:\\Windows\\System32\\qcdsp2850.mbn differs", "VZW.bin", "already-deployed"},
    {"ModemIsNotReset", [](Spoilt& tablet) { tablet.Setting("/amss/present", false); }, "modem-reset",
     "only after a restart", "tablet.json"},
};

INSTANTIATE_TEST_SUITE_P(Mistakes, FieldMistake, ::testing::ValuesIn(kMistakes),
                         [](const auto& info) { return info.param.name; });

TEST_F(ProgramTest, AStartThatDoesNotMendAPowerCutFailsTheCheck) {
  cli::MakeSample("fresh", true, In("fresh"));
  cli::Console console;
  cli::CheckSettings settings;
  settings.prepare_stop = [](cli::TabletRun& run, const cli::SweepTask& task, int start) {
    if (task.cut_at == 0 || start == 1) return;
    run.machine().registry().PutText(u"SYSTEM\\CurrentControlSet\\Services\\Vantord", u"Left", u"over");
  };
  TabletCheck const check = cli::CheckTablet(In("fresh"), settings, console);
  EXPECT_FALSE(check.well());
  ASSERT_EQ(check.findings.size(), 1u);
  EXPECT_EQ(check.findings[0].id, "stop-anywhere");
  EXPECT_THAT(check.findings[0].text, HasSubstr("converges: registry SYSTEM"));
  EXPECT_THAT(check.findings[0].text, HasSubstr("\"Left\": is there"));
  EXPECT_THAT(check.findings[0].next, HasSubstr("on a tablet with sales code ATT: vantord-tablet run "));
}

/// What the mistakes are compared with: a sample is found wrong where it is meant to be, and nowhere else.
TEST_F(ProgramTest, SamplesFailTheCheckForWhatTheyShowOnly) {
  std::map<std::string, std::string> const wanted{
      {"already-deployed", "other-archives"},
      {"crashed-modem", "other-archives"},
      {"crashed-nobody-logged-on", "other-archives"},
      {"crashed-two-sessions", "other-archives"},
      {"no-amss-driver", "modem-reset"},
      {"corrupt-archive", "entry-data"},
      {"missing-archive", "archive-missing"},
      {"no-firmware-driver", "firmware-driver"},
      {"firmware-io-errors-for-ever", "firmware-driver"},
  };
  for (const cli::Sample& sample : cli::Samples()) {
    std::string const name(sample.name);
    cli::MakeSample(name, true, In(name));
    TabletCheck const check = CheckWithoutStops(In(name));
    std::string ids;
    for (const CheckFinding& finding : check.findings) ids += (ids.empty() ? "" : " ") + finding.id;
    EXPECT_EQ(ids, wanted.contains(name) ? wanted.at(name) : "") << name;
    EXPECT_EQ(check.well(), !wanted.contains(name)) << name;
  }
}

}  // namespace
