// Owner of a handle of the service manager.
#pragma once

#include <windows.h>

#include <winsvc.h>

/// Owns an SC_HANDLE, whose invalid value is null.
class ServiceHandle {
 public:
  explicit ServiceHandle(SC_HANDLE handle = nullptr) : m_handle(handle) {}
  ~ServiceHandle() { Close(); }
  ServiceHandle(ServiceHandle&& other) noexcept : m_handle(other.m_handle) { other.m_handle = nullptr; }
  ServiceHandle(const ServiceHandle&) = delete;
  ServiceHandle& operator=(const ServiceHandle&) = delete;
  ServiceHandle& operator=(ServiceHandle&&) = delete;

  explicit operator bool() const { return m_handle != nullptr; }
  SC_HANDLE get() const { return m_handle; }

  void Close() {
    if (m_handle != nullptr) ::CloseServiceHandle(m_handle);
    m_handle = nullptr;
  }

 private:
  SC_HANDLE m_handle;
};
