// The start that a trace is compared with.
#pragma once

#include <filesystem>
#include <vector>

#include "cli/base/console.h"
#include "sim/tablet/kernel/journal.h"

namespace cli {

/// The messages of a run of the tablet, from power-on to its end. The folder stays as it is. Throws InputError, also
/// for a tablet that collects no trace; ends the program when the service hangs.
std::vector<tablet::Event> SimulateStart(const std::filesystem::path& folder, Console& console);

}  // namespace cli
