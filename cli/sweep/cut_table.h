// What a power cut leaves on disk, and what the next start makes of it, in words: the rows of `sweep --cut-table`.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cli/base/console.h"
#include "cli/sweep/sweep_calls.h"
#include "cli/sweep/sweep_state.h"

namespace cli {

/// Of one power cut.
struct CutRow {
  std::string disk;  ///< what is on disk then, against the moment of power-on
  std::string next;  ///< what the next start does
  std::string left;  ///< how the tablet is then, against an undisturbed run
  bool operator==(const CutRow&) const = default;
};

/// What a tablet holds of all that one undisturbed run changes: "some files of the image; ...".
std::string DescribeDisk(const TabletState& before, const TabletState& after, const TabletState& now);

/// What a start did: it began with one state, left another, and changed these files on its way. `notifies`: it started
/// the program that notifies the user.
std::string DescribeStart(const TabletState& from, const TabletState& to,
                          const std::vector<tablet::FileChange>& changes, bool notifies);

/// The rows by call, as a table of Markdown; neighbours that read alike are one row.
void PrintCutTable(const std::map<std::uint64_t, CutRow>& rows, const std::vector<KnownCall>& calls, Console& console);

}  // namespace cli
