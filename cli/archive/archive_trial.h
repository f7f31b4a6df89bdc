// A deployment on trial: the service's own code extracts an archive on a tablet that is thrown away.
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
  bool device = false;                ///< which names a device on Windows: what becomes of it is not known
  std::optional<std::uint32_t> code;  ///< the service's, after the entry; none for a device and while it hangs
  std::uint32_t create_error = 0;     ///< Windows' number when its file could not be made
};

/// Filled during the extraction; after a hang it holds what was reached.
struct Trial {
  bool opened = false;
  bool ended = false;
  std::string not_modelled;  ///< what the stand-in refused, which ended the trial; empty: nothing
  std::vector<TriedEntry> entries;

  /// Whether the service counts the archive as deployed.
  bool complete() const;
};

/// Extracts `archive` into the system folder as the service does, on a simulated thread of `machine`, entry by entry; a
/// device is skipped. `trial` outlives the machine.
void Try(tablet::Tablet& machine, const std::string& archive, Trial& trial);

}  // namespace cli
