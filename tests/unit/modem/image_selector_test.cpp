#include <windows.h>

#include "tests/testing/modem_fixture.h"
#include "vantord/modem/image_selector.h"

namespace modem_tests {
namespace {

constexpr std::uint32_t kMoreData = 234;

class ImageSelector : public ModemTest {
 protected:
  struct Choice {
    bool by_code;
    std::u16string name;
  };

  /// The archive that this tablet gets, chosen as a deployment chooses it.
  Choice Choose() {
    CImageSelector selector;
    ModemBinaryName name = {};
    bool const by_code = selector.DetermineImageByCSC(name);
    if (!by_code) selector.DetermineImageByModemID(name);
    EXPECT_EQ(name[9], 0);
    return {by_code, name};
  }

  void MapCode(std::u16string_view code, std::u16string_view name) { registry().PutText(kCscMap, code, name); }
  void MapId(std::u16string_view id, std::u16string_view name) { registry().PutText(kImageIdMap, id, name); }
  void PutRegistryId(std::u16string_view id) { registry().PutText(kService, u"ModemImageID", id); }

  std::size_t DriverRequests() { return machine().journal().Calls("DeviceIoControl").size(); }
};

// The sales code.

TEST_F(ImageSelector, TheSalesCodesMapEntryNamesTheArchive) {
  PutSalesCode("KOO");
  MapCode(u"KOO", u"KOR.bin");
  Choice const choice = Choose();
  EXPECT_TRUE(choice.by_code);
  EXPECT_EQ(choice.name, u"KOR.bin");
  EXPECT_THAT(MessagesOf("CImageSelector::GetRegMapsCSC"),
              ElementsAre("CImageSelector::GetRegMapsCSC:96 : Registry CSC(KOO) ModemBinary(KOR.bin)"));
  EXPECT_THAT(MessagesOf("CImageSelector::DetermineImageByCSC"),
              ElementsAre("CImageSelector::DetermineImageByCSC:62 : DetermineModemBinary KOR.bin by CSC KOO"));
}

TEST_F(ImageSelector, ASalesCodeIsLookedUpWithoutRegardToCase) {
  PutSalesCode("koo");
  MapCode(u"KOO", u"KOR.bin");
  EXPECT_EQ(Choose().name, u"KOR.bin");
}

TEST_F(ImageSelector, ASalesCodeBeyondAsciiIsLookedUpInTheSystemsCodePage) {
  PutSalesCode("\x80\xC4\xFF");
  MapCode(u"\u20AC\u00C4\u00FF", u"KOR.bin");
  EXPECT_EQ(Choose().name, u"KOR.bin");
}

TEST_F(ImageSelector, ASalesCodeWithoutAMapLeadsToTheImageId) {
  PutSalesCode("KOO");
  PutRegistryId(u"ATT");
  MapId(u"ATT", u"ATT.bin");
  Choice const choice = Choose();
  EXPECT_FALSE(choice.by_code);
  EXPECT_EQ(choice.name, u"ATT.bin");
  EXPECT_THAT(MessagesOf("CImageSelector::DetermineImageByCSC"),
              ElementsAre("CImageSelector::DetermineImageByCSC:59 : Maps CSC Reg Not Exist. Try to find by Modem Image "
                          "ID"));
  EXPECT_THAT(messages(), Contains("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = KOO"));
  EXPECT_LT(At("RegCloseKey"), At("_vsnwprintf", "fail, ValueName = KOO")) << "the key is closed before";
  EXPECT_TRUE(registry().HasKey(kCscMap)) << "reading makes the missing key, as the service's other readers do";
}

TEST_F(ImageSelector, AMapThatMayNotBeReadLeadsToTheImageIdWithoutAQueryFailure) {
  PutSalesCode("KOO");
  MapCode(u"KOO", u"KOR.bin");
  registry().Guard(kCscMap, tablet::KeyGuard::kDenied);
  EXPECT_FALSE(Choose().by_code);
  EXPECT_THAT(messages(), Contains(HasSubstr(":59 : Maps CSC Reg Not Exist.")));
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("ValueName = KOO"))));
}

TEST_F(ImageSelector, WithoutASalesCodeTheImageIdDecides) {
  MapCode(u"KOO", u"KOR.bin");
  PutRegistryId(u"ATT");
  MapId(u"ATT", u"ATT.bin");
  EXPECT_EQ(Choose().name, u"ATT.bin");
  EXPECT_THAT(MessagesOf("CImageSelector::DetermineImageByCSC"),
              ElementsAre("CImageSelector::DetermineImageByCSC:53 : Device CSC Not Exist"));
}

TEST_F(ImageSelector, ASalesCodeOf4BytesIsTakenAsItsFirst3Letters) {
  PutSalesCode("KOOX");
  MapCode(u"KOO", u"KOR.bin");
  EXPECT_EQ(Choose().name, u"KOR.bin");
  EXPECT_THAT(messages(), Contains("CImageSelector::GetRegMapsCSC:96 : Registry CSC(KOO) ModemBinary(KOR.bin)"));
}

TEST_F(ImageSelector, AnEmptySalesCodeLooksUpTheMapsDefaultValue) {
  PutSalesCode(std::string_view("\0\0\0", 3));
  MapCode(u"", u"XAA.bin");
  EXPECT_EQ(Choose().name, u"XAA.bin");
}

// Names that are too long.

TEST_F(ImageSelector, AMapEntryOf15CharactersIsCutTo9) {
  PutSalesCode("KOO");
  MapCode(u"KOO", u"ABCDEFGHIJK.bin");
  Choice const choice = Choose();
  EXPECT_TRUE(choice.by_code);
  EXPECT_EQ(choice.name, u"ABCDEFGHI");
  EXPECT_THAT(messages(), Contains("CImageSelector::GetRegMapsCSC:96 : Registry CSC(KOO) ModemBinary(ABCDEFGHI)"));
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("RegQueryValueEx fail"))));
}

TEST_F(ImageSelector, AMapEntryOfTheImageIdsIsCutTo9AsWell) {
  PutRegistryId(u"ATT");
  MapId(u"ATT", u"ABCDEFGHIJK.bin");
  EXPECT_EQ(Choose().name, u"ABCDEFGHI");
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("ValueName = ATT"))));
}

TEST_F(ImageSelector, NineCharactersFitAndTenAreCut) {
  PutSalesCode("KOO");
  MapCode(u"KOO", u"12345.bin");
  EXPECT_EQ(Choose().name, u"12345.bin");
  MapCode(u"KOO", u"123456.bin");
  EXPECT_EQ(Choose().name, u"123456.bi");
}

TEST_F(ImageSelector, AnEntryOf20BytesWithoutTerminatorLosesItsLastCharacter) {
  PutSalesCode("KOO");
  tablet::RegistryValue value = TextValue(u"123456.bin");
  value.data.resize(20);
  registry().Put(kCscMap, u"KOO", value);
  EXPECT_EQ(Choose().name, u"123456.bi");
}

TEST_F(ImageSelector, AnEntryOfAnOddNumberOfBytesIsTakenAsFarAsItGoes) {
  PutSalesCode("KOO");
  tablet::RegistryValue value = TextValue(u"ABCDEFGHIJK.bin");
  value.data.resize(21);
  registry().Put(kCscMap, u"KOO", value);
  EXPECT_EQ(Choose().name, u"ABCDEFGHI");
}

TEST_F(ImageSelector, ATooLongEntryThatCannotBeReadWholeCountsAsMissing) {
  PutSalesCode("KOO");
  MapCode(u"KOO", u"ABCDEFGHIJK.bin");
  Inject("RegQueryValueExW", kMoreData, 1, 2);
  CImageSelector selector;
  ModemBinaryName name = {};
  EXPECT_FALSE(selector.DetermineImageByCSC(name));
  EXPECT_EQ(TimesLogged("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = KOO"), 1u);
}

TEST_F(ImageSelector, OnlyATooLongEntryIsAskedForTwice) {
  PutSalesCode("KOO");
  MapCode(u"KOO", u"ABCDEFGHIJK.bin");
  Inject("RegQueryValueExW", kAccessDenied, 1, 1);
  CImageSelector selector;
  ModemBinaryName name = {};
  EXPECT_FALSE(selector.DetermineImageByCSC(name));
  EXPECT_EQ(machine().journal().Calls("RegQueryValueExW").size(), 1u);
  EXPECT_THAT(messages(), Contains("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = KOO"));
}

// The image ID.

TEST_F(ImageSelector, ARegistryIdIsEnoughAndTheFirmwaresIsNeverRead) {
  PutRegistryId(u"ATT");
  MapId(u"ATT", u"ATT.bin");
  CImageSelector selector;
  ModemBinaryName name = {};
  selector.DetermineImageByModemID(name);
  EXPECT_EQ(std::u16string(name), u"ATT.bin");
  EXPECT_EQ(DriverRequests(), 0u);
  EXPECT_THAT(messages(), Contains("CImageSelector::GetRegModemID:109 : Registry Modem Image ID = ATT!!!"));
  EXPECT_THAT(MessagesOf("CImageSelector::GetRegMapsImageID"),
              ElementsAre("CImageSelector::GetRegMapsImageID:123 : Registry ModemImageID(ATT) ModemBinary(ATT.bin)"));
  EXPECT_THAT(
      MessagesOf("CImageSelector::DetermineImageByModemID"),
      ElementsAre("CImageSelector::DetermineImageByModemID:84 : DetermineModemBinary ATT.bin by ModemImageID ATT"));
}

TEST_F(ImageSelector, WithoutARegistryIdTheFirmwaresIsUsed) {
  PutFirmwareImageId("KOR");
  MapId(u"KOR", u"KOR.bin");
  EXPECT_EQ(Choose().name, u"KOR.bin");
  EXPECT_THAT(messages(), Contains("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = ModemImageID"));
  EXPECT_THAT(messages(), Contains("CImageSelector::GetUEFIModemID:164 : UEFI Modem Image ID = KOR!!!"));
  EXPECT_EQ(TimesLogged("CKAVRILUEFIHandler::Ready:43 : Already performed"), 2u)
      << "once for the sales code, once for the image ID: each is readied and then readied again by the read";
}

TEST_F(ImageSelector, AFirmwareIdThatFillsAll10BytesIsLookedUpWhole) {
  PutFirmwareImageId("ABCDEFGHIJ");
  MapId(u"ABCDEFGHIJ", u"LONG.bin");
  EXPECT_EQ(Choose().name, u"LONG.bin");
  EXPECT_THAT(messages(), Contains("CImageSelector::GetUEFIModemID:164 : UEFI Modem Image ID = ABCDEFGHIJ!!!"));
  EXPECT_THAT(messages(), Contains("CImageSelector::DetermineImageByModemID:84 : DetermineModemBinary LONG.bin by "
                                   "ModemImageID ABCDEFGHIJ"));
}

TEST_F(ImageSelector, AnIdOf9CharactersIsLookedUpWholeWhereverItComesFrom) {
  MapId(u"ABCDEFGHI", u"ATT.bin");
  PutFirmwareImageId("ABCDEFGHI");
  EXPECT_EQ(Choose().name, u"ATT.bin");
  PutFirmwareImageId("another");
  PutRegistryId(u"ABCDEFGHI");
  EXPECT_EQ(Choose().name, u"ATT.bin");
}

TEST_F(ImageSelector, AFirmwareIdOf11BytesIsNoId) {
  PutFirmwareImageId("ABCDEFGHIJK");
  EXPECT_EQ(Choose().name, u"VZW.bin");
  EXPECT_THAT(messages(), Contains(HasSubstr(":72 : Device ModemImageId Reg/UEFI Not Exist")));
}

TEST_F(ImageSelector, WithoutAnyIdTheDefaultIsUsed) {
  EXPECT_EQ(Choose().name, u"VZW.bin");
  EXPECT_THAT(MessagesOf("CImageSelector::DetermineImageByModemID"),
              ElementsAre("CImageSelector::DetermineImageByModemID:72 : Device ModemImageId Reg/UEFI Not Exist"));
}

TEST_F(ImageSelector, AnUnmappedRegistryIdIsNotRetriedWithTheFirmwareId) {
  PutRegistryId(u"NEW");
  PutFirmwareImageId("KOR");
  MapId(u"KOR", u"KOR.bin");
  CImageSelector selector;
  ModemBinaryName name = {};
  selector.DetermineImageByModemID(name);
  EXPECT_EQ(std::u16string(name), u"VZW.bin");
  EXPECT_EQ(DriverRequests(), 0u);
  EXPECT_THAT(messages(), Contains("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = NEW"));
  EXPECT_THAT(MessagesOf("CImageSelector::DetermineImageByModemID"),
              ElementsAre("CImageSelector::DetermineImageByModemID:79 : Maps ImageID Reg Not Exist. Use Default Modem "
                          "Binary"));
}

TEST_F(ImageSelector, TheBuiltInTableIsNotLookedUpById) {
  PutRegistryId(u"KOR");
  EXPECT_EQ(Choose().name, u"VZW.bin");
  PutRegistryId(u"ATT");
  EXPECT_EQ(Choose().name, u"VZW.bin");
}

TEST_F(ImageSelector, ARegistryIdOf10CharactersIsNotReadAndTheFirmwaresTakesItsPlace) {
  PutRegistryId(u"ABCDEFGHIJ");
  PutFirmwareImageId("KOR");
  MapId(u"ABCDEFGHIJ", u"LONG.bin");
  MapId(u"ABCDEFGHI", u"CUT.bin");
  MapId(u"KOR", u"KOR.bin");
  EXPECT_EQ(Choose().name, u"KOR.bin");
  EXPECT_THAT(messages(), Contains("SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = ModemImageID"));
}

TEST_F(ImageSelector, AServiceKeyThatMayNotBeReadGivesNoIdAndNoMessage) {
  PutRegistryId(u"ATT");
  registry().Guard(kService, tablet::KeyGuard::kDenied);
  CImageSelector selector;
  ModemImageId id = {};
  EXPECT_FALSE(selector.GetRegModemID(id));
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("ModemImageID"))));
}

TEST_F(ImageSelector, AnEmptyRegistryIdLooksUpTheMapsDefaultValue) {
  PutRegistryId(u"");
  MapId(u"", u"XAA.bin");
  EXPECT_EQ(Choose().name, u"XAA.bin");
}

TEST_F(ImageSelector, AnIdBeyondAsciiIsLookedUpByOtherLetters) {
  PutRegistryId(u"\u00c4B");
  MapId(u"\u00c4B", u"SAME.bin");
  MapId(u"\u00c3\u201eB", u"OTHER.bin");
  EXPECT_EQ(Choose().name, u"OTHER.bin");
}

TEST_F(ImageSelector, AnIdOfMoreThan10BytesOfUtf8StillCountsAsRead) {
  PutRegistryId(u"\u00c4\u00c4\u00c4\u00c4\u00c4\u00c4");
  PutFirmwareImageId("KOR");
  MapId(u"KOR", u"KOR.bin");
  CImageSelector selector;
  ModemImageId id = {};
  EXPECT_TRUE(selector.GetRegModemID(id));
  EXPECT_EQ(Choose().name, u"VZW.bin");
}

// The firmware's copy of the ID.

TEST_F(ImageSelector, AMirroredIdIsToldTwice) {
  PutRegistryId(u"ATT");
  CImageSelector selector;
  selector.UpdateUEFIModemIDinAudit();
  EXPECT_EQ(FirmwareImageId(), (Bytes{'A', 'T', 'T', 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_THAT(MessagesOf("CImageSelector::UpdateUEFIModemID"),
              ElementsAre("CImageSelector::UpdateUEFIModemID:175 : Update UEFI Modem Image ID = ATT!!!",
                          "CImageSelector::UpdateUEFIModemIDinAudit:141 : Update UEFI Modem Image ID = ATT!!!"));
}

TEST_F(ImageSelector, AnIdThatCannotBeMirroredIsReported) {
  PutRegistryId(u"ATT");
  Inject("DeviceIoControl", kAccessDenied);
  CImageSelector selector;
  selector.UpdateUEFIModemIDinAudit();
  EXPECT_THAT(FirmwareImageId(), IsEmpty());
  EXPECT_THAT(MessagesOf("CImageSelector::UpdateUEFIModemID"),
              ElementsAre("CImageSelector::UpdateUEFIModemIDinAudit:137 : Fail to Update Modem ID UEFI"));
}

TEST_F(ImageSelector, WithoutARegistryIdNothingIsMirroredAndNothingSaid) {
  PutFirmwareImageId("KOR");
  CImageSelector selector;
  selector.UpdateUEFIModemIDinAudit();
  EXPECT_EQ(FirmwareImageId(), ToBytes("KOR"));
  EXPECT_EQ(DriverRequests(), 0u);
  EXPECT_THAT(MessagesOf("CImageSelector::UpdateUEFI"), IsEmpty());
}

TEST_F(ImageSelector, ConstructorAndDestructorLogUnderOneName) {
  { CImageSelector const selector; }
  EXPECT_THAT(messages(), ElementsAre("CImageSelector::CImageSelector: (+)", "CImageSelector::CImageSelector: (-)",
                                      "CImageSelector::CImageSelector: (+)", "CImageSelector::CImageSelector: (-)"));
}

TEST_F(ImageSelector, SuccessesAreSilentWithoutTheirZoneAndFailuresWithoutTheirs) {
  PutSalesCode("KOO");
  MapCode(u"KOO", u"KOR.bin");
  g_ulZoneMask = kDefaultZoneMask & ~ZONE_DETAIL;
  Choose();
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("KOR.bin"))));
  registry().RemoveValue(kCscMap, u"KOO");
  g_ulZoneMask = kDefaultZoneMask & ~ZONE_ERROR;
  Choose();
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("Not Exist"))));
}

}  // namespace
}  // namespace modem_tests
