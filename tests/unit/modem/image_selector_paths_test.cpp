#include <windows.h>

#include "tests/testing/modem_fixture.h"
#include "vantord/modem/modem_qc.h"

namespace modem_tests {
namespace {

/// A tablet on which every deployment succeeds: what becomes of the paths is then the paths' own business.
class ImagePaths : public ModemTest {
 protected:
  ImagePaths() { PutArchive(); }

  void StartModem() {
    CModemQC modem;
    modem.Init();
  }

  std::optional<std::u16string> FirmwarePathOf(std::u16string_view instance) {
    return registry().GetText(Instance(instance), u"AmssFwImagePath");
  }
  std::optional<std::u16string> SoftwarePathOf(std::u16string_view instance) {
    return registry().GetText(Instance(instance), u"AmssSwImagePath");
  }
};

TEST_F(ImagePaths, AnOldPathIsReplacedTogetherWithTheSoftwarePath) {
  PutInstance(u"0000", kShippedPath);
  registry().PutText(Instance(u"0000"), u"AmssSwImagePath", u"old");
  StartModem();
  EXPECT_EQ(registry().Get(Instance(u"0000"), u"AmssFwImagePath"), TextValue(kFirmwarePath));
  EXPECT_EQ(registry().Get(Instance(u"0000"), u"AmssSwImagePath"), TextValue(kSoftwarePath));
  EXPECT_THAT(MessagesOf("CModemQC::CheckImageRegPath"),
              ElementsAre("CModemQC::CheckImageRegPath:124 : Needs to be updated from "
                          "\\SystemRoot\\System32\\shipped.mbn"));
  EXPECT_THAT(MessagesOf("CModemQC::UpdateImageRegPath"),
              ElementsAre("CModemQC::UpdateImageRegPath:145 : Update QC_AMSS_FW_IMAGE_REG_NAME = "
                          "\\SystemRoot\\System32\\qcdsp1v2850.mbn!!!",
                          "CModemQC::UpdateImageRegPath:149 : Update QC_AMSS_SW_IMAGE_REG_NAME = "
                          "\\SystemRoot\\System32\\qcdsp2850.mbn!!!"));
}

TEST_F(ImagePaths, TheRightPathInAnotherLetterCaseIsRight) {
  PutInstance(u"0000", u"\\SYSTEMROOT\\SYSTEM32\\QCDSP1V2850.MBN");
  StartModem();
  EXPECT_FALSE(IsDeployed());
  EXPECT_EQ(FirmwarePathOf(u"0000"), u"\\SYSTEMROOT\\SYSTEM32\\QCDSP1V2850.MBN");
  EXPECT_THAT(
      MessagesOf("CModemQC::CheckImageRegPath"),
      ElementsAre("CModemQC::CheckImageRegPath:130 : Already updated to \\SYSTEMROOT\\SYSTEM32\\QCDSP1V2850.MBN"));
}

TEST_F(ImagePaths, AnInstanceWithoutAPathIsPassedOver) {
  g_ulZoneMask = kDefaultZoneMask | ZONE_MODEM_INFO;
  registry().PutText(Instance(u"0000"), u"DriverDesc", u"Serial modem");
  PutInstance(u"0001", kShippedPath);
  StartModem();
  EXPECT_EQ(FirmwarePathOf(u"0000"), std::nullopt);
  EXPECT_EQ(SoftwarePathOf(u"0000"), std::nullopt);
  EXPECT_EQ(FirmwarePathOf(u"0001"), kFirmwarePath);
  std::string const class_key = "system\\currentcontrolset\\control\\class\\{4d36e97d-e325-11ce-bfc1-08002be10318}";
  EXPECT_THAT(MessagesOf("CModemQC::CheckImageRegPath"),
              ElementsAre("CModemQC::CheckImageRegPath:112 : wcsSystemClassDriverPath (" + class_key + "\\0000)",
                          "CModemQC::CheckImageRegPath:118 : wcsAmssFwImagePath not exist in 0000",
                          "CModemQC::CheckImageRegPath:112 : wcsSystemClassDriverPath (" + class_key + "\\0001)",
                          "CModemQC::CheckImageRegPath:124 : Needs to be updated from "
                          "\\SystemRoot\\System32\\shipped.mbn"));
  EXPECT_EQ(TimesLogged("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = AmssFwImagePath"), 1u);
}

TEST_F(ImagePaths, AnInstanceThatMayNotBeReadIsPassedOver) {
  g_ulZoneMask = kDefaultZoneMask | ZONE_MODEM_INFO;
  PutInstance(u"0000", kShippedPath);
  PutInstance(u"0001", kShippedPath);
  registry().Guard(Instance(u"0000"), tablet::KeyGuard::kDenied);
  StartModem();
  EXPECT_EQ(FirmwarePathOf(u"0000"), kShippedPath);
  EXPECT_EQ(FirmwarePathOf(u"0001"), kFirmwarePath);
  EXPECT_THAT(messages(), Contains("CModemQC::CheckImageRegPath:118 : wcsAmssFwImagePath not exist in 0000"));
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("ValueName = AmssFwImagePath"))));
}

TEST_F(ImagePaths, APathOf259CharactersIsReadWhole) {
  std::u16string const path = u"\\" + std::u16string(257, u'x') + u"y";
  PutInstance(u"0000", path);
  StartModem();
  EXPECT_THAT(messages(),
              Contains("CModemQC::CheckImageRegPath:124 : Needs to be updated from " + tablet::ToUtf8(path)));
  EXPECT_EQ(FirmwarePathOf(u"0000"), kFirmwarePath);
}

TEST_F(ImagePaths, AnInstancesNameIsUsedWhole) {
  PutInstance(std::u16string(170, u'0'), kFirmwarePath);
  StartModem();
  EXPECT_THAT(MessagesOf("CModemQC::CheckImageRegPath:130"), testing::SizeIs(1));
}

TEST_F(ImagePaths, APathOf260CharactersCannotBeReadAndIsPassedOver) {
  PutInstance(u"0000", std::u16string(260, u'x'));
  PutInstance(u"0001", std::u16string(259, u'y'));
  StartModem();
  EXPECT_EQ(FirmwarePathOf(u"0000"), std::u16string(260, u'x'));
  EXPECT_EQ(FirmwarePathOf(u"0001"), kFirmwarePath);
}

TEST_F(ImagePaths, TheFirstInstanceWithAPathDecides) {
  PutInstance(u"0001", kShippedPath);
  PutInstance(u"0000", kFirmwarePath);
  StartModem();
  EXPECT_FALSE(IsDeployed());
  EXPECT_EQ(FirmwarePathOf(u"0001"), kShippedPath);

  PutInstance(u"0000", kShippedPath);
  PutInstance(u"0001", u"another");
  StartModem();
  EXPECT_TRUE(IsDeployed());
  EXPECT_EQ(FirmwarePathOf(u"0000"), kFirmwarePath);
  EXPECT_EQ(FirmwarePathOf(u"0001"), u"another");
}

TEST_F(ImagePaths, TheSoftwarePathIsNeverLookedAt) {
  PutInstance(u"0000", kFirmwarePath);
  registry().PutText(Instance(u"0000"), u"AmssSwImagePath", u"old");
  StartModem();
  EXPECT_FALSE(IsDeployed());
  EXPECT_EQ(SoftwarePathOf(u"0000"), u"old");
}

TEST_F(ImagePaths, AFailureOfTheFirstValueDoesNotStopTheSecond) {
  PutInstance(u"0000", kShippedPath);
  Inject("RegSetValueExW", kAccessDenied, 1, 1);
  StartModem();
  EXPECT_EQ(FirmwarePathOf(u"0000"), kShippedPath);
  EXPECT_EQ(SoftwarePathOf(u"0000"), kSoftwarePath);
  EXPECT_THAT(messages(), Contains("SSetRegistrySZ:908 : RegSetValueEx fail, ValueName = AmssFwImagePath"));
  EXPECT_THAT(MessagesOf("CModemQC::UpdateImageRegPath"),
              ElementsAre(HasSubstr(":149 : Update QC_AMSS_SW_IMAGE_REG_NAME = ")));
}

TEST_F(ImagePaths, AFailureOfTheSecondValueLeavesTheFirst) {
  PutInstance(u"0000", kShippedPath);
  Inject("RegSetValueExW", kAccessDenied, 2, 1);
  StartModem();
  EXPECT_EQ(FirmwarePathOf(u"0000"), kFirmwarePath);
  EXPECT_EQ(SoftwarePathOf(u"0000"), std::nullopt);
  EXPECT_THAT(messages(), Contains("SSetRegistrySZ:908 : RegSetValueEx fail, ValueName = AmssSwImagePath"));
}

TEST_F(ImagePaths, AKeyThatMayNotBeWrittenIsLeftInSilence) {
  PutInstance(u"0000", kShippedPath);
  registry().Guard(Instance(u"0000"), tablet::KeyGuard::kReadOnly);
  StartModem();
  EXPECT_TRUE(IsDeployed());
  EXPECT_EQ(FirmwarePathOf(u"0000"), kShippedPath);
  EXPECT_THAT(MessagesOf("CModemQC::UpdateImageRegPath"), IsEmpty());
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("RegSetValueEx fail"))));
}

TEST_F(ImagePaths, ADeploymentForcedByTheRequestLeavesRightPathsAlone) {
  PutInstance(u"0000", kFirmwarePath);
  registry().PutDword(kParameters, u"Distribute", 1);
  StartModem();
  EXPECT_TRUE(IsDeployed());
  EXPECT_EQ(SoftwarePathOf(u"0000"), std::nullopt);
  EXPECT_THAT(MessagesOf("CModemQC::UpdateImageRegPath"), IsEmpty());
  EXPECT_THAT(machine().journal().Calls("RegSetValueExW"), IsEmpty());
}

TEST_F(ImagePaths, WithoutInstancesThereIsNothingToUpdate) {
  StartModem();
  EXPECT_FALSE(IsDeployed());
  EXPECT_THAT(messages(), Contains("SRegistrySubKeys:1083 : RegistrySubKeys fail"));
  registry().MakeKey(kModemClass);
  StartModem();
  EXPECT_FALSE(IsDeployed());
}

TEST_F(ImagePaths, TheInstancesAreOnlyListedForWhoAsksForModemInformation) {
  registry().MakeKey(Instance(u"0000"));
  StartModem();
  EXPECT_THAT(MessagesOf("CModemQC::CheckImageRegPath"), IsEmpty());
  g_ulZoneMask = ZONE_MODEM_INFO;
  StartModem();
  EXPECT_THAT(MessagesOf("CModemQC::CheckImageRegPath"), testing::SizeIs(2));
}

}  // namespace
}  // namespace modem_tests
