// A deployment on trial: the unchanged service extracts an archive on a tablet that is thrown away.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/tablet/machine/tablet.h"

namespace cli {

/// What became of one entry.
struct TriedEntry {
  std::string target;                 ///< the path that the service composed
  std::string created;                ///< the file that it went to write; empty for folders
  std::uint32_t create_error = 0;     ///< Windows' number when it could not be made
  std::optional<std::uint32_t> code;  ///< the service's, once it was through with the entry
};

/// Filled while the service is at work; what it holds when the service hangs is what was reached.
struct Trial {
  bool opened = false;
  bool ended = false;
  bool complete = false;     ///< the service counts the archive as deployed
  std::string not_modelled;  ///< what the stand-in refused, which ended the trial; empty: nothing
  std::vector<TriedEntry> entries;
};

/// Lets the service extract `archive` into the system folder, on a simulated thread of `machine`. `trial` outlives the
/// machine.
void Try(tablet::Tablet& machine, const std::string& archive, Trial& trial);

}  // namespace cli
