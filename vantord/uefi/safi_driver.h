// Access to firmware variables through the SAFI driver. Each operation opens the driver, sends one request and closes
// it again. Failures are told by the result and the thread's last error, and in words to the debugger.
#pragma once

#include <windows.h>

#include "vantord/common/handles.h"

/// Characters of the buffer that a variable's key is composed in.
inline constexpr DWORD kSafiKeyCharacters = 260;
/// Bytes of every value that is written.
inline constexpr DWORD kSafiWriteBytes = 10;

/// The name by which the driver knows a variable: the vendor GUID's text directly followed by the variable's name.
class SafiKey {
 public:
  SafiKey(const WCHAR* name, const WCHAR* guid);
  /// kSafiKeyCharacters characters, zero behind the text; null when the memory could not be had.
  const WCHAR* text() const { return m_buffer.As<WCHAR>(); }

 private:
  LocalMemoryKeepingError m_buffer;
};

/// Writes a text to the debugger. Its bytes go to the wide call as they are, two to a character, placeholders unfilled.
/// Kept on purpose: one would expect a wide text with its placeholders filled; pinned by
/// SafiDriver.DebuggerGetsTheBytesOfTheTextsAsTheyAre.
void WriteDebugger(const char* text);

/// Reads a variable into `buffer` of `capacity` bytes; returns its size, 0 on failure. A null or zero argument and two
/// different answers about the size fail with ERROR_INVALID_BLOCK, a larger variable with ERROR_BAD_ENVIRONMENT.
DWORD SafiGetVariable(const WCHAR* name, const WCHAR* guid, void* buffer, DWORD capacity);

/// Writes the kSafiWriteBytes bytes at `data`. Null arguments fail with ERROR_INVALID_BLOCK.
/// `key`: the text of a SafiKey.
[[nodiscard]] bool SafiWriteVariable(const WCHAR* key, const void* data);
