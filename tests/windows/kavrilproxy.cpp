// A stand-in for the radio interface layer's proxy library: it connects at once, and completes each command on a thread
// of its own, as the real one does.
#include <windows.h>

namespace {

using ResultCallback = void(CALLBACK*)(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context);
using NotifyCallback = void(CALLBACK*)(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context);

struct Connection {
  ResultCallback onResult;
  void* context;
};

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
  *connection = {onResult, context};
  *handle = connection;
  return S_OK;
}

// The connection's memory stays: an answer may still be on its way.
HRESULT WINAPI RIL_Release(void*) { return S_OK; }

HRESULT WINAPI RIL_RadioCommand(void* handle, void*, DWORD) {
  HANDLE const thread = ::CreateThread(nullptr, 0, &Answer, handle, 0, nullptr);
  if (thread == nullptr) return E_FAIL;
  ::CloseHandle(thread);
  return S_OK;
}
}
