// What a run leaves on a tablet, as texts that can be compared and carried from one process to another.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "sim/tablet/machine/tablet.h"

namespace cli {

/// "registry KEY", "firmware NAME" or "file PATH" -> what is there. A file's text holds its size, attributes, time of
/// writing, where that is before the power came on, and a sum of its bytes. The folders of the retail log are numbered,
/// since their names hold the time; those that are empty share one name.
using TabletState = std::map<std::string, std::string>;

/// `power_on` is when the power came on for the first of the runs that are compared.
TabletState StateOf(tablet::Tablet& machine, tablet::FileTicks power_on);

/// Without what time does to a tablet and no run: first-boot setup goes on by itself.
TabletState WithoutSetup(TabletState state);

/// A line for each difference: "file C:\...: is gone", "...: is X, not Y".
std::vector<std::string> Differences(const TabletState& wanted, const TabletState& found);

}  // namespace cli
