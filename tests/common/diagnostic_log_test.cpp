#include "common/diagnostic_log.h"

#include "tests/testing/tablet_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kServiceMessages = "{3AEFEA6F-AED7-398F-0C1C-68436903AE64}";
constexpr const char* kHelperMessages = "{6311AFDF-0911-386C-ED5C-6962340DA587}";

class DiagnosticLogTest : public testing_support::TabletTest {
 protected:
  DiagnosticLogTest() { g_ulZoneMask = kDefaultZoneMask; }
  ~DiagnosticLogTest() override {
    TraceProviderCleanup();
    g_ulZoneMask = kDefaultZoneMask;
  }
  std::vector<tablet::TraceEvent> traces() {
    std::vector<tablet::TraceEvent> events;
    for (const tablet::Event& event : machine().journal().events()) {
      if (const auto* trace = std::get_if<tablet::TraceEvent>(&event.what)) events.push_back(*trace);
    }
    return events;
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

}  // namespace
