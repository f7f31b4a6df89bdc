// Owners of what Windows hands out: one type per kind of handle or memory, each with its own invalid value. An owner
// closes at its end, or earlier by Close. Closing may change the thread's last error; types named ...KeepingError
// preserve it.
#pragma once

#include <windows.h>

#include <setupapi.h>
#include <userenv.h>
#include <winsvc.h>

/// Preserves the thread's last error over calls whose outcome is not looked at: clean-up and debugger output.
class KeepLastError {
 public:
  KeepLastError() = default;
  ~KeepLastError() { ::SetLastError(m_error); }
  KeepLastError(const KeepLastError&) = delete;
  KeepLastError& operator=(const KeepLastError&) = delete;

 private:
  DWORD const m_error = ::GetLastError();
};

/// Owns one value of a kind, which names the type, the invalid value and the call that closes it.
template <typename Kind>
class Owner {
 public:
  using Value = typename Kind::Value;

  Owner() = default;
  explicit Owner(Value value) : m_value(value) {}
  Owner(Owner&& other) noexcept : m_value(other.Release()) {}
  Owner& operator=(Owner&& other) noexcept {
    Close();
    m_value = other.Release();
    return *this;
  }
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;
  ~Owner() { Close(); }

  [[nodiscard]] explicit operator bool() const { return m_value != Kind::Invalid(); }
  [[nodiscard]] Value get() const { return m_value; }
  /// Memory as an object of type T, or null.
  template <typename T>
  [[nodiscard]] T* As() const {
    return static_cast<T*>(m_value);
  }

  /// Where a call stores the value that it hands out; what was owned is closed first.
  [[nodiscard]] Value* Receive() {
    Close();
    return &m_value;
  }
  /// Gives the value away.
  [[nodiscard]] Value Release() {
    Value const value = m_value;
    m_value = Kind::Invalid();
    return value;
  }
  void Close() {
    if (*this) Kind::Close(m_value);
    m_value = Kind::Invalid();
  }

 private:
  Value m_value = Kind::Invalid();
};

namespace handle_kinds {

template <typename Handle>
struct NullInvalid {
  using Value = Handle;
  static Value Invalid() { return nullptr; }
};
struct InvalidHandleValue {
  using Value = HANDLE;
  static Value Invalid() { return INVALID_HANDLE_VALUE; }
};

struct Object : NullInvalid<HANDLE> {
  static void Close(HANDLE handle) { ::CloseHandle(handle); }
};
struct File : InvalidHandleValue {
  static void Close(HANDLE handle) { ::CloseHandle(handle); }
};
struct Search : InvalidHandleValue {
  static void Close(HANDLE search) { ::FindClose(search); }
};
struct Key : NullInvalid<HKEY> {
  static void Close(HKEY key) { ::RegCloseKey(key); }
};
struct Service : NullInvalid<SC_HANDLE> {
  static void Close(SC_HANDLE service) { ::CloseServiceHandle(service); }
};
struct Devices : InvalidHandleValue {
  static void Close(HDEVINFO devices) { ::SetupDiDestroyDeviceInfoList(devices); }
};
struct Local : NullInvalid<HLOCAL> {
  static void Close(HLOCAL memory) { ::LocalFree(memory); }
};
struct Heap : NullInvalid<LPVOID> {
  static void Close(LPVOID memory) { ::HeapFree(::GetProcessHeap(), 0, memory); }
};
struct Environment : NullInvalid<LPVOID> {
  static void Close(LPVOID block) { ::DestroyEnvironmentBlock(block); }
};

template <typename Kind>
struct KeepingError : Kind {
  static void Close(typename Kind::Value value) {
    KeepLastError const keep;
    Kind::Close(value);
  }
};

}  // namespace handle_kinds

// Invalid: null.
using EventHandle = Owner<handle_kinds::Object>;
using ProcessHandle = Owner<handle_kinds::Object>;
using ThreadHandle = Owner<handle_kinds::Object>;
using TokenHandle = Owner<handle_kinds::Object>;
using RegistryKey = Owner<handle_kinds::Key>;
using ServiceHandle = Owner<handle_kinds::Service>;  ///< of the service manager, or of a service
using HeapMemory = Owner<handle_kinds::Heap>;        ///< of the process heap
using EnvironmentBlock = Owner<handle_kinds::Environment>;
using LocalMemoryKeepingError = Owner<handle_kinds::KeepingError<handle_kinds::Local>>;

// Invalid: INVALID_HANDLE_VALUE.
using FileHandle = Owner<handle_kinds::File>;  ///< a file, or a device
using FindHandle = Owner<handle_kinds::Search>;
using ActiveUserToken = Owner<handle_kinds::File>;  ///< as GetActiveUserToken returns it
using FileHandleKeepingError = Owner<handle_kinds::KeepingError<handle_kinds::File>>;
using TokenHandleKeepingError = Owner<handle_kinds::KeepingError<handle_kinds::File>>;
using DeviceSetKeepingError = Owner<handle_kinds::KeepingError<handle_kinds::Devices>>;

/// Zeroed memory of the process heap; null without memory.
[[nodiscard]] inline HeapMemory AllocateHeap(SIZE_T bytes) {
  return HeapMemory(::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, bytes));
}
/// Zeroed memory of the local heap; null without memory.
[[nodiscard]] inline LocalMemoryKeepingError AllocateLocal(SIZE_T bytes) {
  return LocalMemoryKeepingError(::LocalAlloc(LPTR, bytes));
}
