// The archives that a tablet's codes and IDs lead to; those with the same bytes are one.
#pragma once

#include <vector>

#include "cli/check/tablet_check.h"
#include "sim/tablet/drive/drive.h"

namespace cli {

/// Gives each case its archive. One whose file is missing is an archive of its own.
std::vector<CheckedArchive> ArchivesOf(std::vector<CheckCase>& cases, const tablet::Drive& drive);

}  // namespace cli
