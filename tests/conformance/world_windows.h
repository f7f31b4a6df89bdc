// The world of the tests of conformance under Wine: a machine that tests/windows/ has made like a small fresh tablet,
// the same for all tests of a run.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace conformance {

inline constexpr bool kOnTablet = false;

/// Under Wine, root on the host may do more. The caller of the tests says whether it is root.
inline bool HostIsRoot() { return std::getenv("VANTORD_TEST_HOST_IS_ROOT") != nullptr; }

inline const WCHAR* Place() { return L"C:\\conformance"; }
inline const WCHAR* KeyPlace() { return L"SOFTWARE\\VantordConformance"; }
inline HKEY Hive() { return HKEY_LOCAL_MACHINE; }
/// A drive that does not exist.
inline const WCHAR* NoDrive() { return L"q:"; }
inline const WCHAR* PartnerName() { return L"Pelt"; }

inline bool Judged(const char*, const std::string&, bool equal) { return equal; }

class WorldBase : public ::testing::Test {};

}  // namespace conformance
