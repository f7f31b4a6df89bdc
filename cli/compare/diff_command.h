// vantord-tablet diff: what differs between two tablets.
#pragma once

#include <filesystem>

#include "cli/base/console.h"

namespace cli {

struct DiffOptions {
  std::filesystem::path before;
  std::filesystem::path after;
  bool json = false;
};

/// Returns the exit code: kNotAsExpected when they differ. Changes nothing in the folders. Throws InputError.
int Diff(const DiffOptions& options, Console& console);

}  // namespace cli
