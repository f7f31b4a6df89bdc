// Checks in JUnit's form, for build servers.
#pragma once

#include <string>
#include <vector>

#include "cli/check/tablet_check.h"

namespace cli {

/// A suite for each tablet: a test case for each code and ID, and one for what belongs to none of them. No times: the
/// same tablets give the same report.
std::string JunitOf(const std::vector<TabletCheck>& checks);

}  // namespace cli
