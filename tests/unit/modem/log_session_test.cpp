#include "vantord/modem/log_session.h"

#include <iterator>

#include "tests/testing/tablet_fixture.h"
#include "vantord/common/diagnostic_log.h"
#include "vantord/common/trace_provider.h"

namespace {

constexpr GUID kOne = {0x75BD61FB, 0x874E, 0x4D96, {0x9D, 0x12, 0xF2, 0x70, 0xEC, 0x0D, 0x4D, 0xE5}};
constexpr GUID kOwn = {0x2170F42F, 0x27B0, 0x4B8B, {0xAE, 0x84, 0x94, 0x91, 0x91, 0x00, 0x0F, 0x66}};
constexpr GUID kTwo = {0x61C36369, 0xD18E, 0x4A5E, {0xBA, 0xC4, 0xBE, 0x16, 0x68, 0xA3, 0x8B, 0xEE}};
constexpr GUID kProviders[] = {kOne, kOwn, kTwo};

class LogSessionTest : public testing_support::TabletTest {
 protected:
  LogSessionTest() { OpenLog(); }

  static void Start(const WCHAR* name = TEXT("KAVRIL10"), DWORD minimum = 64) {
    Debug::StartLogSession(name, kProviders, static_cast<DWORD>(std::size(kProviders)), minimum);
  }
  const std::vector<tablet::TraceSession>& sessions() { return machine().trace().sessions(); }
  std::vector<std::string> EnabledProviders() {
    std::vector<std::string> guids;
    for (const tablet::EnabledProvider& enabled : sessions().at(0).enabled) {
      guids.push_back(enabled.provider.ToString());
    }
    return guids;
  }
  std::vector<std::size_t> LiveBlocks() { return machine().heap().LiveBlocks(tablet::kMachineProcess); }
};

TEST_F(LogSessionTest, TheSessionRunsInMemoryWithTheGivenMinimumOfBuffers) {
  Start();
  ASSERT_THAT(sessions(), SizeIs(1));
  const tablet::TraceSessionSettings& settings = sessions()[0].settings;
  EXPECT_EQ(settings.name, u"KAVRIL10");
  EXPECT_EQ(settings.guid, tablet::Guid{});
  EXPECT_EQ(settings.buffer_kb, 1024u);
  EXPECT_EQ(settings.minimum_buffers, 64u);
  EXPECT_EQ(settings.maximum_buffers, 0u);
  EXPECT_EQ(settings.log_file_mode, 0x90000400u);
  EXPECT_EQ(settings.clock, 1u);
  EXPECT_EQ(settings.log_file, u"");
  EXPECT_THAT(LiveBlocks(), IsEmpty());
}

TEST_F(LogSessionTest, TheProvidersAreEnabledInTheGivenOrder) {
  Start();
  EXPECT_THAT(EnabledProviders(),
              ElementsAre("{75BD61FB-874E-4D96-9D12-F270EC0D4DE5}", "{2170F42F-27B0-4B8B-AE84-949191000F66}",
                          "{61C36369-D18E-4A5E-BAC4-BE1668A38BEE}"));
  for (const tablet::EnabledProvider& enabled : sessions()[0].enabled) {
    EXPECT_EQ(enabled.level, 5);
    EXPECT_EQ(enabled.match_any, 0xFFFFu);
    EXPECT_EQ(enabled.match_all, 0u);
  }
}

TEST_F(LogSessionTest, TheStartIsToldWithNoGuidAndTheBlocksSizeAsLogFile) {
  Start();
  // 138 bytes, as a character. The buffer counts are the system's: it makes room for 20 more than the least.
  EXPECT_THAT(messages(),
              ElementsAre("Debug::StartLogSession:62 : Session Name: KAVRIL10",
                          "Debug::StartLogSession:92 : Session GUID: , Session name: KAVRIL10, Log file: \u008A, min "
                          "buffers: 64, max buffers: 84"));
}

TEST_F(LogSessionTest, TheBufferCountsToldAreTheOnesOfTheSystem) {
  Start(TEXT("X"), 0);
  EXPECT_THAT(messages(), Contains(HasSubstr("min buffers: 2, max buffers: 22")));
  EXPECT_EQ(sessions()[0].settings.minimum_buffers, 0u);
}

TEST_F(LogSessionTest, ASessionThatRunsAlreadyIsLeftAsItIs) {
  std::uint64_t handle = 0;
  ASSERT_EQ(machine().trace().StartSession({.name = u"KAVRIL10", .minimum_buffers = 4}, handle), 0u);
  Start();
  EXPECT_THAT(sessions(), SizeIs(1));
  EXPECT_EQ(sessions()[0].settings.minimum_buffers, 4u);
  EXPECT_THAT(sessions()[0].enabled, IsEmpty());
  EXPECT_THAT(messages(),
              ElementsAre(HasSubstr("Session Name"), "Debug::StartLogSession:80 : Error calling StartTrace, 183"));
  EXPECT_THAT(LiveBlocks(), IsEmpty());
}

TEST_F(LogSessionTest, WithoutMemoryNothingIsStarted) {
  Inject("HeapAlloc", ERROR_NOT_ENOUGH_MEMORY);
  Start();
  EXPECT_THAT(sessions(), IsEmpty());
  EXPECT_THAT(messages(), ElementsAre("Debug::StartLogSession:52 : Error allocating memory for properties."));
}

TEST_F(LogSessionTest, AProviderThatCannotBeEnabledIsToldAndTheNextOnesFollow) {
  Inject("EnableTraceEx2", 1450, 1, 1);
  Start();
  EXPECT_THAT(
      messages(),
      Contains("Debug::EnableUSBGUID:31 : EnableTrace({75BD61FB-874E-4D96-9D12-F270EC0D4DE5}) failed with 1450"));
  EXPECT_THAT(EnabledProviders(),
              ElementsAre("{2170F42F-27B0-4B8B-AE84-949191000F66}", "{61C36369-D18E-4A5E-BAC4-BE1668A38BEE}"));
  EXPECT_THAT(machine().journal().Calls("StringFromGUID2").back().args, testing::EndsWith("room for 50"));
  EXPECT_THAT(LiveBlocks(), IsEmpty());
}

TEST_F(LogSessionTest, EveryMessageIsGated) {
  g_ulZoneMask = 0;
  Inject("EnableTraceEx2", 1450);
  Start();
  Start();
  Inject("HeapAlloc", ERROR_NOT_ENOUGH_MEMORY);
  Start();
  EXPECT_THAT(formatted(), IsEmpty());
  g_ulZoneMask = kDefaultZoneMask;
}

TEST_F(LogSessionTest, TheSessionOutlivesTheServicesProvider) {
  Start();
  TraceProviderCleanup();
  EXPECT_THAT(sessions(), SizeIs(1));
  EXPECT_THAT(EnabledProviders(), SizeIs(3));
}

TEST_F(LogSessionTest, MessagesOfTheServiceStillArriveOnceTheSessionHasEnabledItsProvider) {
  Start();
  DebugPrint(TEXT("still heard"));
  EXPECT_THAT(messages(), Contains("still heard"));
}

}  // namespace
