// What is wrong with an archive on its tablet, as the trial of it shows.
#pragma once

#include <string>
#include <vector>

#include "cli/check/finding.h"
#include "cli/check/rules/value_rules.h"
#include "cli/check/tablet_check.h"

namespace cli {

/// What leads to an archive.
struct Lead {
  std::string title;   ///< "sales code VZW"
  FindingPlace place;  ///< where that is said
};

/// Of an archive that was tried, or could not be since its file is missing.
std::vector<CheckFinding> FindingsOfTrial(const CheckedArchive& archive, const Lead& lead, const TabletFacts& facts);

}  // namespace cli
