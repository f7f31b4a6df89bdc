#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"
#include "vantord/service/zone_mask.h"

#include "cli/base/service_facts.h"
#include "tests/testing/tablet_fixture.h"

namespace {

using service_facts::kHelperMessages;
using service_facts::kServiceMessages;
const tablet::Guid kProvider = *tablet::Guid::Parse(service_facts::kTraceProvider);
constexpr const char16_t* kParameters = service_facts::kParametersKey;

class DiagnosticLogTest : public testing_support::TabletTest {
 protected:
  std::vector<tablet::TraceEvent> traces() {
    std::vector<tablet::TraceEvent> events;
    for (const tablet::Event& event : machine().journal().events()) {
      if (const auto* trace = std::get_if<tablet::TraceEvent>(&event.what)) events.push_back(*trace);
    }
    return events;
  }
  void PowerOnUncollected() {
    PowerOn(With([](auto& description) { description.trace_collected = false; }));
  }
};

TEST_F(DiagnosticLogTest, AMessageArrivesWithItsFunctionAndTag) {
  TraceProviderInit();
  DebugPrint(TEXT("%S:%d : text %s"), "CServiceBase::Stop", 244, TEXT("more"));
  ASSERT_EQ(traces().size(), 1u);
  EXPECT_EQ(traces()[0].text, "CServiceBase::Stop:244 : text more");
  EXPECT_EQ(traces()[0].function, "CServiceBase::Stop");
  EXPECT_EQ(traces()[0].line, 244);
  EXPECT_EQ(traces()[0].number, 10);
  EXPECT_EQ(traces()[0].guid, kServiceMessages);
}

TEST_F(DiagnosticLogTest, TheHelpersSendUnderTheirOwnGuid) {
  TraceProviderInit();
  HelperDebugPrint(TEXT("%S:%d : x"), "SGetRegistrySZ", 1);
  ASSERT_EQ(traces().size(), 1u);
  EXPECT_EQ(traces()[0].guid, kHelperMessages);
  EXPECT_EQ(traces()[0].number, 10);
}

TEST_F(DiagnosticLogTest, AMessageGoesOutWithItsTerminatorAndTheFlagsOfTheProvider) {
  TraceProviderInit();
  DebugPrint(TEXT("four"));
  auto const calls = machine().journal().Calls("TraceMessage");
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_THAT(calls[0].args, HasSubstr(", 0x2b, "));
  EXPECT_THAT(calls[0].args, HasSubstr(", 10, 10 bytes"));
  EXPECT_EQ(calls[0].result, "0");
}

TEST_F(DiagnosticLogTest, AMessageIsCutAt1023Characters) {
  TraceProviderInit();
  for (std::size_t const length : {1022, 1023, 1024, 5000}) {
    std::u16string const text(length - 1, u'x');
    DebugPrint(TEXT("%sz"), reinterpret_cast<const WCHAR*>(text.c_str()));
  }
  EXPECT_THAT(messages(), ElementsAre(std::string(1021, 'x') + 'z', std::string(1022, 'x') + 'z',
                                      std::string(1023, 'x'), std::string(1023, 'x')));
}

TEST_F(DiagnosticLogTest, AnEmptyMessageIsNotSent) {
  TraceProviderInit();
  DebugPrint(TEXT("%s"), TEXT(""));
  EXPECT_THAT(formatted(), ElementsAre(""));
  EXPECT_THAT(machine().journal().Calls("TraceMessage"), IsEmpty());
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(DiagnosticLogTest, MessagesOutsideTheRegistrationAreGone) {
  DebugPrint(TEXT("%S:%d : before"), "F", 1);
  TraceProviderInit();
  DebugPrint(TEXT("%S:%d : between"), "F", 2);
  TraceProviderCleanup();
  DebugPrint(TEXT("%S:%d : after"), "F", 3);
  EXPECT_THAT(messages(), ElementsAre("F:2 : between"));
  EXPECT_THAT(formatted(), ElementsAre("F:1 : before", "F:2 : between", "F:3 : after"));
}

TEST_F(DiagnosticLogTest, NothingIsSentWhileNobodyHasEnabledTheProvider) {
  PowerOnUncollected();
  TraceProviderInit();
  DebugPrint(TEXT("unheard"));
  machine().trace().Collect(kProvider, 0xFFFFFFFE, 5);
  DebugPrint(TEXT("without the bit"));
  EXPECT_THAT(machine().journal().Calls("TraceMessage"), IsEmpty());
  machine().trace().Collect(kProvider, 1, 5);
  DebugPrint(TEXT("heard"));
  machine().trace().StopCollecting(kProvider);
  DebugPrint(TEXT("unheard again"));
  EXPECT_THAT(messages(), ElementsAre("heard"));
}

TEST_F(DiagnosticLogTest, AMaskOfZeroSilencesGatedMessagesAlone) {
  TraceProviderInit();
  g_ulZoneMask = 0;
  for (DWORD const zone : {ZONE_FUNCTION, ZONE_ERROR, ZONE_INFO, ZONE_MODEM_INFO, ZONE_DETAIL}) {
    DebugPrintZone(zone, TEXT("gated"));
  }
  { FunctionScope const scope("Silent"); }
  DebugPrint(TEXT("ungated"));
  HelperDebugPrint(TEXT("ungated helper"));
  EXPECT_THAT(messages(), ElementsAre("ungated", "ungated helper"));
}

TEST_F(DiagnosticLogTest, ADisabledMessageCostsItsArgumentsNothing) {
  TraceProviderInit();
  int evaluated = 0;
  g_ulZoneMask = ZONE_INFO;
  DebugPrintZone(ZONE_ERROR, TEXT("%d"), ++evaluated);
  EXPECT_EQ(evaluated, 0);
  EXPECT_THAT(formatted(), IsEmpty());
  DebugPrintZone(ZONE_INFO, TEXT("%d"), ++evaluated);
  EXPECT_THAT(messages(), ElementsAre("1"));
}

TEST_F(DiagnosticLogTest, TheDefaultMaskSetsABitThatNoZoneUses) {
  EXPECT_EQ(g_ulZoneMask, 0x4000Fu);
  TraceProviderInit();
  g_ulZoneMask = 0x4;
  for (DWORD const zone : {ZONE_FUNCTION, ZONE_ERROR, ZONE_INFO, ZONE_MODEM_INFO, ZONE_DETAIL}) {
    DebugPrintZone(zone, TEXT("never"));
  }
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(DiagnosticLogTest, AScopeTellsEntryAndExitEachByTheMaskOfItsMoment) {
  TraceProviderInit();
  {
    FunctionScope const outer("COuter::Run");
    FunctionScope const inner("Inner");
    g_ulZoneMask = ZONE_ERROR;
    { FunctionScope const silent("Silent"); }
    g_ulZoneMask = ZONE_FUNCTION;
  }
  EXPECT_THAT(messages(), ElementsAre("COuter::Run: (+)", "Inner: (+)", "Inner: (-)", "COuter::Run: (-)"));
  EXPECT_EQ(traces()[0].function, "COuter::Run");
  EXPECT_EQ(traces()[0].line, std::nullopt);
}

TEST_F(DiagnosticLogTest, TheRegistrysZoneMaskReplacesTheDefault) {
  registry().PutDword(kParameters, u"ulZoneMask", 0x400B);
  GetDebugZoneMask();
  EXPECT_EQ(g_ulZoneMask, 0x400Bu);
  EXPECT_THAT(formatted(), IsEmpty());
}

TEST_F(DiagnosticLogTest, AMissingZoneMaskIsSaidToNobody) {
  registry().MakeKey(kParameters);
  GetDebugZoneMask();
  EXPECT_EQ(g_ulZoneMask, kDefaultZoneMask);
  EXPECT_THAT(formatted(), ElementsAre("SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = ulZoneMask",
                                       HasSubstr(" : Fail to get dwRegulZoneMask registry")));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(DiagnosticLogTest, AMissingZoneMaskIsSaidWhateverTheMask) {
  TraceProviderInit();
  g_ulZoneMask = 0;
  GetDebugZoneMask();
  EXPECT_THAT(messages(), ElementsAre("SGetRegistryDWORD:820 : RegQueryValueEx fail, ValueName = ulZoneMask",
                                      HasSubstr(" : Fail to get dwRegulZoneMask registry")));
  EXPECT_EQ(traces()[1].function, "GetDebugZoneMask");
  EXPECT_EQ(traces()[1].guid, kServiceMessages);
  EXPECT_EQ(g_ulZoneMask, 0u);
}

TEST_F(DiagnosticLogTest, AZoneMaskOfAnotherSizeIsNotTaken) {
  registry().Put(kParameters, u"ulZoneMask", {tablet::kTypeDword, {0, 0}});
  GetDebugZoneMask();
  EXPECT_EQ(g_ulZoneMask, kDefaultZoneMask);
}

TEST_F(DiagnosticLogTest, AParametersKeyThatCannotBeOpenedLeavesTheMaskAndOneLine) {
  registry().Guard(kParameters, tablet::KeyGuard::kDenied);
  GetDebugZoneMask();
  EXPECT_EQ(g_ulZoneMask, kDefaultZoneMask);
  EXPECT_THAT(formatted(), ElementsAre(HasSubstr("GetDebugZoneMask:")));
}

TEST_F(DiagnosticLogTest, AMessageSentWhileTheProviderIsDisabledIsDroppedOrSentWhole) {
  std::size_t fewest = SIZE_MAX;
  std::size_t most = 0;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    PowerOn(DefaultDescription(), {.seed = seed});
    OpenLog();
    std::vector<std::string> sent;
    for (int i = 0; i < 10; ++i) sent.push_back("Worker:" + std::to_string(i) + " : whole");
    machine().scheduler().Start(1, "worker", [] {
      for (int i = 0; i < 10; ++i) DebugPrint(TEXT("%S:%d : whole"), "Worker", i);
    });
    machine().scheduler().Start(2, "controller", [this] {
      for (int i = 0; i < 4; ++i) machine().scheduler().Yield();
      machine().trace().StopCollecting(kProvider);
    });
    machine().scheduler().Sleep(tablet::Millis{1});
    sent.resize(messages().size());
    EXPECT_EQ(messages(), sent);
    fewest = std::min(fewest, sent.size());
    most = std::max(most, sent.size());
  }
  EXPECT_LT(fewest, most);
}

}  // namespace
