// The world of the tests of conformance in vantord-check: whatever Windows it runs on. What is seen there is an answer,
// never a failure.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "kit/check/child.h"
#include "kit/machine/places.h"

namespace conformance {

inline constexpr bool kOnTablet = true;

inline bool HostIsRoot() { return false; }

inline const WCHAR* Place() { return kit::Folder().c_str(); }
inline const WCHAR* KeyPlace() { return kit::kKey; }
inline HKEY Hive() { return HKEY_CURRENT_USER; }
inline const WCHAR* PartnerName() { return kit::kFirstService; }

/// A drive that does not exist; should all exist, one that cannot.
inline const WCHAR* NoDrive() {
  static WCHAR drive[] = L"z:";
  while (drive[0] > L'd' && (::GetLogicalDrives() >> (drive[0] - L'a') & 1) != 0) --drive[0];
  return drive;
}

inline bool Judged(const char* question, const std::string& seen, bool) {
  kit::Saw(question, seen);
  return true;
}

class WorldBase : public ::testing::Test {};

}  // namespace conformance
