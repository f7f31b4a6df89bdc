// Checks in SARIF 2.1.0, the form in which tools exchange findings; places are in .reg files, tablet.json and archives.
#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "cli/check/tablet_check.h"

namespace cli {

nlohmann::ordered_json SarifOf(const std::vector<TabletCheck>& checks);

}  // namespace cli
