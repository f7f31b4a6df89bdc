// vantord-tablet select: which archive a tablet gets, and why.
#pragma once

#include <filesystem>

#include "cli/base/console.h"

namespace cli {

struct SelectOptions {
  std::filesystem::path folder;
  bool matrix = false;  ///< for every code and ID of the maps, instead of the tablet's own
  bool json = false;
};

/// Returns the exit code. Changes nothing in the folder. Throws InputError.
int Select(const SelectOptions& options, Console& console);

}  // namespace cli
