#include <windows.h>

#include <type_traits>

#include "tests/testing/modem_fixture.h"
#include "vantord/modem/modem_qc.h"

namespace modem_tests {
namespace {

constexpr std::uint32_t kNotEnoughMemory = 8;
constexpr std::uint32_t kRegSz = 1;
constexpr std::uint32_t kRegBinary = 3;
constexpr std::uint32_t kRegQword = 11;
constexpr char16_t kReady[] = u"PELT_KNOW_TO_GO_SSR";

/// Shows what a modem object keeps to itself.
class OpenedModem : public CModemQC {
 public:
  DWORD state(int word) const { return m_modemState[word]; }
  void DropControlDevice() { m_pModemCtrl.reset(); }
};

class ModemQc : public ModemTest {
 protected:
  void StartModem() {
    CModemQC modem;
    modem.Init();
  }

  /// The handle of the stop event of the modem object made last.
  HANDLE StopEvent() {
    std::string const result = machine().journal().Calls("CreateEventW").back().result;
    return reinterpret_cast<HANDLE>(std::stoull(result, nullptr, 16));
  }

  std::optional<std::uint32_t> Ready() { return registry().GetDword(kParameters, kReady); }
};

TEST_F(ModemQc, AnnouncesThatItIsMade) {
  CModemQC const modem;
  EXPECT_THAT(MessagesOf("CModem"),
              ElementsAre("CModemCtrlDevice::CModemCtrlDevice: (+)", "CModemCtrlDevice::CModemCtrlDevice: (-)",
                          "CModemTemplate::CModemTemplate: (+)",
                          "CModemTemplate::CModemTemplate:9 : CModemTemplate constructor successfully.",
                          "CModemTemplate::CModemTemplate: (-)", "CModemQC::CModemQC: (+)",
                          "CModemQC::CModemQC:9 : CModemQC constructor successfully.", "CModemQC::CModemQC: (-)"));
}

// The whole start-up.

TEST_F(ModemQc, ATabletThatWasNeverDeployedGetsItsImage) {
  g_ulZoneMask = kDefaultZoneMask | ZONE_MODEM_INFO;
  PutArchive();
  PutInstance(u"0000", kShippedPath);
  registry().PutDword(kParameters, u"Distribute", 1);
  registry().PutDword(kParameters, kReady, 5);
  StartModem();
  EXPECT_TRUE(IsDeployed());
  EXPECT_EQ(registry().GetText(Instance(u"0000"), u"AmssFwImagePath"), kFirmwarePath);
  EXPECT_EQ(registry().GetDword(kParameters, u"Distribute"), std::nullopt);
  EXPECT_EQ(Ready(), 5u) << "a start that deploys does not touch the partner's value";
  EXPECT_THAT(MessagesOf("CModemQC::Init"),
              ElementsAre("CModemQC::Init:24 : CModemQC Init Starts.",
                          "CModemQC::Init:48 : Extract Modem binary(change Path) and SSR will be run"));
}

TEST_F(ModemQc, WithRightPathsAndNoRequestNothingIsExtracted) {
  PutArchive();
  PutInstance(u"0000", kFirmwarePath);
  StartModem();
  EXPECT_THAT(drive().Changes(), IsEmpty());
  EXPECT_THAT(MessagesOf("CImageSelector"), IsEmpty());
  EXPECT_EQ(Ready(), 1u);
  EXPECT_THAT(messages(), Contains("SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = Distribute"));
}

TEST_F(ModemQc, ARequestDeploysOverRightPathsAndLeavesThePartnersValue) {
  PutArchive();
  PutInstance(u"0000", kFirmwarePath);
  registry().PutDword(kParameters, u"Distribute", 1);
  StartModem();
  EXPECT_TRUE(IsDeployed());
  EXPECT_EQ(Ready(), std::nullopt);
  EXPECT_EQ(registry().GetDword(kParameters, u"Distribute"), std::nullopt);

  StartModem();
  EXPECT_EQ(Ready(), 1u) << "the request held for one deployment";
}

TEST_F(ModemQc, AFailedDeploymentLeavesThePathsAndTheRequest) {
  PutInstance(u"0000", kShippedPath);
  registry().PutDword(kParameters, u"Distribute", 1);
  StartModem();
  EXPECT_EQ(registry().GetText(Instance(u"0000"), u"AmssFwImagePath"), kShippedPath);
  EXPECT_EQ(registry().GetDword(kParameters, u"Distribute"), 1u);
  EXPECT_EQ(Ready(), std::nullopt);
}

TEST_F(ModemQc, ItsStartIsOnlyToldToWhoAsksForModemInformation) {
  auto const starts = [this] {
    StartModem();
    return TimesLogged("CModemQC::Init:24 : CModemQC Init Starts.");
  };
  EXPECT_EQ(starts(), 0u);
  g_ulZoneMask = ZONE_MODEM_INFO;
  EXPECT_EQ(starts(), 1u);
}

// The request.

class ModemQcRequest : public ModemQc {
 protected:
  bool DeploysFor(std::uint32_t type, std::vector<std::uint8_t> data) {
    PutArchive();
    PutInstance(u"0000", kFirmwarePath);
    registry().Put(kParameters, u"Distribute", {.type = type, .data = std::move(data)});
    StartModem();
    return IsDeployed();
  }
};

TEST_F(ModemQcRequest, AnyOtherNumberIsNoRequest) {
  PutArchive();
  PutInstance(u"0000", kFirmwarePath);
  registry().PutDword(kParameters, u"Distribute", 2);
  StartModem();
  EXPECT_FALSE(IsDeployed());
  EXPECT_EQ(registry().GetDword(kParameters, u"Distribute"), 2u);
}

TEST_F(ModemQcRequest, ATextOf1IsNoRequest) { EXPECT_FALSE(DeploysFor(kRegSz, {'1', 0, 0, 0})); }

TEST_F(ModemQcRequest, A64BitNumberIsNoRequestAndAReadFailure) {
  EXPECT_FALSE(DeploysFor(kRegQword, {1, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_THAT(messages(), Contains("SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = Distribute"));
}

TEST_F(ModemQcRequest, AByteIsNoRequest) { EXPECT_FALSE(DeploysFor(kRegBinary, {1})); }

TEST_F(ModemQcRequest, FourBytesThatReadAs1AreARequestWhateverTheirType) {
  EXPECT_TRUE(DeploysFor(kRegBinary, {1, 0, 0, 0}));
}

TEST_F(ModemQcRequest, TheRequestIsReadBeforeThePathsAreLookedAt) {
  g_ulZoneMask = kDefaultZoneMask | ZONE_MODEM_INFO;
  PutInstance(u"0000", kFirmwarePath);
  StartModem();
  std::vector<std::string> const all = messages();
  auto const request = std::ranges::find(all, "SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = Distribute");
  auto const paths = std::ranges::find_if(
      all, [](const std::string& message) { return message.starts_with("CModemQC::CheckImageRegPath:112"); });
  ASSERT_NE(request, all.end());
  ASSERT_NE(paths, all.end());
  EXPECT_LT(request, paths);
}

// The partner's value.

TEST_F(ModemQc, TellsThePartnerServiceThatDumpsMayBeTaken) {
  PutInstance(u"0000", kFirmwarePath);
  registry().PutDword(kParameters, kReady, 2);
  StartModem();
  EXPECT_EQ(Ready(), 1u);
  EXPECT_EQ(machine().journal().Calls("RegSetValueExW").size(), 1u);
  StartModem();
  EXPECT_EQ(machine().journal().Calls("RegSetValueExW").size(), 1u) << "1 is not written over 1";
}

TEST_F(ModemQc, APartnersValueOfAnotherSizeIsReplaced) {
  registry().Put(kParameters, kReady, {.type = kRegQword, .data = {1, 0, 0, 0, 0, 0, 0, 0}});
  StartModem();
  EXPECT_EQ(Ready(), 1u);
}

// The factory line.

TEST_F(ModemQc, TheFactoryLineIsRecordedInASessionOfItsOwn) {
  EnterAuditMode();
  StartModem();
  ASSERT_EQ(machine().trace().sessions().size(), 1u);
  const tablet::TraceSession& session = machine().trace().sessions().front();
  EXPECT_EQ(session.settings.name, u"KAVRIL10");
  EXPECT_EQ(session.settings.minimum_buffers, 64u);
  std::vector<std::string> providers;
  for (const tablet::EnabledProvider& enabled : session.enabled) providers.push_back(enabled.provider.ToString());
  EXPECT_THAT(providers,
              ElementsAre("{75BD61FB-874E-4D96-9D12-F270EC0D4DE5}", "{EA19F0BD-C199-479F-B057-066043D31DC0}",
                          "{2170F42F-27B0-4B8B-AE84-949191000F66}", "{1057AC89-C204-4F1A-9B91-A062748C341A}",
                          "{61C36369-D18E-4A5E-BAC4-BE1668A38BEE}", "{30AD837B-B14D-4A80-AB1B-DF53173B0996}",
                          "{A3BE41DF-D141-4ECD-8B8A-548195469053}", "{36797C31-A122-43DB-B296-36AB887335C3}",
                          "{8601DCB7-CA1A-48B7-91B4-E113B7D2A655}", "{3FA5FE7E-604B-4CD3-8588-9D0460D99620}",
                          "{9CBA380D-42BA-45DB-94F0-AC310885CE4E}", "{5AB48ED9-AAFE-40A2-84CF-DBD60690E80D}"));
}

TEST_F(ModemQc, TheFactoryLineGetsTheImageIdIntoFirmware) {
  EnterAuditMode();
  registry().PutText(kService, u"ModemImageID", u"ATT");
  StartModem();
  EXPECT_EQ(FirmwareImageId(), (Bytes{'A', 'T', 'T', 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(ModemQc, AUsersTabletIsNeitherRecordedNorItsIdMirrored) {
  registry().PutText(kSetupState, u"ImageState", u"IMAGE_STATE_COMPLETE");
  registry().PutText(kService, u"ModemImageID", u"ATT");
  StartModem();
  EXPECT_THAT(machine().trace().sessions(), IsEmpty());
  EXPECT_THAT(FirmwareImageId(), IsEmpty());
}

TEST_F(ModemQc, AsksTwiceWhetherItRunsOnTheFactoryLine) {
  EnterAuditMode();
  StartModem();
  EXPECT_EQ(TimesLogged("IsFactoryLoggingMode:1683 : It is Audit mode. fRet = true!!"), 2u);
}

TEST_F(ModemQc, ATabletThatLeavesTheFactoryLineMeanwhileIsNotMirrored) {
  EnterAuditMode();
  registry().PutText(kService, u"ModemImageID", u"ATT");
  registry().on_query = [this](std::u16string_view, std::u16string_view value, tablet::WinError,
                               const tablet::RegistryValue&) {
    if (value == u"Distribute") registry().PutText(kSetupState, u"ImageState", u"IMAGE_STATE_COMPLETE");
  };
  StartModem();
  EXPECT_EQ(machine().trace().sessions().size(), 1u);
  EXPECT_THAT(FirmwareImageId(), IsEmpty());
}

// What it does not care about.

TEST_F(ModemQc, TheStartUpGoesOnThroughEveryFailure) {
  g_ulZoneMask = kDefaultZoneMask | ZONE_MODEM_INFO;
  EnterAuditMode();
  PutInstance(u"0000", kFirmwarePath);
  Inject("RegCreateKeyExW", kAccessDenied);
  Inject("RegOpenKeyExW", kAccessDenied);
  StartModem();
  EXPECT_THAT(MessagesOf("CModemQC::Init"), ElementsAre("CModemQC::Init:24 : CModemQC Init Starts."));
  EXPECT_EQ(TimesLogged("IsFactoryLoggingMode:1701 : It is USER mode. fRet = false!!"), 2u);
}

TEST_F(ModemQc, EventOperationsDoNothing) {
  CModemQC modem;
  std::size_t const before = machine().journal().events().size();
  modem.OnSuspend();
  modem.OnResume();
  modem.OnDeviceRemoved(TEXT("\\\\?\\link"));
  modem.OnDeviceArrival(TEXT("\\\\?\\link"));
  modem.OnModemOn();
  modem.OnModemOff();
  modem.OnDssRemoved();
  modem.OnRilAbort();
  EXPECT_EQ(machine().journal().events().size(), before);
}

TEST_F(ModemQc, TheModemStateIsClearedAndStaysSo) {
  PutInstance(u"0000", kFirmwarePath);
  OpenedModem modem;
  (void)modem.ExistModemCtrl();
  EXPECT_EQ(modem.Init(), 0u);
  modem.OnModemOn();
  modem.Deinit(1);
  EXPECT_EQ(modem.state(0), 0u);
  EXPECT_EQ(modem.state(1), 0u);
  EXPECT_EQ(modem.m_bDisplayOn, 0u);
}

TEST_F(ModemQc, TheDisplayMakesNoDifference) {
  auto const record = [this](DWORD display) {
    PowerOnAgain(DefaultDescription());
    PutArchive();
    PutInstance(u"0000", kShippedPath);
    CModemQC modem;
    modem.m_bDisplayOn = display;
    modem.Init();
    modem.Deinit(0);
    EXPECT_EQ(modem.m_bDisplayOn, display);
    return messages();
  };
  std::vector<std::string> const off = record(0);
  EXPECT_THAT(off, Not(IsEmpty()));
  EXPECT_EQ(off, record(1));
}

// The end.

TEST_F(ModemQc, StopAndPreshutdownAreAlike) {
  for (DWORD const flag : {1, 0}) {
    CModemQC modem;
    HANDLE const event = StopEvent();
    EXPECT_EQ(::WaitForSingleObject(event, 0), static_cast<DWORD>(WAIT_TIMEOUT));
    modem.Deinit(flag);
    EXPECT_EQ(::WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_EQ(::WaitForSingleObject(event, 0), WAIT_OBJECT_0) << "it stays signalled";
  }
}

TEST_F(ModemQc, TheStopEventEndsWithTheModem) {
  HANDLE event = nullptr;
  {
    CModemQC const modem;
    event = StopEvent();
  }
  EXPECT_FALSE(machine().handles().Find(reinterpret_cast<tablet::HandleValue>(event)));
}

TEST_F(ModemQc, StartsAndEndsWithoutAStopEvent) {
  Inject("CreateEventW", kNotEnoughMemory);
  {
    CModemQC modem;
    modem.Init();
    modem.Deinit(1);
  }
  EXPECT_THAT(messages(), Contains("CModemQC::CModemQC:9 : CModemQC constructor successfully."));
  std::vector<tablet::CallEvent> const sets = machine().journal().Calls("SetEvent");
  ASSERT_EQ(sets.size(), 1u);
  EXPECT_EQ(sets.front().result, "0");
}

// The control device.

TEST_F(ModemQc, FindsTheModemsControlDevice) {
  CModemQC modem;
  EXPECT_TRUE(modem.ExistModemCtrl());
  EXPECT_THAT(MessagesOf("CModemTemplate::ExistModemCtrl"),
              ElementsAre("CModemTemplate::ExistModemCtrl:121 : m_pModemCtrl Open Success"));
}

TEST_F(ModemQc, MissesAModemOnlyAfter20Seconds) {
  tablet::Description description = DefaultDescription();
  description.modem_present = false;
  description.modem_links.clear();
  PowerOnAgain(description);
  CModemQC modem;
  EXPECT_FALSE(modem.ExistModemCtrl());
  EXPECT_EQ(machine().scheduler().Now(), tablet::Millis{20'000});
  EXPECT_THAT(MessagesOf("CModemTemplate::ExistModemCtrl"),
              ElementsAre("CModemTemplate::ExistModemCtrl:118 : m_pModemCtrl Open Fail"));
}

TEST_F(ModemQc, WithoutAControlDeviceObjectThereIsNoModem) {
  OpenedModem modem;
  modem.DropControlDevice();
  EXPECT_FALSE(modem.ExistModemCtrl());
  EXPECT_THAT(MessagesOf("CModemTemplate::ExistModemCtrl"),
              ElementsAre("CModemTemplate::ExistModemCtrl:113 : m_pModemCtrl NULL"));
}

}  // namespace
}  // namespace modem_tests
