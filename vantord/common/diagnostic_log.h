// The diagnostic log: every message of the service goes to the process's own trace provider, a classic event tracing
// provider.
//
// A message is a wide format that begins with "%S:%d : ", whose first two arguments are the narrow, qualified name of
// the function and the message's tag, a number that field engineers search for. It is not the source line.
#pragma once

#include <windows.h>

#include <atomic>

/// Zones: bits of g_ulZoneMask. A call site tests its bit before it formats.
inline constexpr DWORD ZONE_FUNCTION = 0x1;       ///< entry and exit of functions
inline constexpr DWORD ZONE_ERROR = 0x2;          ///< failures
inline constexpr DWORD ZONE_INFO = 0x8;           ///< starts, stops, status reports, sessions
inline constexpr DWORD ZONE_MODEM_INFO = 0x4000;  ///< the modem object's start-up; off by default
inline constexpr DWORD ZONE_DETAIL = 0x40000;     ///< successes in detail, contents of events

/// The mask unless the registry sets another.
/// Deliberate: Bit 0x4 is set and no call site tests it. Expected: a zone for the bit, or a mask without it.
/// Test: DiagnosticLogTest.TheDefaultMaskSetsABitThatNoZoneUses
inline constexpr DWORD kDefaultZoneMask = 0x4000F;

/// Zones that are logged. Written at the service's start, read by every thread.
extern constinit std::atomic<DWORD> g_ulZoneMask;

inline bool IsZoneOn(DWORD zone) { return (g_ulZoneMask.load(std::memory_order_relaxed) & zone) != 0; }

/// Sends one message under the GUID of the service and framework module. Cut at 1023 characters. Silent while the
/// provider is not registered or not enabled.
void DebugPrint(const WCHAR* format, ...);

/// As DebugPrint, under the GUID of the helper module: registry, system state, file helpers, device paths.
void HelperDebugPrint(const WCHAR* format, ...);

/// Sends a message if its zone is on; otherwise its arguments are not evaluated.
#define DebugPrintZone(zone, ...)                \
  do {                                           \
    if (IsZoneOn(zone)) DebugPrint(__VA_ARGS__); \
  } while (false)

/// Logs "name: (+)" at its start and "name: (-)" at its end, both in ZONE_FUNCTION.
class FunctionScope {
 public:
  explicit FunctionScope(const char* name);
  ~FunctionScope();
  FunctionScope(const FunctionScope&) = delete;
  FunctionScope& operator=(const FunctionScope&) = delete;

 private:
  const char* m_name;  ///< not owned; a literal
};
