// The process's trace provider, as the trace controller and the diagnostic log use it.
#pragma once

#include <windows.h>
// Needs <windows.h> before it.
#include <evntrace.h>

#include <atomic>

/// The control GUID under which the service's messages are enabled.
inline constexpr GUID kTraceControlGuid = {
    0x2170F42F, 0x27B0, 0x4B8B, {0xAE, 0x84, 0x94, 0x91, 0x91, 0x00, 0x0F, 0x66}};

/// The bit of the enable flags without which no message is sent.
inline constexpr ULONG kTraceEnableFlag = 0x1;
/// The bit of the options that sends a block's state to its forward block.
inline constexpr UCHAR kTraceOptionForward = 0x2;

/// A place in the list of control blocks, or the list's head.
struct TraceLink {
  std::atomic<TraceLink*> next;
};

/// The provider's state. The callback writes flags, level and logger while other threads read them without a lock; each
/// is atomic by itself.
struct TraceControlBlock : TraceLink {
  TRACEHANDLE registration;         ///< 0: not registered
  std::atomic<TRACEHANDLE> logger;  ///< 0: not enabled
  ULONG flagsLength;                ///< words of enable flags
  std::atomic<UCHAR> level;
  UCHAR options;
  std::atomic<ULONG> flags;
  TraceControlBlock* forward;  ///< not owned; null in this service
  const GUID* control;
};

/// Registers the process's trace provider. Messages before this and after TraceProviderCleanup are discarded.
void TraceProviderInit();

/// Undoes TraceProviderInit; does nothing if the provider is not registered.
void TraceProviderCleanup();

/// The registered provider's block; null before TraceProviderInit and after TraceProviderCleanup.
[[nodiscard]] TraceControlBlock* RegisteredProvider();

/// The provider callback of RegisterTraceGuidsW. `context` is the provider's block. Sets `reserved` to 0, stores the
/// state of an enable (4) or disable (5) request, and returns 0; for any other request it returns
/// ERROR_INVALID_PARAMETER and leaves the block unchanged.
ULONG WINAPI WppControlCallback(WMIDPREQUESTCODE request, PVOID context, ULONG* reserved, PVOID buffer);
