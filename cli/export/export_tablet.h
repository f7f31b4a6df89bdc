// vantord-tablet export: what was changed on a tablet, in the form in which it can be put into an image.
#pragma once

#include <filesystem>
#include <optional>

#include "cli/base/console.h"

namespace cli {

struct ExportOptions {
  std::filesystem::path tablet;
  std::filesystem::path out;                   ///< the folder to make
  std::optional<std::filesystem::path> since;  ///< the tablet before; nothing: as it was imported
  int control_set = 1;                         ///< for a tablet that does not say which one is current
  bool utf16 = false;                          ///< registry text as Windows exports it
  bool json = false;
};

/// Returns the exit code. Changes nothing in the tablets. Throws InputError.
int ExportTablet(const ExportOptions& options, Console& console);

}  // namespace cli
