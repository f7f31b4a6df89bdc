#include "vantord/common/trace_provider.h"

#include "cli/base/service_facts.h"
#include "tests/testing/tablet_fixture.h"
#include "vantord/common/diagnostic_log.h"

namespace {

const tablet::Guid kTraceProvider = *tablet::Guid::Parse(service_facts::kTraceProvider);

class TraceProviderTest : public testing_support::TabletTest {
 protected:
  /// A controller's request with a logger handle of flags 0x31, level 4, session 9.
  static ULONG Request(int code, TraceControlBlock& block, ULONG& reserved) {
    WNODE_HEADER header{};
    header.BufferSize = sizeof(header);
    header.HistoricalContext = 0x31'0004'0009;
    return WppControlCallback(static_cast<WMIDPREQUESTCODE>(code), &block, &reserved, &header);
  }
  static void FillIn(TraceControlBlock& block) {
    block.logger = 7;
    block.level = 2;
    block.flags = 8;
  }
};

TEST_F(TraceProviderTest, TheServiceRegistersUnderItsGuidAndUnregistersOnce) {
  EXPECT_EQ(RegisteredProvider(), nullptr);
  TraceProviderInit();
  EXPECT_TRUE(machine().trace().IsRegistered(kTraceProvider));
  ASSERT_NE(RegisteredProvider(), nullptr);
  EXPECT_NE(RegisteredProvider()->registration, 0u);
  EXPECT_EQ(RegisteredProvider()->flagsLength, 1u);
  TraceControlBlock* const block = RegisteredProvider();
  TraceProviderCleanup();
  TraceProviderCleanup();
  EXPECT_FALSE(machine().trace().IsRegistered(kTraceProvider));
  EXPECT_EQ(RegisteredProvider(), nullptr);
  EXPECT_EQ(block->registration, 0u);
  EXPECT_THAT(machine().journal().Calls("UnregisterTraceGuids"), SizeIs(1));
}

TEST_F(TraceProviderTest, AProviderThatCouldNotRegisterIsNotUnregistered) {
  Inject("RegisterTraceGuidsW", ERROR_NOT_ENOUGH_MEMORY);
  TraceProviderInit();
  DebugPrint(TEXT("unheard"));
  TraceProviderCleanup();
  EXPECT_THAT(machine().journal().Calls("UnregisterTraceGuids"), IsEmpty());
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_EQ(RegisteredProvider(), nullptr);
}

TEST_F(TraceProviderTest, InitForgetsWhatAnEarlierControllerSet) {
  TraceProviderInit();
  EXPECT_EQ(RegisteredProvider()->flags, 1u);
  TraceProviderCleanup();
  machine().trace().StopCollecting(kTraceProvider);
  TraceProviderInit();
  EXPECT_EQ(RegisteredProvider()->flags, 0u);
  EXPECT_EQ(RegisteredProvider()->logger, 0u);
  EXPECT_EQ(RegisteredProvider()->level, 0u);
}

TEST_F(TraceProviderTest, AnEnableRequestIsTakenOver) {
  TraceControlBlock block{};
  ULONG reserved = 99;
  EXPECT_EQ(Request(4, block, reserved), 0u);
  EXPECT_EQ(reserved, 0u);
  EXPECT_EQ(block.flags, 0x31u);
  EXPECT_EQ(block.level, 4);
  EXPECT_EQ(block.logger, 0x31'0004'0009u);
}

TEST_F(TraceProviderTest, ADisableRequestClears) {
  TraceControlBlock block{};
  FillIn(block);
  ULONG reserved = 99;
  EXPECT_EQ(Request(5, block, reserved), 0u);
  EXPECT_EQ(reserved, 0u);
  EXPECT_EQ(block.flags, 0u);
  EXPECT_EQ(block.level, 0);
  EXPECT_EQ(block.logger, 0u);
}

TEST_F(TraceProviderTest, AnyOtherRequestIsError87AndChangesNothing) {
  for (int const code : {0, 1, 2, 3, 6, 7, 8, 9, 10, 11}) {
    TraceControlBlock block{};
    FillIn(block);
    ULONG reserved = 99;
    EXPECT_EQ(Request(code, block, reserved), 87u) << code;
    EXPECT_EQ(reserved, 0u) << code;
    EXPECT_EQ(block.flags, 8u) << code;
    EXPECT_EQ(block.level, 2) << code;
    EXPECT_EQ(block.logger, 7u) << code;
  }
}

TEST_F(TraceProviderTest, AForwardedBlockGetsTheStateInItsPlace) {
  TraceControlBlock target{};
  TraceControlBlock block{};
  block.options = 0x2;
  block.forward = &target;
  ULONG reserved = 99;
  EXPECT_EQ(Request(4, block, reserved), 0u);
  EXPECT_EQ(target.flags, 0x31u);
  EXPECT_EQ(target.level, 4);
  EXPECT_EQ(target.logger, 0x31'0004'0009u);
  EXPECT_EQ(block.flags, 0u);
}

TEST_F(TraceProviderTest, WithoutTheOptionOrATargetTheBlockItselfGetsTheState) {
  TraceControlBlock target{};
  ULONG reserved = 99;
  TraceControlBlock without_option{};
  without_option.options = 0xFD;
  without_option.forward = &target;
  EXPECT_EQ(Request(4, without_option, reserved), 0u);
  EXPECT_EQ(without_option.flags, 0x31u);
  EXPECT_EQ(target.flags, 0u);
  TraceControlBlock without_target{};
  without_target.options = 0x2;
  EXPECT_EQ(Request(4, without_target, reserved), 0u);
  EXPECT_EQ(without_target.flags, 0x31u);
}

}  // namespace
