// Questions to event tracing; sessions need an administrator.
#include <gtest/gtest.h>

#include <windows.h>

// Needs <windows.h> before it.
#include <evntrace.h>

#include <atomic>
#include <string>
#include <vector>

#include "kit/check/child.h"
#include "kit/machine/places.h"

namespace {

using kit::Saw;

constexpr DWORD kEnableMilliseconds = 2000;
constexpr DWORD kEnablePoll = 10;
constexpr GUID kProvider = {0x5b1d2f6a, 0x3c47, 0x4d8e, {0x9a, 0x10, 0x7e, 0x52, 0x61, 0x0c, 0x4f, 0x02}};
constexpr GUID kMessage = {0x5b1d2f6a, 0x3c47, 0x4d8e, {0x9a, 0x10, 0x7e, 0x52, 0x61, 0x0c, 0x4f, 0x03}};

std::atomic<TRACEHANDLE> g_logger{0};
std::atomic<int> g_enabled{0};
std::atomic<int> g_disabled{0};

ULONG WINAPI OnRequest(WMIDPREQUESTCODE request, PVOID, ULONG* reserved, PVOID buffer) {
  *reserved = 0;
  if (request == WMI_ENABLE_EVENTS) {
    g_logger = ::GetTraceLoggerHandle(buffer);
    ++g_enabled;
  }
  if (request == WMI_DISABLE_EVENTS) ++g_disabled;
  return ERROR_SUCCESS;
}

class ServiceTraceQuestions : public ::testing::Test {
 protected:
  ServiceTraceQuestions() {
    TRACE_GUID_REGISTRATION registration = {&kMessage, nullptr};
    EXPECT_EQ(::RegisterTraceGuidsW(&OnRequest, nullptr, &kProvider, 1, &registration, nullptr, nullptr, &provider_),
              DWORD{ERROR_SUCCESS});
    g_enabled = 0;
    g_disabled = 0;
  }
  ~ServiceTraceQuestions() override {
    for (const WCHAR* name : {kit::kFirstSession, kit::kSecondSession}) StopSession(name);
    if (provider_ != 0) ::UnregisterTraceGuids(provider_);
  }

  static EVENT_TRACE_PROPERTIES* Properties() {
    static std::vector<BYTE> memory;
    memory.assign(sizeof(EVENT_TRACE_PROPERTIES) + 256 * sizeof(WCHAR), 0);
    auto* const properties = reinterpret_cast<EVENT_TRACE_PROPERTIES*>(memory.data());
    properties->Wnode.BufferSize = static_cast<ULONG>(memory.size());
    properties->Wnode.ClientContext = 1;
    properties->Wnode.Flags = WNODE_FLAG_TRACED_GUID;
    properties->BufferSize = 64;
    properties->MinimumBuffers = 2;
    properties->LogFileMode = EVENT_TRACE_BUFFERING_MODE | EVENT_TRACE_NO_PER_PROCESSOR_BUFFERING;
    properties->LoggerNameOffset = sizeof(EVENT_TRACE_PROPERTIES);
    return properties;
  }
  static void StopSession(const WCHAR* name) { ::ControlTraceW(0, name, Properties(), EVENT_TRACE_CONTROL_STOP); }
  static TRACEHANDLE StartSession(const WCHAR* name) {
    TRACEHANDLE session = 0;
    EXPECT_EQ(::StartTraceW(&session, name, Properties()), ULONG{ERROR_SUCCESS});
    return session;
  }
  static ULONG Enable(TRACEHANDLE session) {
    return ::EnableTraceEx2(session, &kProvider, EVENT_CONTROL_CODE_ENABLE_PROVIDER, 5, 0xFFFF, 0, 0, nullptr);
  }
  static bool Await(const std::atomic<int>& count, int wanted) {
    for (DWORD waited = 0; count < wanted && waited < kEnableMilliseconds; waited += kEnablePoll) ::Sleep(kEnablePoll);
    return count >= wanted;
  }

  TRACEHANDLE provider_ = 0;
};

TEST_F(ServiceTraceQuestions, WhatASessionReportsOfItsBuffers) {
  EVENT_TRACE_PROPERTIES* const properties = Properties();
  TRACEHANDLE session = 0;
  ULONG const error = ::StartTraceW(&session, kit::kFirstSession, properties);
  ASSERT_EQ(error, ULONG{ERROR_SUCCESS});
  if (properties->MaximumBuffers == 0) GTEST_SKIP() << "this system has no trace sessions";
  Saw("session-counts", std::to_string(properties->MinimumBuffers));
  Saw("session-counts", std::to_string(properties->MaximumBuffers));
}

TEST_F(ServiceTraceQuestions, AProviderIsEnabledWhenTheCallReturns) {
  TRACEHANDLE const session = StartSession(kit::kFirstSession);
  ASSERT_EQ(Enable(session), ULONG{ERROR_SUCCESS});
  bool const at_once = g_enabled > 0;
  if (!Await(g_enabled, 1)) GTEST_SKIP() << "this system enables no providers";
  Saw("enable-asynchronous", at_once ? "yes" : "no");
}

TEST_F(ServiceTraceQuestions, TheSecondSessionGetsTheNextMessage) {
  TRACEHANDLE const first = StartSession(kit::kFirstSession);
  ASSERT_EQ(Enable(first), ULONG{ERROR_SUCCESS});
  if (!Await(g_enabled, 1)) GTEST_SKIP() << "this system enables no providers";
  TRACEHANDLE const before = g_logger;
  TRACEHANDLE const second = StartSession(kit::kSecondSession);
  ULONG const error = Enable(second);
  if (error != ERROR_SUCCESS) {
    Saw("enable-second-session", "error " + std::to_string(error));
    return;
  }
  Await(g_enabled, 2);
  Saw("enable-second-session", g_logger == before ? "the first" : "the second");
}

TEST_F(ServiceTraceQuestions, AProviderThatUnregisters) {
  TRACEHANDLE const session = StartSession(kit::kFirstSession);
  ASSERT_EQ(Enable(session), ULONG{ERROR_SUCCESS});
  if (!Await(g_enabled, 1)) GTEST_SKIP() << "this system enables no providers";
  ::UnregisterTraceGuids(provider_);
  provider_ = 0;
  Saw("unregister-callback", g_disabled == 0 ? "no" : "yes");
}

}  // namespace
