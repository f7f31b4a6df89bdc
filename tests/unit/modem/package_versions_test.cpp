#include <windows.h>

#include <algorithm>
#include <array>

#include "sim/tablet/drive/pe_version.h"
#include "tests/testing/modem_fixture.h"
#include "vantord/modem/modem_qc.h"

namespace modem_tests {
namespace {

constexpr char16_t kServiceExecutable[] = u"c:\\windows\\system32\\Vantord.exe";
constexpr char16_t kPartnerExecutable[] = u"c:\\windows\\system32\\PeltService.exe";

class PackageVersions : public ModemTest {
 protected:
  /// What reading the versions logs under its own name.
  std::vector<std::string> Read() {
    std::size_t const before = MessagesOf(kReader).size();
    m_modem.ReadMobileBroadBandPackageVer();
    std::vector<std::string> lines = MessagesOf(kReader);
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
    return lines;
  }
  void PutPackage(std::u16string_view version) { registry().PutText(kService, u"Version", version); }

  static constexpr char kReader[] = "CModemTemplate::ReadMobileBroadBandPackageVer";

 private:
  CModemQC m_modem;
};

TEST_F(PackageVersions, ThePackageAndBothServicesAreNamed) {
  PutPackage(u"10.2.3.4");
  drive().Put(kServiceExecutable, tablet::MakeExecutableWithVersion(1, 22, 333, 65535));
  drive().Put(kPartnerExecutable, tablet::MakeExecutableWithVersion(40000, 3, 2, 1));
  EXPECT_THAT(Read(),
              ElementsAre("CModemTemplate::ReadMobileBroadBandPackageVer:18 : ReadMobileBroadBandPackageVer = 10.2.3.4",
                          "CModemTemplate::ReadMobileBroadBandPackageVer:24 : GetVersionInfo - VANTORD_EXE = "
                          "1.22.333.65535",
                          "CModemTemplate::ReadMobileBroadBandPackageVer:29 : GetVersionInfo - PELTSERVICE_EXE = "
                          "40000.3.2.1"));
}

TEST_F(PackageVersions, TheProductsVersionIsNamedNotTheFiles) {
  Bytes executable = tablet::MakeExecutableWithVersion(7, 6, 5, 4);
  // The fixed record: signature and structure version, then the file's version and the product's, 8 bytes each.
  std::array<std::uint8_t, 4> const signature = {0xbd, 0x04, 0xef, 0xfe};
  auto const record = std::search(executable.begin(), executable.end(), signature.begin(), signature.end());
  ASSERT_NE(record, executable.end());
  std::fill(record + 8, record + 16, std::uint8_t{0x63});
  drive().Put(kServiceExecutable, executable);
  EXPECT_THAT(Read(), ElementsAre(HasSubstr("VANTORD_EXE = 7.6.5.4")));
}

TEST_F(PackageVersions, ABlockOf4096BytesIsRead) {
  drive().Put(kServiceExecutable, tablet::MakeExecutableWithVersion(1, 2, 3, 4));
  drive().OverrideVersionBlockSize(kServiceExecutable, 4096);
  EXPECT_THAT(Read(), ElementsAre(HasSubstr("VANTORD_EXE = 1.2.3.4")));
}

TEST_F(PackageVersions, ABlockOf4097BytesIsPassedOverInSilence) {
  drive().Put(kServiceExecutable, tablet::MakeExecutableWithVersion(1, 2, 3, 4));
  drive().Put(kPartnerExecutable, tablet::MakeExecutableWithVersion(5, 6, 7, 8));
  drive().OverrideVersionBlockSize(kServiceExecutable, 4097);
  EXPECT_THAT(Read(), ElementsAre(HasSubstr("PELTSERVICE_EXE = 5.6.7.8")));
}

TEST_F(PackageVersions, FilesWithoutAVersionArePassedOverInSilence) {
  drive().Put(kServiceExecutable, ToBytes("no executable"));
  EXPECT_THAT(Read(), IsEmpty());
}

TEST_F(PackageVersions, ABlockThatCannotBeReadIsPassedOverInSilence) {
  drive().Put(kServiceExecutable, tablet::MakeExecutableWithVersion(1, 2, 3, 4));
  drive().Put(kPartnerExecutable, tablet::MakeExecutableWithVersion(5, 6, 7, 8));
  Inject("GetFileVersionInfoW", kAccessDenied, 1, 1);
  EXPECT_THAT(Read(), ElementsAre(HasSubstr("PELTSERVICE_EXE = 5.6.7.8")));
  Inject("VerQueryValueW", kAccessDenied, 1, 1);
  EXPECT_THAT(Read(), ElementsAre(HasSubstr("PELTSERVICE_EXE = 5.6.7.8")));
}

TEST_F(PackageVersions, APackageVersionOf14CharactersFitsAndOneOf15IsAReadFailure) {
  PutPackage(u"12345678901234");
  EXPECT_THAT(Read(), ElementsAre(HasSubstr(":18 : ReadMobileBroadBandPackageVer = 12345678901234")));
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("ValueName = Version"))));
  PutPackage(u"123456789012345");
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_EQ(TimesLogged("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = Version"), 1u);
}

TEST_F(PackageVersions, APackageVersionWithoutTerminatorLosesItsFifteenthCharacter) {
  tablet::RegistryValue value = TextValue(u"123456789012345");
  value.data.resize(30);
  registry().Put(kService, u"Version", value);
  EXPECT_THAT(Read(), ElementsAre(HasSubstr("ReadMobileBroadBandPackageVer = 12345678901234")));
}

TEST_F(PackageVersions, WithoutAPackageVersionTheReadFailureIsLogged) {
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_EQ(TimesLogged("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = Version"), 1u);
}

}  // namespace
}  // namespace modem_tests
