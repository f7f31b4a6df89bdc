// vantord-tablet pack: an archive that the service takes, from a folder.
#pragma once

#include <filesystem>

#include "cli/base/console.h"

namespace cli {

struct PackOptions {
  std::filesystem::path folder;
  std::filesystem::path archive;
  bool force = false;  ///< replaces the archive
  bool json = false;
};

/// Packs the folder and lets the service extract the result before it is kept. The same names, bytes, rights and times
/// give the same archive. Returns the exit code. Throws InputError, which names the file, for what the service would
/// not extract as it is.
int Pack(const PackOptions& options, Console& console);

}  // namespace cli
