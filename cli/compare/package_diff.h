// vantord-tablet diff of two archives: what a firmware package changes on a tablet that has the other one.
#pragma once

#include "cli/base/console.h"
#include "cli/compare/diff_command.h"

namespace cli {

/// Deploys each to an empty drive and compares what the service makes of them. Returns the exit code: kNotAsExpected
/// when they differ. Throws InputError.
int DiffPackages(const DiffOptions& options, Console& console);

}  // namespace cli
