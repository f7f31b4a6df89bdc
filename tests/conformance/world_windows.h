// The world of the tests of conformance under Wine: a machine that tests/windows/ has made like a small fresh tablet,
// the same for all tests of a run.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

namespace conformance {

inline constexpr bool kOnTablet = false;

/// Under Wine, root on the host may do more. The caller of the tests says whether it is root.
inline bool HostIsRoot() { return std::getenv("VANTORD_TEST_HOST_IS_ROOT") != nullptr; }

class WorldBase : public ::testing::Test {};

}  // namespace conformance
