// A stand-in for the radio interface layer's proxy library: it connects at once and completes each command on a new
// thread. It records each call in C:\vantord-test\radio.jsonl.
#include <windows.h>

#include <string>

#include "tests/windows/programs/note.h"

namespace {

using ResultCallback = void(CALLBACK*)(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context);
using NotifyCallback = void(CALLBACK*)(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context);

struct Connection {
  ResultCallback onResult;
  void* context;
  HANDLE answering;  ///< the thread that completes the last command, or null
};

constexpr char kNotes[] = "C:\\vantord-test\\radio.jsonl";
constexpr DWORD kLongestAnswerMs = 10000;

DWORD WINAPI Answer(void* parameter) {
  auto const* const connection = static_cast<const Connection*>(parameter);
  connection->onResult(0, 0, 0, 0, 0, connection->context);
  return 0;
}

}  // namespace

extern "C" {

HRESULT WINAPI RIL_Initialize(DWORD, ResultCallback onResult, NotifyCallback, DWORD*, DWORD, void* context,
                              const WCHAR*, void** handle) {
  auto* const connection = static_cast<Connection*>(::HeapAlloc(::GetProcessHeap(), 0, sizeof(Connection)));
  if (connection == nullptr) return E_OUTOFMEMORY;
  *connection = {onResult, context, nullptr};
  *handle = connection;
  static int attempts = 0;
  Note(kNotes, ("{\"radio\": \"connected at attempt " + std::to_string(++attempts) + "\"}").c_str());
  return S_OK;
}

// Waits for a pending completion, as the simulated tablet does. The connection's memory is not freed.
HRESULT WINAPI RIL_Release(void* handle) {
  HANDLE const answering = static_cast<Connection*>(handle)->answering;
  if (answering != nullptr) ::WaitForSingleObject(answering, kLongestAnswerMs);
  Note(kNotes, "{\"radio\": \"released\"}");
  return S_OK;
}

HRESULT WINAPI RIL_RadioCommand(void* handle, void*, DWORD value) {
  auto* const connection = static_cast<Connection*>(handle);
  Note(kNotes, ("{\"radio\": \"receives the command with value " + std::to_string(value) + "\"}").c_str());
  if (connection->answering != nullptr) ::CloseHandle(connection->answering);
  connection->answering = ::CreateThread(nullptr, 0, &Answer, connection, 0, nullptr);
  return connection->answering == nullptr ? E_FAIL : S_OK;
}
}
