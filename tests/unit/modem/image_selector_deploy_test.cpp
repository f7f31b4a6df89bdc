#include <windows.h>

#include "tests/testing/modem_fixture.h"
#include "vantord/modem/image_selector.h"

namespace modem_tests {
namespace {

constexpr std::uint32_t kReadOnly = tablet::kAttributeReadOnly;
constexpr std::uint32_t kHidden = tablet::kAttributeHidden;
constexpr std::uint32_t kSystem = tablet::kAttributeSystem;
constexpr std::uint32_t kArchive = tablet::kAttributeArchive;
constexpr std::uint32_t kDirectory = tablet::kAttributeDirectory;

constexpr char16_t kToastArchive[] = u"c:\\Windows\\ToastGenerator\\ToastResource_20180816.zip";

std::u16string InSystem32(std::u16string_view name) { return u"c:\\windows\\system32\\" + std::u16string(name); }

class ImageDeployment : public ModemTest {
 protected:
  DWORD Deploy() {
    CImageSelector selector;
    return selector.SelectAndDeployImage();
  }
  void Hide() {
    CImageSelector selector;
    selector.HideModemFiles();
  }
  void Request() { registry().PutDword(kParameters, u"Distribute", 1); }
  bool IsRequested() { return registry().GetDword(kParameters, u"Distribute").has_value(); }
  std::uint32_t AttributesOf(std::u16string_view path) { return drive().Facts(path).attributes; }
};

/// Central and local header are fine, the deflated data is not.
void AddCorrupt(ZipBuilder& archive, std::string name) {
  ZipItem& item = archive.Add(std::move(name), Compressible(500));
  item.data = ToBytes("\xff\xff\xff\xff this never was a deflated stream");
}

// The whole operation.

TEST_F(ImageDeployment, TheChosenArchiveIsUnpackedIntoTheSystemFolder) {
  PutSalesCode("KOO");
  registry().PutText(kCscMap, u"KOO", u"KOR.bin");
  PutArchive();
  ZipBuilder korea;
  korea.Add("qcdsp2850.mbn", ToBytes("software of Korea"));
  korea.Add("sub/part.mbn", ToBytes("part"), 0);
  PutArchive(korea, u"c:\\windows\\system32\\modem_core\\KOR.bin");
  ZipBuilder toast;
  toast.Add("toast.png", ToBytes("picture"));
  PutArchive(toast, kToastArchive);
  Request();

  EXPECT_EQ(Deploy(), 1u);
  EXPECT_EQ(drive().Contents(InSystem32(u"qcdsp2850.mbn")), ToBytes("software of Korea"));
  EXPECT_EQ(drive().Contents(InSystem32(u"sub\\part.mbn")), ToBytes("part"));
  EXPECT_EQ(drive().Contents(u"c:\\Windows\\ToastGenerator\\toast.png"), ToBytes("picture"));
  EXPECT_FALSE(IsDeployed()) << "that is in the archive that was not chosen";
  EXPECT_FALSE(IsRequested());
  EXPECT_THAT(MessagesOf("CImageSelector::UnzipBinary"),
              ElementsAre("CImageSelector::UnzipBinary: (+)",
                          "CImageSelector::UnzipBinary:247 : Unzipping "
                          "c:\\Windows\\ToastGenerator\\\\ToastResource_20180816.zip",
                          "CImageSelector::UnzipBinary:269 : Unzipping status 0", "CImageSelector::UnzipBinary: (-)",
                          "CImageSelector::UnzipBinary: (+)",
                          "CImageSelector::UnzipBinary:247 : Unzipping c:\\windows\\system32\\modem_core\\KOR.bin",
                          "CImageSelector::UnzipBinary:269 : Unzipping status 0",
                          "CImageSelector::UnzipBinary:269 : Unzipping status 0", "CImageSelector::UnzipBinary: (-)"));
}

TEST_F(ImageDeployment, TheStepsFollowInTheirOrder) {
  PutArchive();
  EXPECT_EQ(Deploy(), 1u);
  auto const place = [this](std::string_view text) { return At("_vsnwprintf", text); };
  EXPECT_LT(place("UnzipBinary: (+)"), place("lufopen:2652"));
  EXPECT_LT(place(":244 : Failure in Unzipping"), place(":53 : Device CSC Not Exist"));
  EXPECT_LT(place(":53 : Device CSC Not Exist"), place(":72 : Device ModemImageId"));
  EXPECT_LT(place(":72 : Device ModemImageId"), place(":193 : "));
  EXPECT_LT(place(":193 : "), place(":222 : "));
  EXPECT_LT(place(":222 : "), place(":247 : Unzipping c:\\windows\\system32\\modem_core\\VZW.bin"));
  EXPECT_LT(place(":247 : Unzipping c:\\windows"), place("RegistryDeleteValue fail"));
}

TEST_F(ImageDeployment, ADeploymentThatNobodyRequestedLogsThatThereWasNoRequest) {
  PutArchive();
  registry().MakeKey(kParameters);
  EXPECT_EQ(Deploy(), 1u);
  EXPECT_TRUE(IsDeployed());
  EXPECT_EQ(TimesLogged("SRegistryDeleteValue:1043 : RegistryDeleteValue fail, the value(Distribute) does not exist"),
            1u);
}

TEST_F(ImageDeployment, ARequestThatCannotBeDeletedDoesNotUndoTheDeployment) {
  PutArchive();
  Request();
  Inject("RegDeleteValueW", kAccessDenied);
  EXPECT_EQ(Deploy(), 1u);
  EXPECT_TRUE(IsRequested());
  EXPECT_EQ(TimesLogged("SRegistryDeleteValue:1043 : RegistryDeleteValue fail, the value(Distribute) does not exist"),
            1u);
}

TEST_F(ImageDeployment, AMissingToastArchiveDoesNotStopTheModem) {
  PutArchive();
  EXPECT_EQ(Deploy(), 1u);
  EXPECT_TRUE(IsDeployed());
  EXPECT_EQ(TimesLogged("CImageSelector::UnzipBinary:244 : Failure in Unzipping "
                        "c:\\Windows\\ToastGenerator\\\\ToastResource_20180816.zip"),
            1u);
}

TEST_F(ImageDeployment, AFailingToastArchiveDoesNotStopTheModem) {
  ZipBuilder toast;
  AddCorrupt(toast, "toast.png");
  PutArchive(toast, kToastArchive);
  PutArchive();
  EXPECT_EQ(Deploy(), 1u);
}

TEST_F(ImageDeployment, TheToastArchiveIsNamedWithTwoBackslashes) {
  Deploy();
  EXPECT_THAT(ArgumentsOf("CreateFileW"),
              Contains(HasSubstr("c:\\Windows\\ToastGenerator\\\\ToastResource_20180816.zip")));
}

TEST_F(ImageDeployment, AMissingModemArchiveFailsAndKeepsTheRequest) {
  drive().PutFolder(kModemFolder);
  Request();
  EXPECT_EQ(Deploy(), 0u);
  EXPECT_TRUE(IsRequested());
  EXPECT_EQ(
      TimesLogged("CImageSelector::UnzipBinary:244 : Failure in Unzipping c:\\windows\\system32\\modem_core\\VZW.bin"),
      1u);
  EXPECT_THAT(MessagesOf("SRegistryDeleteValue"), IsEmpty());
}

TEST_F(ImageDeployment, AFileThatIsNoArchiveFails) {
  drive().Put(kVzwArchive, ToBytes("not an archive"));
  EXPECT_EQ(Deploy(), 0u);
  EXPECT_THAT(messages(), Contains(HasSubstr("Failure in Unzipping c:\\windows\\system32\\modem_core\\VZW.bin")));
}

// Entries.

TEST_F(ImageDeployment, AnArchiveWithoutEntriesCountsAsDeployed) {
  PutArchive(ZipBuilder{});
  Request();
  EXPECT_EQ(Deploy(), 1u);
  EXPECT_FALSE(IsRequested());
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("Unzipping status"))));
}

TEST_F(ImageDeployment, ACorruptEntryDoesNotStopTheOthers) {
  ZipBuilder archive;
  archive.Add("first.mbn", ToBytes("first"));
  AddCorrupt(archive, "second.mbn");
  archive.Add("third.mbn", ToBytes("third"));
  archive.Add("fourth.mbn", ToBytes("fourth"), 0);
  PutArchive(archive);
  Request();
  EXPECT_EQ(Deploy(), 0u);
  EXPECT_EQ(drive().Contents(InSystem32(u"first.mbn")), ToBytes("first"));
  EXPECT_EQ(drive().Contents(InSystem32(u"third.mbn")), ToBytes("third"));
  EXPECT_EQ(drive().Contents(InSystem32(u"fourth.mbn")), ToBytes("fourth"));
  EXPECT_TRUE(IsRequested());
  EXPECT_THAT(MessagesOf("CImageSelector::UnzipBinary:269"),
              ElementsAre("CImageSelector::UnzipBinary:269 : Unzipping status 0",
                          "CImageSelector::UnzipBinary:269 : Unzipping status 5000000",
                          "CImageSelector::UnzipBinary:269 : Unzipping status 0",
                          "CImageSelector::UnzipBinary:269 : Unzipping status 0"));
}

TEST_F(ImageDeployment, AnEntryThatCannotBeDescribedDoesNotPassForTheFolderBeforeIt) {
  ZipBuilder archive;
  archive.AddFolder("folder/");
  archive.Add("broken.mbn", ToBytes("broken")).edit_local = [](LocalHeader& header) { header.signature = 0; };
  archive.Add("last.mbn", ToBytes("last"));
  PutArchive(archive);
  EXPECT_EQ(Deploy(), 0u);
  EXPECT_EQ(drive().Contents(InSystem32(u"last.mbn")), ToBytes("last"));
  EXPECT_EQ(AttributesOf(InSystem32(u"folder")) & kDirectory, kDirectory);
  EXPECT_THAT(MessagesOf("CImageSelector::UnzipBinary:269"),
              ElementsAre("CImageSelector::UnzipBinary:269 : Unzipping status 0",
                          Not("CImageSelector::UnzipBinary:269 : Unzipping status 0"),
                          "CImageSelector::UnzipBinary:269 : Unzipping status 0"));
}

TEST_F(ImageDeployment, AnEntryThatCannotBeDescribedLeavesTheFileBeforeItReadOnly) {
  ZipBuilder archive;
  archive.Add("first.mbn", ToBytes("first")).external_attributes = kReadOnly | kArchive;
  archive.Add("broken.mbn", ToBytes("broken")).edit_local = [](LocalHeader& header) { header.signature = 0; };
  PutArchive(archive);
  EXPECT_EQ(Deploy(), 0u);
  EXPECT_EQ(AttributesOf(InSystem32(u"first.mbn")) & kReadOnly, kReadOnly);
}

TEST_F(ImageDeployment, AnEmptyFileFailsTheDeploymentThoughItIsWritten) {
  ZipBuilder archive;
  archive.Add("qcdsp1v2850.mbn", ToBytes("firmware"));
  archive.Add("empty.txt", {}, 0);
  PutArchive(archive);
  Request();
  EXPECT_EQ(Deploy(), 0u);
  EXPECT_TRUE(IsDeployed());
  EXPECT_TRUE(drive().Exists(InSystem32(u"empty.txt")));
  EXPECT_TRUE(IsRequested());
  EXPECT_THAT(messages(), Contains("CImageSelector::UnzipBinary:269 : Unzipping status 5000000"));
}

TEST_F(ImageDeployment, AReadOnlyFileOfAnEarlierDeploymentIsReplaced) {
  PutArchive();
  drive().Put(InSystem32(u"qcdsp1v2850.mbn"), ToBytes("old"), kReadOnly | kArchive);
  EXPECT_EQ(Deploy(), 1u);
  EXPECT_EQ(drive().Contents(InSystem32(u"qcdsp1v2850.mbn")), ToBytes("firmware"));
}

TEST_F(ImageDeployment, AReadOnlyFileKeepsItsOtherAttributesUntilItIsReplaced) {
  PutArchive();
  drive().Put(InSystem32(u"qcdsp1v2850.mbn"), ToBytes("old"), kReadOnly | kArchive);
  Deploy();
  EXPECT_THAT(machine().journal().Calls("SetFileAttributesW"),
              Contains(testing::Field(&tablet::CallEvent::args,
                                      testing::AllOf(HasSubstr("qcdsp1v2850.mbn"), HasSubstr("0x20")))));
}

TEST_F(ImageDeployment, AWritableFileIsReplacedWithoutTouchingItsAttributes) {
  PutArchive();
  drive().Put(InSystem32(u"qcdsp1v2850.mbn"), ToBytes("old"));
  EXPECT_EQ(Deploy(), 1u);
  EXPECT_THAT(machine().journal().Calls("SetFileAttributesW"),
              Not(Contains(testing::Field(&tablet::CallEvent::args, HasSubstr("qcdsp1v2850.mbn")))));
}

TEST_F(ImageDeployment, AMissingTargetIsAskedToGiveUpItsReadOnlyBit) {
  PutArchive();
  EXPECT_EQ(Deploy(), 1u);
  std::vector<tablet::CallEvent> asked;
  for (const tablet::CallEvent& call : machine().journal().Calls("SetFileAttributesW")) {
    if (call.args.find("qcdsp1v2850.mbn") != std::string::npos) asked.push_back(call);
  }
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(asked.front().result, "0");
}

// Hiding.

TEST_F(ImageDeployment, TheArchivesAndTheirFolderAreHiddenAndKeepTheirOtherAttributes) {
  drive().PutFolder(kModemFolder, kDirectory | kSystem);
  drive().Put(kVzwArchive, {}, kArchive | kReadOnly);
  drive().Put(u"c:\\windows\\system32\\modem_core\\KOR.bin", {}, kSystem);
  Hide();
  EXPECT_EQ(AttributesOf(kModemFolder), kDirectory | kSystem | kHidden);
  EXPECT_EQ(AttributesOf(kVzwArchive), kArchive | kReadOnly | kHidden);
  EXPECT_EQ(AttributesOf(u"c:\\windows\\system32\\modem_core\\KOR.bin"), kSystem | kHidden);
  EXPECT_THAT(
      MessagesOf("CImageSelector::HideModemFiles"),
      ElementsAre(
          "CImageSelector::HideModemFiles:193 : c:\\windows\\system32\\modem_core FILE_ATTRIBUTE_HIDDEN",
          "CImageSelector::HideModemFiles:207 : .  <DIR>", "CImageSelector::HideModemFiles:207 : ..  <DIR>",
          "CImageSelector::HideModemFiles:222 : c:\\windows\\system32\\modem_core\\KOR.bin FILE_ATTRIBUTE_HIDDEN",
          "CImageSelector::HideModemFiles:222 : c:\\windows\\system32\\modem_core\\VZW.bin FILE_ATTRIBUTE_HIDDEN"));
}

TEST_F(ImageDeployment, AReadOnlyFolderOfArchivesIsHiddenToo) {
  drive().PutFolder(kModemFolder, kDirectory | kReadOnly);
  Hide();
  EXPECT_EQ(AttributesOf(kModemFolder), kDirectory | kReadOnly | kHidden);
}

TEST_F(ImageDeployment, AnArchiveIsHiddenBeforeThatIsLogged) {
  drive().Put(kVzwArchive, {}, kArchive);
  Hide();
  EXPECT_LT(At("SetFileAttributesW", "modem_core"), At("_vsnwprintf", "modem_core FILE_ATTRIBUTE_HIDDEN"));
  EXPECT_LT(At("SetFileAttributesW", "VZW.bin"), At("_vsnwprintf", "VZW.bin FILE_ATTRIBUTE_HIDDEN"));
}

TEST_F(ImageDeployment, WhatIsHiddenAlreadyIsLeftAlone) {
  drive().PutFolder(kModemFolder, kDirectory | kHidden);
  drive().Put(kVzwArchive, {}, kArchive | kHidden);
  Hide();
  EXPECT_THAT(machine().journal().Calls("SetFileAttributesW"), IsEmpty());
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("FILE_ATTRIBUTE_HIDDEN"))));
}

TEST_F(ImageDeployment, ASubFolderOfTheArchivesIsNeitherHiddenNorEntered) {
  drive().Put(u"c:\\windows\\system32\\modem_core\\old\\VZW.bin", {});
  Hide();
  EXPECT_EQ(AttributesOf(u"c:\\windows\\system32\\modem_core\\old"), kDirectory);
  EXPECT_EQ(AttributesOf(u"c:\\windows\\system32\\modem_core\\old\\VZW.bin"), kArchive);
  EXPECT_THAT(messages(), Contains("CImageSelector::HideModemFiles:207 : old  <DIR>"));
}

TEST_F(ImageDeployment, AnArchiveWithALongNameIsHiddenToo) {
  std::u16string const path = std::u16string(kModemFolder) + u"\\" + std::u16string(228, u'x');
  drive().Put(path, ToBytes("another"));
  Hide();
  EXPECT_NE(AttributesOf(path) & kHidden, 0u);
  EXPECT_THAT(messages(),
              Contains("CImageSelector::HideModemFiles:222 : " + tablet::ToUtf8(path) + " FILE_ATTRIBUTE_HIDDEN"));
}

TEST_F(ImageDeployment, AReadOnlyFileWithALongNameIsReplaced) {
  std::string const name = std::string(120, 'f') + "/" + std::string(118, 'g');
  std::u16string const path = u"c:\\windows\\system32\\" + tablet::ToUtf16(name);
  ASSERT_EQ(path.size(), 259u);
  drive().Put(path, ToBytes("old"), kReadOnly);
  ZipBuilder archive;
  archive.Add(name, ToBytes("new"));
  PutArchive(archive);
  EXPECT_EQ(Deploy(), 1u);
  EXPECT_EQ(drive().Contents(path), ToBytes("new"));
}

TEST_F(ImageDeployment, WithoutTheFolderThereIsNothingToHide) {
  Hide();
  EXPECT_THAT(drive().Changes(), IsEmpty());
  EXPECT_THAT(MessagesOf("CImageSelector::HideModemFiles"),
              ElementsAre("CImageSelector::HideModemFiles:199 : c:\\windows\\system32\\modem_core\\* not Exist"));
}

TEST_F(ImageDeployment, AListingThatBreaksOffIsReportedWithItsError) {
  drive().Put(kVzwArchive, {});
  Inject("FindNextFileW", kAccessDenied, 2, 1);
  Hide();
  EXPECT_EQ(AttributesOf(kVzwArchive), kArchive) << "the listing broke off after \".\" and \"..\"";
  EXPECT_THAT(messages(), Contains("CImageSelector::HideModemFiles:230 : Error in Hiding Files with Error (5)"));
  EXPECT_EQ(machine().journal().Calls("FindClose").size(), 1u);
}

TEST_F(ImageDeployment, AFullListingIsNoError) {
  drive().Put(kVzwArchive, {});
  Hide();
  EXPECT_THAT(messages(), Not(Contains(HasSubstr("Error in Hiding Files"))));
  EXPECT_EQ(machine().journal().Calls("FindClose").size(), 1u);
}

TEST_F(ImageDeployment, TheArchivesAreHiddenEvenWhenTheExtractionFails) {
  drive().Put(kVzwArchive, ToBytes("not an archive"));
  EXPECT_EQ(Deploy(), 0u);
  EXPECT_EQ(AttributesOf(kVzwArchive), kArchive | kHidden);
  EXPECT_EQ(AttributesOf(kModemFolder), kDirectory | kHidden);
}

TEST_F(ImageDeployment, HiddenArchivesCanBeDeployedAgain) {
  PutArchive();
  EXPECT_EQ(Deploy(), 1u);
  Request();
  EXPECT_EQ(Deploy(), 1u);
  EXPECT_FALSE(IsRequested());
}

TEST_F(ImageDeployment, EveryHandleButTheDeletedValuesKeyIsClosed) {
  PutArchive();
  ZipBuilder toast;
  AddCorrupt(toast, "toast.png");
  PutArchive(toast, kToastArchive);
  std::size_t const before = machine().handles().OpenKinds(0).size();
  Request();
  Deploy();
  EXPECT_EQ(machine().handles().OpenKinds(0).size(), before + 1);
  EXPECT_EQ(machine().handles().OpenKinds(0).back(), "key") << "deleting a value leaves its key open, on purpose";
}

}  // namespace
}  // namespace modem_tests
