// vantord-tablet run: one run of a tablet, told as it happens, and a summary.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "cli/base/console.h"
#include "sim/tablet/kernel/faults.h"

namespace cli {

struct RunOptions {
  std::filesystem::path folder;
  std::optional<std::filesystem::path> save;    ///< keeps the tablet as it ended there
  bool in_place = false;                        ///< or in `folder` itself
  std::optional<std::filesystem::path> events;  ///< a file of JSON Lines
  bool calls = false;                           ///< each call of the Windows API among the events
  std::optional<std::filesystem::path> trace;   ///< a file in the Trace Event Format
  std::optional<std::filesystem::path> report;  ///< a page of HTML
  bool force = false;                           ///< these files replace others
  std::optional<std::int64_t> until;            ///< milliseconds of virtual time
  std::uint64_t seed = 0;
  std::vector<tablet::Fault> faults;
  std::uint64_t cut_at = 0;  ///< the call at which the power is cut; 0: never
  std::string cut_call;      ///< or the name of it, with which one of that name
  std::uint64_t cut_occurrence = 0;
  bool full_timeline = false;  ///< with a timeline where the tablet has none
  bool stop_early = false;     ///< the stop comes as soon as the service runs
  bool realtime = false;
  bool json = false;
  bool quiet = false;    ///< the summary only
  bool verbose = false;  ///< every message
  std::chrono::milliseconds time_out{10'000};
};

/// Returns the exit code. Throws InputError for bad input; nothing of the given tablet has changed then.
int Run(const RunOptions& options, Console& console);

}  // namespace cli
