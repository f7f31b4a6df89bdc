// Event tracing, with this library as the one session: everything enabled, every message a line of the file trace.txt.
#include "tests/windows/supply/supply.h"

// Needs <windows.h> before it.
#include <evntrace.h>

#include <cstdarg>

namespace supply {

namespace {

constexpr TRACEHANDLE kLogger = 0x7AB1E7;
HANDLE g_file = INVALID_HANDLE_VALUE;

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

/// UTF-8, on one line.
std::string Line(const std::wstring& text) {
  std::wstring flat;
  for (WCHAR character : text) {
    if (character == L'\n')
      flat += L"\\n";
    else if (character == L'\r')
      flat += L"\\r";
    else
      flat += character;
  }
  int const length = static_cast<int>(flat.size());
  std::string line(flat.size() * 3 + 1, '\0');
  int const bytes = ::WideCharToMultiByte(CP_UTF8, 0, flat.data(), length, line.data(), static_cast<int>(line.size()),
                                          nullptr, nullptr);
  line.resize(static_cast<std::size_t>(bytes));
  return line + '\n';
}

/// The texts of a message, one behind the other: pairs of a pointer and a size, up to a null pointer.
ULONG __cdecl Message(TRACEHANDLE logger, ULONG, LPCGUID, ULONG number, ...) {
  if (logger != kLogger) return ERROR_INVALID_HANDLE;
  // The caller's last error survives a message.
  DWORD const lastError = ::GetLastError();
  std::wstring text;
  std::va_list arguments;
  va_start(arguments, number);
  while (const WCHAR* const piece = va_arg(arguments, const WCHAR*)) {
    const SIZE_T bytes = va_arg(arguments, SIZE_T);
    text.append(piece, bytes / sizeof(WCHAR) - 1);
  }
  va_end(arguments);
  std::string const line = Line(text);
  DWORD written = 0;
  ::WriteFile(g_file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
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
  // Only for appending, so that each line is whole whichever thread writes it.
  g_file = ::CreateFileW(BesideThisLibrary(L"trace.txt").c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                         nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace supply
