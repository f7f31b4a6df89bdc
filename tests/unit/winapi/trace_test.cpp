#include <windows.h>
// Needs <windows.h> before it.
#include <evntrace.h>

#include <cstddef>

#include "cli/base/service_facts.h"
#include "tests/testing/tablet_fixture.h"
#include "tests/unit/winapi/refusal.h"

namespace {

constexpr GUID kControl = {0x2170F42F, 0x27B0, 0x4B8B, {0xAE, 0x84, 0x94, 0x91, 0x91, 0x00, 0x0F, 0x66}};
const tablet::Guid kCollected = *tablet::Guid::Parse(service_facts::kTraceProvider);
constexpr GUID kMessage = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr ULONG kFlags = 0x2B;

/// What a provider was told.
struct Seen {
  std::vector<int> requests;
  TRACEHANDLE logger = 0;
  ULONG flags = 0;
  int level = 0;
};

ULONG WINAPI Callback(WMIDPREQUESTCODE request, PVOID context, ULONG* reserved, PVOID buffer) {
  auto& seen = *static_cast<Seen*>(context);
  seen.requests.push_back(request);
  *reserved = 0;
  seen.logger = ::GetTraceLoggerHandle(buffer);
  seen.flags = ::GetTraceEnableFlags(seen.logger);
  seen.level = ::GetTraceEnableLevel(seen.logger);
  return 0;
}

/// A session's block with the one set of settings that is modelled.
struct Block {
  EVENT_TRACE_PROPERTIES properties{};
  WCHAR name[32] = {};
  Block() {
    properties.Wnode.BufferSize = sizeof(Block);
    properties.Wnode.Flags = WNODE_FLAG_TRACED_GUID;
    properties.BufferSize = 64;
    properties.MinimumBuffers = 8;
    properties.LogFileMode =
        EVENT_TRACE_BUFFERING_MODE | EVENT_TRACE_NO_PER_PROCESSOR_BUFFERING | EVENT_TRACE_ADDTO_TRIAGE_DUMP;
    properties.LoggerNameOffset = offsetof(Block, name);
  }
};

class TraceTest : public testing_support::TabletTest {
 protected:
  ULONG Register(TRACEHANDLE& registration) {
    TRACE_GUID_REGISTRATION messages{&kControl, nullptr};
    return ::RegisterTraceGuidsW(&Callback, &seen_, &kControl, 1, &messages, nullptr, nullptr, &registration);
  }
  static ULONG Send(TRACEHANDLE logger, const WCHAR* text, SIZE_T bytes, ULONG flags = kFlags) {
    return ::TraceMessage(logger, flags, &kMessage, 10, text, bytes, static_cast<void*>(nullptr));
  }
  Seen seen_;
};

TEST_F(TraceTest, AProviderIsToldHowItIsEnabledBeforeRegisteringReturns) {
  machine().trace().Collect(kCollected, 0x80000001, 3);
  TRACEHANDLE registration = 0;
  EXPECT_EQ(Register(registration), 0u);
  EXPECT_NE(registration, 0u);
  EXPECT_THAT(seen_.requests, ElementsAre(WMI_ENABLE_EVENTS));
  EXPECT_EQ(seen_.flags, 0x80000001u);
  EXPECT_EQ(seen_.level, 3);
  machine().trace().StopCollecting(kCollected);
  EXPECT_THAT(seen_.requests, ElementsAre(WMI_ENABLE_EVENTS, WMI_DISABLE_EVENTS));
  EXPECT_EQ(seen_.logger, 0u);
  EXPECT_EQ(::UnregisterTraceGuids(registration), 0u);
  EXPECT_EQ(::UnregisterTraceGuids(registration), ULONG{ERROR_INVALID_PARAMETER});
}

TEST_F(TraceTest, AMessageArrivesWithoutItsTerminator) {
  TRACEHANDLE registration = 0;
  Register(registration);
  EXPECT_EQ(Send(seen_.logger, TEXT("abc"), 8), 0u);
  EXPECT_THAT(messages(), ElementsAre("abc"));
  EXPECT_EQ(Send(0, TEXT("abc"), 8), ULONG{ERROR_INVALID_HANDLE});
}

TEST_F(TraceTest, ABufferThatIsNoneHasNoLogger) {
  EXPECT_EQ(::GetTraceLoggerHandle(nullptr), INVALID_PROCESSTRACE_HANDLE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  WNODE_HEADER small{};
  EXPECT_EQ(::GetTraceLoggerHandle(&small), INVALID_PROCESSTRACE_HANDLE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_BAD_LENGTH});
}

TEST_F(TraceTest, FaultsAreAnsweredByEachCall) {
  for (auto const* const call : {"RegisterTraceGuidsW", "TraceMessage", "StartTraceW", "EnableTraceEx2"}) {
    Inject(call, 1450);
  }
  TRACEHANDLE handle = 0;
  EXPECT_EQ(Register(handle), 1450u);
  EXPECT_EQ(handle, 0u);
  EXPECT_EQ(Send(1, TEXT("abc"), 8), 1450u);
  Block block;
  EXPECT_EQ(::StartTraceW(&handle, TEXT("S"), &block.properties), 1450u);
  EXPECT_EQ(::EnableTraceEx2(handle, &kControl, 1, 5, 1, 0, 0, nullptr), 1450u);
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(machine().trace().sessions(), IsEmpty());
}

TEST_F(TraceTest, ASessionStartsWithItsNameAndBufferCountsGivenBack) {
  Block block;
  TRACEHANDLE session = 0;
  EXPECT_EQ(::StartTraceW(&session, TEXT("S"), &block.properties), 0u);
  EXPECT_NE(session, 0u);
  EXPECT_EQ(block.properties.Wnode.HistoricalContext, session);
  EXPECT_EQ(std::u16string_view(block.name), TEXT("S"));
  EXPECT_EQ(block.properties.MinimumBuffers, 8u);
  EXPECT_EQ(block.properties.MaximumBuffers, 28u);
  Block again;
  EXPECT_EQ(::StartTraceW(&session, TEXT("s"), &again.properties), ULONG{ERROR_ALREADY_EXISTS});
  EXPECT_THAT(machine().trace().sessions(), SizeIs(1));
}

TEST_F(TraceTest, ABlockThatIsNotWellFormedStartsNothing) {
  TRACEHANDLE session = 0;
  Block block;
  EXPECT_EQ(::StartTraceW(&session, nullptr, &block.properties), ULONG{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(::StartTraceW(&session, TEXT("S"), nullptr), ULONG{ERROR_INVALID_PARAMETER});
  block.properties.Wnode.Flags = 0;
  EXPECT_EQ(::StartTraceW(&session, TEXT("S"), &block.properties), ULONG{ERROR_INVALID_PARAMETER});
  Block short_block;
  short_block.properties.Wnode.BufferSize = offsetof(Block, name) + 2;
  EXPECT_EQ(::StartTraceW(&session, TEXT("S"), &short_block.properties), ULONG{ERROR_BAD_LENGTH});
  EXPECT_THAT(machine().trace().sessions(), IsEmpty());
}

TEST_F(TraceTest, ASessionEnablesAProvider) {
  TRACEHANDLE registration = 0;
  Register(registration);
  Block block;
  TRACEHANDLE session = 0;
  ::StartTraceW(&session, TEXT("S"), &block.properties);
  EXPECT_EQ(::EnableTraceEx2(session, &kControl, EVENT_CONTROL_CODE_ENABLE_PROVIDER, TRACE_LEVEL_VERBOSE, 0xFFFF, 0, 0,
                             nullptr),
            0u);
  EXPECT_EQ(seen_.flags, 0xFFFFu);
  EXPECT_EQ(::EnableTraceEx2(session + 99, &kControl, 1, 5, 1, 0, 0, nullptr), ULONG{ERROR_INVALID_HANDLE});
  EXPECT_EQ(::EnableTraceEx2(session, nullptr, 1, 5, 1, 0, 0, nullptr), ULONG{ERROR_INVALID_PARAMETER});
}

TEST_F(TraceTest, OtherFormsOfMessagesAreRefused) {
  auto const refusal = [&](auto body) {
    PowerOn(DefaultDescription());
    return RefusalOf(machine(), body);
  };
  EXPECT_THAT(refusal([] { Send(1, TEXT("abc"), 8, 0x3); }), HasSubstr("flags 0x3"));
  EXPECT_THAT(refusal([] { Send(1, TEXT("abc"), 6); }), HasSubstr("not a wide text with its terminator"));
  EXPECT_THAT(refusal([] { Send(1, TEXT("abc"), 7); }), HasSubstr("not a wide text with its terminator"));
  EXPECT_THAT(refusal([] {
                ::TraceMessage(1, kFlags, &kMessage, 10, TEXT("a"), SIZE_T{4}, TEXT("b"), SIZE_T{4},
                               static_cast<void*>(nullptr));
              }),
              HasSubstr("another number of arguments than one"));
  EXPECT_THAT(refusal([] { ::TraceMessage(1, kFlags, &kMessage, 10, static_cast<void*>(nullptr)); }),
              HasSubstr("another number of arguments than one"));
}

TEST_F(TraceTest, OtherFormsOfSessionsAreRefused) {
  EXPECT_THAT(RefusalOf(machine(),
                        [] {
                          Block block;
                          block.properties.LogFileMode = 0x100;
                          TRACEHANDLE session = 0;
                          ::StartTraceW(&session, TEXT("S"), &block.properties);
                        }),
              HasSubstr("log file mode 0x100"));
  PowerOn(DefaultDescription());
  EXPECT_THAT(RefusalOf(machine(), [] { ::EnableTraceEx2(1, &kControl, 0, 5, 1, 0, 0, nullptr); }),
              HasSubstr("a control code other than enable"));
}

}  // namespace
