// Keeps the thread's last error over calls whose own outcome nobody asks for: clean-up and debugger output.
#pragma once

#include <windows.h>

class KeepLastError {
 public:
  KeepLastError() = default;
  ~KeepLastError() { ::SetLastError(m_error); }
  KeepLastError(const KeepLastError&) = delete;
  KeepLastError& operator=(const KeepLastError&) = delete;

 private:
  DWORD const m_error = ::GetLastError();
};
