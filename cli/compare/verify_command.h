// vantord-tablet verify: do the deployed files equal the archive?
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>

#include "cli/base/console.h"

namespace cli {

struct VerifyOptions {
  std::filesystem::path folder;
  std::optional<std::filesystem::path> archive;  ///< of the host; without one: the archive that the tablet gets
  std::chrono::milliseconds time_out{10'000};
  bool json = false;
};

/// Returns the exit code: kNotAsExpected when a file is missing or differs, or the archive cannot be extracted.
/// Changes nothing in the folder. Throws InputError.
int Verify(const VerifyOptions& options, Console& console);

}  // namespace cli
