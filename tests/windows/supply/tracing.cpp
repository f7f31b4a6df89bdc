// Event tracing. This library is the only session: everything is enabled, every message is a line of the record.
#include "tests/windows/supply/supply.h"

// Need <windows.h> before them.
#include <evntrace.h>
#include <objbase.h>

#include <cstdarg>

namespace supply {

namespace {

constexpr TRACEHANDLE kLogger = 0x7AB1E7;

ULONG WINAPI Register(WMIDPREQUEST callback, PVOID context, LPCGUID, ULONG, PTRACE_GUID_REGISTRATION, LPCWSTR, LPCWSTR,
                      PTRACEHANDLE registration) {
  *registration = 1;
  WNODE_HEADER header = {};
  header.BufferSize = sizeof(header);
  header.HistoricalContext = kLogger;
  ULONG size = sizeof(header);
  callback(WMI_ENABLE_EVENTS, context, &size, &header);
  return ERROR_SUCCESS;
}

ULONG WINAPI Unregister(TRACEHANDLE) { return ERROR_SUCCESS; }

TRACEHANDLE WINAPI LoggerHandle(PVOID buffer) { return static_cast<WNODE_HEADER*>(buffer)->HistoricalContext; }

ULONG WINAPI EnableFlags(TRACEHANDLE) { return ~0ul; }

UCHAR WINAPI EnableLevel(TRACEHANDLE) { return TRACE_LEVEL_VERBOSE; }

/// The concatenated texts of a message: pairs of pointer and size, up to a null pointer.
ULONG __cdecl Message(TRACEHANDLE logger, ULONG, LPCGUID module, ULONG number, ...) {
  if (logger != kLogger) return ERROR_INVALID_HANDLE;
  // The caller's last error must survive.
  DWORD const lastError = ::GetLastError();
  std::wstring text;
  std::va_list arguments;
  va_start(arguments, number);
  while (const WCHAR* const piece = va_arg(arguments, const WCHAR*)) {
    const SIZE_T bytes = va_arg(arguments, SIZE_T);
    text.append(piece, bytes / sizeof(WCHAR) - 1);
  }
  va_end(arguments);
  WCHAR guid[40] = {};
  ::StringFromGUID2(*module, guid, 40);
  Record("\"kind\":\"trace\",\"guid\":" + Quoted(guid) + ",\"text\":" + Quoted(text));
  ::SetLastError(lastError);
  return ERROR_SUCCESS;
}

}  // namespace

void RedirectTracing() {
  if (Redirect("TraceMessage", reinterpret_cast<void*>(&Message)) == nullptr) return;
  Redirect("RegisterTraceGuidsW", reinterpret_cast<void*>(&Register));
  Redirect("UnregisterTraceGuids", reinterpret_cast<void*>(&Unregister));
  Redirect("GetTraceLoggerHandle", reinterpret_cast<void*>(&LoggerHandle));
  Redirect("GetTraceEnableFlags", reinterpret_cast<void*>(&EnableFlags));
  Redirect("GetTraceEnableLevel", reinterpret_cast<void*>(&EnableLevel));
}

}  // namespace supply
