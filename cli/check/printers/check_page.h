// Checks as one page of HTML that needs nothing else, not even scripts.
#pragma once

#include <string>
#include <vector>

#include "cli/check/tablet_check.h"

namespace cli {

/// Each case is a row that unfolds into what was found, and into the start that was tried.
std::string CheckPage(const std::vector<TabletCheck>& checks);

}  // namespace cli
