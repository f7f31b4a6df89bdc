// Failures of the service and its framework are raised as exceptions that carry a Windows error code.
#pragma once

#include <windows.h>

/// Raises `error` as a DWORD: the one type that CServiceBase's guarded transitions report as an exit code. The error
/// constants of the Windows headers have other integer types, so no other code may throw them.
[[noreturn]] inline void RaiseError(DWORD error) { throw error; }

/// Raises the calling thread's last error.
[[noreturn]] inline void RaiseLastError() { RaiseError(::GetLastError()); }
