// GUIDs between the names of Windows and the tablet.
#pragma once

#include <windows.h>

#include <cstring>
#include <string>

#include "sim/tablet/base/guid.h"

namespace win32 {

inline tablet::Guid ToGuid(const GUID& guid) {
  tablet::Guid out;
  std::memcpy(out.bytes.data(), &guid, out.bytes.size());
  return out;
}

inline std::string ShowGuid(const GUID* guid) { return guid == nullptr ? "null" : ToGuid(*guid).ToString(); }

}  // namespace win32
