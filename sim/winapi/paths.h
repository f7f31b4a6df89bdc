// Paths as the calls of drive C: take them.
#pragma once

#include <windows.h>

#include <string_view>

#include "sim/winapi/call.h"

namespace win32 {

/// Whether a path goes to the object manager unchanged: "\\?\..." and "\\.\...".
inline bool IsDevicePath(LPCWSTR path) {
  return path != nullptr && path[0] == u'\\' && path[1] == u'\\' && (path[2] == u'?' || path[2] == u'.') &&
         path[3] == u'\\';
}

/// A path for the drive; a null one is empty, which the drive refuses with Windows' code. Stops the run for a device
/// path: only CreateFileW models those.
inline std::u16string_view DrivePathOf(const char* call, LPCWSTR path) {
  if (path == nullptr) return {};
  if (IsDevicePath(path)) RefuseUnmodelled(call, fmt::format("the device path {}", Show(path)));
  return path;
}

}  // namespace win32
