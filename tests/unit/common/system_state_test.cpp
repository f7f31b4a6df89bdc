#include "vantord/common/system_state.h"

#include "tests/testing/tablet_fixture.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"

namespace {

constexpr const char16_t* kSetupState = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State";
constexpr const char16_t* kCrashControl = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
constexpr const char16_t* kMarker = u"C:\\MfgDiag\\Dlls\\RILRouter.dll";
constexpr const char* kAuditLine = "IsAuditMode:1612 : IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! AUDIT MODE!!!";
constexpr const char* kNotAuditUndeployable =
    "IsAuditMode:1617 : Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = IMAGE_STATE_UNDEPLOYABLE";
constexpr const char* kUndeployLine = "IsUndeployMode:1636 : IMAGE_STATE_UNDEPLOYABLE! OOBE MODE!!!";
constexpr const char* kQueryFailed = "SGetRegistrySZ:887 : RegQueryValueEx fail, ValueName = ImageState";

class SystemStateTest : public testing_support::TabletTest {
 protected:
  SystemStateTest() { OpenLog(0); }  // the queries' messages are sent whatever the mask
  void SetImageState(std::u16string_view state) { registry().PutText(kSetupState, u"ImageState", state); }
  void PutMarker() { drive().Put(kMarker, {}); }
  std::size_t registry_reads() { return machine().journal().Calls("RegQueryValueExW").size(); }
};

TEST_F(SystemStateTest, TheAuditStateIsAuditMode) {
  SetImageState(u"IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT");
  EXPECT_TRUE(IsAuditMode());
  EXPECT_FALSE(IsUndeployMode());
  EXPECT_THAT(messages(), ElementsAre(kAuditLine,
                                      "IsUndeployMode:1641 : Not IMAGE_STATE_UNDEPLOYABLE! szImageState = "
                                      "IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT"));
}

TEST_F(SystemStateTest, TheUndeployableStateIsUndeployMode) {
  SetImageState(u"IMAGE_STATE_UNDEPLOYABLE");
  EXPECT_TRUE(IsUndeployMode());
  EXPECT_FALSE(IsAuditMode());
  EXPECT_THAT(messages(), ElementsAre(kUndeployLine, kNotAuditUndeployable));
}

TEST_F(SystemStateTest, OnlyTheSpecializeStateIsAuditMode) {
  SetImageState(u"IMAGE_STATE_GENERALIZE_RESEAL_TO_AUDIT");
  EXPECT_FALSE(IsAuditMode());
  EXPECT_FALSE(IsDefaultSetupState());
  EXPECT_THAT(messages(), ElementsAre("IsAuditMode:1617 : Not IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT! szImageState = "
                                      "IMAGE_STATE_GENERALIZE_RESEAL_TO_AUDIT",
                                      "IsDefaultSetupState:1587 : Non Default Setup State! "
                                      "(IMAGE_STATE_GENERALIZE_RESEAL_TO_AUDIT)"));
}

TEST_F(SystemStateTest, AuditModeIsFactoryLoggingWithoutFurtherQuestions) {
  SetImageState(u"IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT");
  EXPECT_TRUE(IsFactoryLoggingMode());
  EXPECT_EQ(registry_reads(), 1u) << "the state is read once";
  EXPECT_THAT(machine().journal().Calls("CreateFileW"), IsEmpty()) << "the marker file is not looked for";
  EXPECT_THAT(messages(), ElementsAre(kAuditLine, "IsFactoryLoggingMode:1683 : It is Audit mode. fRet = true!!"));
}

TEST_F(SystemStateTest, AnUndeployableImageWithoutTheMarkerFileIsTheOutOfBoxExperience) {
  SetImageState(u"IMAGE_STATE_UNDEPLOYABLE");
  EXPECT_FALSE(IsFactoryLoggingMode());
  EXPECT_EQ(registry_reads(), 2u) << "each query reads the state itself";
  EXPECT_THAT(messages(), ElementsAre(kNotAuditUndeployable, kUndeployLine,
                                      "CheckFileExist:1730 : The C:\\MfgDiag\\Dlls\\RILRouter.dll is NOT exist!!!",
                                      "IsFactoryLoggingMode:1695 : It is OOBE mode. fRet = false!!"));
}

TEST_F(SystemStateTest, AnUndeployableImageWithTheMarkerFileIsFactoryLogging) {
  SetImageState(u"IMAGE_STATE_UNDEPLOYABLE");
  PutMarker();
  EXPECT_TRUE(IsFactoryLoggingMode());
  EXPECT_THAT(messages(), ElementsAre(kNotAuditUndeployable, kUndeployLine,
                                      "CheckFileExist:1724 : The C:\\MfgDiag\\Dlls\\RILRouter.dll is exist!!!",
                                      "IsFactoryLoggingMode:1690 : RILRouter is exist. fRet = true!!"));
}

TEST_F(SystemStateTest, ACompleteImageIsAUsersAlsoWithTheMarkerFile) {
  SetImageState(u"IMAGE_STATE_COMPLETE");
  PutMarker();
  EXPECT_FALSE(IsFactoryLoggingMode());
  EXPECT_EQ(messages().back(), "IsFactoryLoggingMode:1701 : It is USER mode. fRet = false!!");
  EXPECT_THAT(machine().journal().Calls("CreateFileW"), IsEmpty());
}

TEST_F(SystemStateTest, WithoutAnImageStateEveryQueryIsFalse) {
  EXPECT_FALSE(IsAuditMode());
  EXPECT_FALSE(IsUndeployMode());
  EXPECT_FALSE(IsDefaultSetupState());
  EXPECT_FALSE(IsFactoryLoggingMode());
  EXPECT_THAT(messages(), ElementsAre(kQueryFailed, "IsAuditMode:1623 : SGetRegistrySZ FAILED", kQueryFailed,
                                      "IsUndeployMode:1647 : SGetRegistrySZ FAILED", kQueryFailed,
                                      "IsDefaultSetupState:1598 : SGetRegistrySZ FAILED", kQueryFailed,
                                      "IsAuditMode:1623 : SGetRegistrySZ FAILED", kQueryFailed,
                                      "IsUndeployMode:1647 : SGetRegistrySZ FAILED",
                                      "IsFactoryLoggingMode:1701 : It is USER mode. fRet = false!!"));
}

TEST_F(SystemStateTest, AStateOf259CharactersIsReadWhole) {
  SetImageState(std::u16string(259, u'A'));
  EXPECT_TRUE(IsDefaultSetupState());
  EXPECT_THAT(messages(),
              ElementsAre("IsDefaultSetupState:1592 : Default Setup State! (" + std::string(259, 'A') + ")"));
}

TEST_F(SystemStateTest, AStateLongerThanItsBufferCannotBeRead) {
  SetImageState(std::u16string(260, u'A'));
  EXPECT_FALSE(IsDefaultSetupState());
  EXPECT_THAT(messages(), ElementsAre(kQueryFailed, "IsDefaultSetupState:1598 : SGetRegistrySZ FAILED"));
}

TEST_F(SystemStateTest, TheFiveCompletedOrResealedStatesAreNoDefaultSetupState) {
  for (const char16_t* state :
       {u"IMAGE_STATE_COMPLETE", u"IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT", u"IMAGE_STATE_GENERALIZE_RESEAL_TO_AUDIT",
        u"IMAGE_STATE_SPECIALIZE_RESEAL_TO_OOBE", u"IMAGE_STATE_GENERALIZE_RESEAL_TO_OOBE"}) {
    SetImageState(state);
    EXPECT_FALSE(IsDefaultSetupState());
    EXPECT_EQ(messages().back(), "IsDefaultSetupState:1587 : Non Default Setup State! (" + tablet::ToUtf8(state) + ")");
  }
}

TEST_F(SystemStateTest, AnUndeployableOrUnknownStateIsADefaultSetupState) {
  for (const char16_t* state : {u"IMAGE_STATE_UNDEPLOYABLE", u"IMAGE_STATE_SOMETHING", u""}) {
    SetImageState(state);
    EXPECT_TRUE(IsDefaultSetupState());
    EXPECT_EQ(messages().back(), "IsDefaultSetupState:1592 : Default Setup State! (" + tablet::ToUtf8(state) + ")");
  }
}

TEST_F(SystemStateTest, AStateInLowerCaseIsADefaultSetupState) {
  SetImageState(u"image_state_complete");
  EXPECT_TRUE(IsDefaultSetupState());
  EXPECT_THAT(messages(), ElementsAre("IsDefaultSetupState:1592 : Default Setup State! (image_state_complete)"));
  SetImageState(u"image_state_specialize_reseal_to_audit");
  EXPECT_FALSE(IsAuditMode());
  SetImageState(u"image_state_undeployable");
  EXPECT_FALSE(IsUndeployMode());
}

TEST_F(SystemStateTest, AChangeBetweenTwoQueriesIsSeen) {
  SetImageState(u"IMAGE_STATE_UNDEPLOYABLE");
  EXPECT_TRUE(IsDefaultSetupState());
  SetImageState(u"IMAGE_STATE_COMPLETE");
  EXPECT_FALSE(IsDefaultSetupState());
}

TEST_F(SystemStateTest, AFileIsOpenedForNothingAndClosedAgain) {
  PutMarker();
  EXPECT_TRUE(CheckFileExist(kMarker));
  EXPECT_THAT(open_kinds(), IsEmpty());
  EXPECT_FALSE(CheckFileExist(TEXT("C:\\MfgDiag\\Dlls\\Other.dll")));
}

TEST_F(SystemStateTest, AFolderCannotBeOpenedAsAFile) {
  drive().PutFolder(kMarker);
  EXPECT_FALSE(CheckFileExist(kMarker));
}

TEST_F(SystemStateTest, AFileThatIsOpenedExclusivelyElsewhereCountsAsAbsent) {
  SetImageState(u"IMAGE_STATE_UNDEPLOYABLE");
  PutMarker();
  Inject("CreateFileW", ERROR_SHARING_VIOLATION);
  EXPECT_FALSE(IsFactoryLoggingMode());
  EXPECT_THAT(messages(),
              testing::Contains("CheckFileExist:1730 : The C:\\MfgDiag\\Dlls\\RILRouter.dll is NOT exist!!!"));
}

TEST_F(SystemStateTest, AnyKindOfCrashDumpCountsAsEnabled) {
  g_ulZoneMask = ZONE_ERROR;
  for (std::uint32_t kind : {1u, 2u, 3u, 7u}) {
    registry().PutDword(kCrashControl, u"CrashDumpEnabled", kind);
    EXPECT_TRUE(IsDiagnosisDumpEnabled());
    EXPECT_EQ(messages().back(), "IsDiagnosisDumpEnabled:251 : dwDiagnosisDumpEnabled set.");
  }
  EXPECT_EQ(messages().size(), 4u);
}

TEST_F(SystemStateTest, ADisabledCrashDumpIsNotLogged) {
  g_ulZoneMask = kDefaultZoneMask;
  registry().PutDword(kCrashControl, u"CrashDumpEnabled", 0);
  EXPECT_FALSE(IsDiagnosisDumpEnabled());
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(SystemStateTest, TheCrashDumpLineNeedsTheErrorZone) {
  g_ulZoneMask = ~ZONE_ERROR;
  registry().PutDword(kCrashControl, u"CrashDumpEnabled", 7);
  EXPECT_TRUE(IsDiagnosisDumpEnabled());
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(SystemStateTest, AnUnreadableCrashDumpSettingIsDisabled) {
  EXPECT_FALSE(IsDiagnosisDumpEnabled());
  registry().Put(kCrashControl, u"CrashDumpEnabled", {REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}});
  EXPECT_FALSE(IsDiagnosisDumpEnabled());
  EXPECT_THAT(messages(), ElementsAre("SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = CrashDumpEnabled",
                                      "SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = CrashDumpEnabled"));
}

}  // namespace
