#include "vantord/modem/log_session.h"

// Needs <windows.h> before them.
#include <evntrace.h>
#include <objbase.h>

#include <cwchar>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"

namespace Debug {

namespace {

static_assert(sizeof(EVENT_TRACE_PROPERTIES) == 120);

/// Describes a session without a file, whose buffers go into crash dumps; empty without memory.
/// Deliberate: The session's GUID stays zero. Expected: a GUID of the session's own.
/// Test: LogSessionTest.TheSessionRunsInMemoryWithTheGivenMinimumOfBuffers
HeapMemory DescribeSession(const WCHAR* sessionName, DWORD minimumBuffers) {
  // 60 characters for the structure, one for the name's end.
  SIZE_T const bytes = (wcslen(sessionName) + 61) * sizeof(WCHAR);
  HeapMemory memory = AllocateHeap(bytes);
  auto* const properties = memory.As<EVENT_TRACE_PROPERTIES>();
  if (properties == nullptr) return memory;
  constexpr ULONG kPerformanceCounter = 1;
  properties->Wnode.BufferSize = static_cast<ULONG>(bytes);
  properties->Wnode.ClientContext = kPerformanceCounter;
  properties->Wnode.Flags = WNODE_FLAG_TRACED_GUID;
  properties->BufferSize = 1024;
  properties->MinimumBuffers = minimumBuffers;
  properties->MaximumBuffers = 0;
  properties->LogFileMode =
      EVENT_TRACE_BUFFERING_MODE | EVENT_TRACE_NO_PER_PROCESSOR_BUFFERING | EVENT_TRACE_ADDTO_TRIAGE_DUMP;
  properties->LoggerNameOffset = sizeof(EVENT_TRACE_PROPERTIES);
  properties->LogFileNameOffset = 0;
  return memory;
}

void EnableUSBGUID(TRACEHANDLE session, const GUID* providers, DWORD providerCount) {
  for (DWORD i = 0; i < providerCount; ++i) {
    ULONG const error = ::EnableTraceEx2(session, &providers[i], EVENT_CONTROL_CODE_ENABLE_PROVIDER,
                                         TRACE_LEVEL_VERBOSE, 0xFFFF, 0, 0, nullptr);
    if (error == ERROR_SUCCESS) continue;
    WCHAR guid[50] = {};
    ::StringFromGUID2(providers[i], guid, 50);
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : EnableTrace(%s) failed with %lu"), "Debug::EnableUSBGUID", 31, guid,
                   error);
  }
}

}  // namespace

void StartLogSession(const WCHAR* sessionName, const GUID* providers, DWORD providerCount, DWORD minimumBuffers) {
  HeapMemory const memory = DescribeSession(sessionName, minimumBuffers);
  auto* const properties = memory.As<EVENT_TRACE_PROPERTIES>();
  if (properties == nullptr) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Error allocating memory for properties."), "Debug::StartLogSession", 52);
    return;
  }
  DebugPrintZone(ZONE_INFO, TEXT("%S:%d : Session Name: %s"), "Debug::StartLogSession", 62, sessionName);

  // Deliberate: The session's handle is dropped and the session is never stopped. Expected: a stop with the service.
  // Test: LogSessionTest.TheSessionOutlivesTheServicesProvider
  TRACEHANDLE session = 0;
  ULONG const error = ::StartTraceW(&session, sessionName, properties);
  if (error != ERROR_SUCCESS) {
    // Deliberate: A session of this name that already runs is left as it is. Expected: its providers enabled again.
    // Test: LogSessionTest.ASessionThatRunsAlreadyIsLeftAsItIs
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Error calling StartTrace, %d"), "Debug::StartLogSession", 80, error);
    return;
  }
  // Deliberate: The GUID in the message is an empty text, and its log file is the text at offset 0 of the block, which
  // is the block's size as one character. Expected: the session's GUID and no file.
  // Test: LogSessionTest.TheStartIsToldWithNoGuidAndTheBlocksSizeAsLogFile
  const WCHAR sessionGuid[50] = {};
  auto const* const logFile = reinterpret_cast<const WCHAR*>(properties);
  DebugPrintZone(ZONE_INFO,
                 TEXT("%S:%d : Session GUID: %s, Session name: %s, Log file: %s, min buffers: %d, max buffers: %d"),
                 "Debug::StartLogSession", 92, sessionGuid, sessionName, logFile, properties->MinimumBuffers,
                 properties->MaximumBuffers);
  EnableUSBGUID(session, providers, providerCount);
}

}  // namespace Debug
