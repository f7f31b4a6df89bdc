// The world of the tests of conformance in the hosted build: a simulated tablet, powered on afresh for each test.
#pragma once

#include "tests/testing/tablet_fixture.h"

namespace conformance {

inline constexpr bool kOnTablet = true;

/// Under Wine, root on the host may do more.
inline bool HostIsRoot() { return false; }

class WorldBase : public testing_support::TabletTest {
 protected:
  /// A firmware variable that both worlds have: a sales code.
  WorldBase() {
    machine().firmware().Put({u"SALES_CODE", *tablet::Guid::Parse("9806d87d-b4fb-4d02-97d2-8597337abc83")},
                             {'V', 'Z', 'W'});
  }
};

}  // namespace conformance
