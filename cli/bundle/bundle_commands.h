// vantord-tablet collect and replay: a run as a file, repeated elsewhere to the byte.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/base/console.h"

namespace cli {

struct CollectOptions {
  std::filesystem::path folder;
  std::filesystem::path bundle;
  std::vector<std::string> run;  ///< arguments of `run`: --seed 7
  bool force = false;            ///< the bundle replaces another file
  bool redact = false;           ///< replace what identifies the tablet or its user
  bool json = false;
};

struct ReplayOptions {
  std::filesystem::path bundle;
  bool json = false;
};

/// Runs a copy of the tablet and packs what a repetition needs. Returns the exit code; throws InputError.
int Collect(const CollectOptions& options, Console& console);
/// Runs a bundle again and compares: kNotAsExpected and the first difference when it goes another way.
int Replay(const ReplayOptions& options, Console& console);

}  // namespace cli
