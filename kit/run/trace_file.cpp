#include "kit/run/trace_file.h"

#include <windows.h>

// These need <windows.h> before them.
#include <evntrace.h>

#include <evntcons.h>
#include <objbase.h>

#include <algorithm>
#include <cstring>

#include "kit/machine/places.h"
#include "vantord/common/trace_provider.h"

namespace kit {

namespace {

constexpr const WCHAR* kFile = L"trace.etl";
constexpr ULONG kEveryZone = 0xFFFF;
constexpr ULONG kBufferKilobytes = 64;
constexpr std::size_t kRoom = 1024;  // characters for each name

std::wstring FilePath() { return Folder() + L"\\" + kFile; }

/// The description of the session, with its file.
std::vector<BYTE> Described() {
  std::vector<BYTE> memory(sizeof(EVENT_TRACE_PROPERTIES) + 2 * kRoom * sizeof(WCHAR));
  auto* const properties = reinterpret_cast<EVENT_TRACE_PROPERTIES*>(memory.data());
  properties->Wnode.BufferSize = static_cast<ULONG>(memory.size());
  properties->Wnode.ClientContext = 1;
  properties->Wnode.Flags = WNODE_FLAG_TRACED_GUID;
  properties->BufferSize = kBufferKilobytes;
  properties->LogFileMode = EVENT_TRACE_FILE_MODE_SEQUENTIAL;
  properties->LoggerNameOffset = sizeof(EVENT_TRACE_PROPERTIES);
  properties->LogFileNameOffset = sizeof(EVENT_TRACE_PROPERTIES) + kRoom * sizeof(WCHAR);
  std::wstring const path = FilePath().substr(0, kRoom - 1);
  std::memcpy(memory.data() + properties->LogFileNameOffset, path.c_str(), (path.size() + 1) * sizeof(WCHAR));
  return memory;
}

/// A message of the service carries one wide text with its terminator.
void WINAPI OnEvent(EVENT_RECORD* event) {
  if ((event->EventHeader.Flags & EVENT_HEADER_FLAG_TRACE_MESSAGE) == 0) return;
  auto* const messages = static_cast<std::vector<std::string>*>(event->UserContext);
  std::wstring text(event->UserDataLength / sizeof(WCHAR), L'\0');
  std::memcpy(text.data(), event->UserData, text.size() * sizeof(WCHAR));
  text.resize(std::min(text.find(L'\0'), text.size()));
  WCHAR module[50] = {};
  ::StringFromGUID2(event->EventHeader.ProviderId, module, 50);
  messages->push_back(ToUtf8(module) + " " + ToUtf8(text));
}

}  // namespace

unsigned long BeginTrace() {
  std::vector<BYTE> memory = Described();
  TRACEHANDLE session = 0;
  ULONG const error = ::StartTraceW(&session, kFirstSession, reinterpret_cast<EVENT_TRACE_PROPERTIES*>(memory.data()));
  if (error != ERROR_SUCCESS) return error;
  return ::EnableTraceEx2(session, &kTraceControlGuid, EVENT_CONTROL_CODE_ENABLE_PROVIDER, TRACE_LEVEL_VERBOSE,
                          kEveryZone, 0, 0, nullptr);
}

void EndTrace() {
  std::vector<BYTE> memory = Described();
  ::ControlTraceW(0, kFirstSession, reinterpret_cast<EVENT_TRACE_PROPERTIES*>(memory.data()), EVENT_TRACE_CONTROL_STOP);
}

std::vector<std::string> TraceMessages() {
  std::vector<std::string> messages;
  std::wstring path = FilePath();
  EVENT_TRACE_LOGFILEW file = {};
  file.LogFileName = path.data();
  file.ProcessTraceMode = PROCESS_TRACE_MODE_EVENT_RECORD;
  file.EventRecordCallback = &OnEvent;
  file.Context = &messages;
  TRACEHANDLE trace = ::OpenTraceW(&file);
  if (trace == INVALID_PROCESSTRACE_HANDLE) return messages;
  ::ProcessTrace(&trace, 1, nullptr, nullptr);
  ::CloseTrace(trace);
  return messages;
}

}  // namespace kit
