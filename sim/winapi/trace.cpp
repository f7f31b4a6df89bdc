// Event tracing: classic providers, and the start of sessions.
#include <windows.h>
// Needs <windows.h> before it.
#include <evntrace.h>

#include "sim/winapi/call.h"
#include "sim/winapi/guid.h"

using win32::Call;
using win32::Machine;
using win32::RefuseUnmodelled;

namespace {

/// Calls a provider's callback as Windows does: the buffer is a header whose historical context is the logger handle.
void CallBack(WMIDPREQUEST callback, PVOID context, const GUID& control, bool enabled, std::uint64_t logger) {
  WNODE_HEADER header{};
  header.BufferSize = sizeof(header);
  header.HistoricalContext = logger;
  header.Guid = control;
  header.Flags = WNODE_FLAG_TRACED_GUID;
  ULONG reserved = sizeof(header);
  // The provider's result is ignored, as on Windows.
  tablet::InsideProduct const inside;
  callback(enabled ? WMI_ENABLE_EVENTS : WMI_DISABLE_EVENTS, context, &reserved, &header);
}

}  // namespace

ULONG RegisterTraceGuidsW(WMIDPREQUEST callback, PVOID context, LPCGUID controlGuid, ULONG guidCount,
                          PTRACE_GUID_REGISTRATION guids, LPCWSTR imagePath, LPCWSTR resourceName,
                          PTRACEHANDLE registration) {
  auto describe = [&] { return fmt::format("{}, {} message GUIDs", win32::ShowGuid(controlGuid), guidCount); };
  Call call("RegisterTraceGuidsW", describe);
  if (call.fault() != 0) return call.Done(ULONG{call.fault()});
  if (callback == nullptr || controlGuid == nullptr || registration == nullptr) {
    return call.Done(ULONG{ERROR_INVALID_PARAMETER});
  }
  if (guidCount != 1 || guids == nullptr || guids->Guid == nullptr) {
    RefuseUnmodelled("RegisterTraceGuidsW", "another number of message GUIDs than one");
  }
  if (imagePath != nullptr || resourceName != nullptr) {
    RefuseUnmodelled("RegisterTraceGuidsW", "an image path or resource name");
  }
  GUID const control = *controlGuid;
  *registration = Machine().trace().Register(
      win32::ToGuid(control),
      [=](bool enabled, std::uint64_t logger) { CallBack(callback, context, control, enabled, logger); },
      Machine().scheduler().current_process());
  guids->RegHandle = win32::ToHandle(*registration);
  return call.Done(ULONG{ERROR_SUCCESS});
}

ULONG UnregisterTraceGuids(TRACEHANDLE registration) {
  auto describe = [&] { return fmt::format("{:#x}", registration); };
  Call call("UnregisterTraceGuids", describe);
  if (call.fault() != 0) return call.Done(ULONG{call.fault()});
  bool const known = Machine().trace().Unregister(registration);
  return call.Done(known ? ULONG{ERROR_SUCCESS} : ULONG{ERROR_INVALID_PARAMETER});
}

TRACEHANDLE GetTraceLoggerHandle(PVOID buffer) {
  auto describe = [&] { return std::string(buffer == nullptr ? "null" : "the callback's buffer"); };
  Call call("GetTraceLoggerHandle", describe);
  if (call.fault() != 0) return call.Fail(INVALID_PROCESSTRACE_HANDLE);
  auto const* const header = static_cast<const WNODE_HEADER*>(buffer);
  if (header == nullptr) return call.Fail(INVALID_PROCESSTRACE_HANDLE, ERROR_INVALID_PARAMETER);
  if (header->BufferSize < sizeof(*header)) return call.Fail(INVALID_PROCESSTRACE_HANDLE, ERROR_BAD_LENGTH);
  return call.Done(TRACEHANDLE{header->HistoricalContext});
}

UCHAR GetTraceEnableLevel(TRACEHANDLE logger) {
  auto describe = [&] { return fmt::format("{:#x}", logger); };
  Call call("GetTraceEnableLevel", describe);
  if (call.fault() != 0) return call.Fail(UCHAR{0});
  return call.Done(UCHAR{tablet::TraceController::EnableLevel(logger)});
}

ULONG GetTraceEnableFlags(TRACEHANDLE logger) {
  auto describe = [&] { return fmt::format("{:#x}", logger); };
  Call call("GetTraceEnableFlags", describe);
  if (call.fault() != 0) return call.Fail(ULONG{0});
  return call.Done(ULONG{tablet::TraceController::EnableFlags(logger)});
}

ULONG TraceMessage(TRACEHANDLE logger, ULONG flags, LPCGUID messageGuid, USHORT messageNumber, ...) {
  std::va_list arguments;
  // The last named parameter is narrower than an int, as it is in Windows' own declaration. The C++ rules leave that
  // open; gcc and clang keep to the calling convention, in which the argument takes a whole place.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
  va_start(arguments, messageNumber);
#pragma GCC diagnostic pop
  auto const* const text = va_arg(arguments, const WCHAR*);
  SIZE_T const bytes = text == nullptr ? 0 : va_arg(arguments, SIZE_T);
  bool const ends_there = text != nullptr && va_arg(arguments, const void*) == nullptr;
  va_end(arguments);

  auto describe = [&] {
    return fmt::format("{:#x}, {:#x}, {}, {}, {} bytes", logger, flags, win32::ShowGuid(messageGuid), messageNumber,
                       bytes);
  };
  Call call("TraceMessage", describe);
  if (call.fault() != 0) return call.Done(ULONG{call.fault()});
  constexpr ULONG kModelled =
      TRACE_MESSAGE_SEQUENCE | TRACE_MESSAGE_GUID | TRACE_MESSAGE_TIMESTAMP | TRACE_MESSAGE_SYSTEMINFO;
  if (flags != kModelled || messageGuid == nullptr) {
    RefuseUnmodelled("TraceMessage", fmt::format("flags {:#x}, message {}", flags, win32::ShowGuid(messageGuid)));
  }
  if (!ends_there) RefuseUnmodelled("TraceMessage", "another number of arguments than one");
  std::size_t const characters = bytes / sizeof(WCHAR);
  if (bytes % sizeof(WCHAR) != 0 || characters == 0 || text[characters - 1] != 0) {
    RefuseUnmodelled("TraceMessage", "an argument that is not a wide text with its terminator");
  }
  return call.Done(ULONG{Machine().trace().Message(logger, win32::ToGuid(*messageGuid), messageNumber,
                                                   std::u16string_view(text, characters - 1))});
}

ULONG StartTraceW(PTRACEHANDLE session, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties) {
  auto describe = [&] { return win32::Show(name); };
  Call call("StartTraceW", describe);
  if (call.fault() != 0) return call.Done(ULONG{call.fault()});
  if (session == nullptr || name == nullptr || properties == nullptr) {
    return call.Done(ULONG{ERROR_INVALID_PARAMETER});
  }
  if ((properties->Wnode.Flags & WNODE_FLAG_TRACED_GUID) == 0) return call.Done(ULONG{ERROR_INVALID_PARAMETER});
  std::size_t const name_bytes = (wcslen(name) + 1) * sizeof(WCHAR);
  if (properties->LoggerNameOffset < sizeof(*properties) ||
      properties->LoggerNameOffset + name_bytes > properties->Wnode.BufferSize) {
    return call.Done(ULONG{ERROR_BAD_LENGTH});
  }
  constexpr ULONG kModelled =
      EVENT_TRACE_BUFFERING_MODE | EVENT_TRACE_NO_PER_PROCESSOR_BUFFERING | EVENT_TRACE_ADDTO_TRIAGE_DUMP;
  if (properties->LogFileMode != kModelled || properties->LogFileNameOffset != 0) {
    RefuseUnmodelled("StartTraceW", fmt::format("log file mode {:#x}, log file name at offset {}",
                                                properties->LogFileMode, properties->LogFileNameOffset));
  }

  tablet::TraceSessionSettings settings;
  settings.name = name;
  settings.guid = win32::ToGuid(properties->Wnode.Guid);
  settings.buffer_kb = properties->BufferSize;
  settings.minimum_buffers = properties->MinimumBuffers;
  settings.maximum_buffers = properties->MaximumBuffers;
  settings.log_file_mode = properties->LogFileMode;
  settings.clock = properties->Wnode.ClientContext;
  std::uint64_t handle = 0;
  tablet::WinError const error = Machine().trace().StartSession(settings, handle);
  if (error != 0) return call.Done(ULONG{error});

  // What Windows returns: the session's number, its name after the structure, the buffer counts in use.
  *session = handle;
  properties->Wnode.HistoricalContext = handle;
  std::memcpy(reinterpret_cast<BYTE*>(properties) + properties->LoggerNameOffset, name, name_bytes);
  constexpr ULONG kLeastBuffers = 2;
  constexpr ULONG kSpareBuffers = 20;
  properties->MinimumBuffers = std::max(properties->MinimumBuffers, kLeastBuffers);
  properties->MaximumBuffers = std::max(properties->MaximumBuffers, properties->MinimumBuffers + kSpareBuffers);
  return call.Done(ULONG{ERROR_SUCCESS});
}

ULONG EnableTraceEx2(TRACEHANDLE session, LPCGUID provider, ULONG control, UCHAR level, ULONGLONG matchAny,
                     ULONGLONG matchAll, ULONG timeoutMs, PENABLE_TRACE_PARAMETERS parameters) {
  auto describe = [&] {
    return fmt::format("{:#x}, {}, {}, level {}, any {:#x}, all {:#x}", session, win32::ShowGuid(provider), control,
                       level, matchAny, matchAll);
  };
  Call call("EnableTraceEx2", describe);
  if (call.fault() != 0) return call.Done(ULONG{call.fault()});
  if (provider == nullptr) return call.Done(ULONG{ERROR_INVALID_PARAMETER});
  if (control != EVENT_CONTROL_CODE_ENABLE_PROVIDER || timeoutMs != 0 || parameters != nullptr) {
    RefuseUnmodelled("EnableTraceEx2", "a control code other than enable, a time-out, or parameters");
  }
  return call.Done(ULONG{Machine().trace().Enable(session, {win32::ToGuid(*provider), level, matchAny, matchAll})});
}
