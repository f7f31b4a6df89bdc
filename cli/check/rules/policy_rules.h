// A tablet compared with its policy.
#pragma once

#include <vector>

#include "cli/check/check_policy.h"
#include "cli/check/rules/registry_places.h"
#include "cli/check/tablet_check.h"

namespace cli {

/// Adds a finding unless it is there, and returns its index. The policy, which may be null, may allow it.
std::size_t AddFinding(std::vector<CheckFinding>& findings, CheckFinding finding, CheckPolicy* policy);

/// After everything else was found: archives, sizes, what was to fail, allowances that nothing needs.
void ApplyPolicy(CheckPolicy& policy, TabletCheck& check, const TabletPlaces& places);

}  // namespace cli
