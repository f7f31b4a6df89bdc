// Access to firmware variables through the SAFI driver. Each operation opens the driver, sends one request and closes
// it again. Failures are reported by the result, the thread's last error and a text for the debugger.
#pragma once

#include <windows.h>

#include "vantord/common/handles.h"

/// Characters of the buffer for a variable's key.
inline constexpr DWORD kSafiKeyCharacters = 260;
/// Bytes of every value that is written.
inline constexpr DWORD kSafiWriteBytes = 10;

/// The name by which the driver knows a variable: the vendor GUID's text directly followed by the variable's name.
class SafiKey {
 public:
  SafiKey(const WCHAR* name, const WCHAR* guid);
  /// kSafiKeyCharacters characters, padded with zeros; null without memory.
  const WCHAR* text() const { return m_buffer.As<WCHAR>(); }

 private:
  LocalMemoryKeepingError m_buffer;
};

/// Writes a text to the debugger.
/// Deliberate: The narrow text is passed to the wide call as it is, and its placeholders are not filled. Expected: a
/// wide, formatted text.
/// Test: SafiDriver.DebuggerGetsTheBytesOfTheTextsAsTheyAre
void WriteDebugger(const char* text);

/// Reads a variable into `buffer` of `capacity` bytes; returns its size, 0 on failure. A null or zero argument and two
/// different sizes fail with ERROR_INVALID_BLOCK, a larger variable with ERROR_BAD_ENVIRONMENT.
DWORD SafiGetVariable(const WCHAR* name, const WCHAR* guid, void* buffer, DWORD capacity);

/// Writes the kSafiWriteBytes bytes at `data`. Null arguments fail with ERROR_INVALID_BLOCK.
/// `key`: the text of a SafiKey.
[[nodiscard]] bool SafiWriteVariable(const WCHAR* key, const void* data);
