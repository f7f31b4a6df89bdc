// What is odd about an archive although the service may take it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/archive/archive_survey.h"
#include "cli/archive/archive_trial.h"

namespace cli {

struct Warning {
  std::string_view what;             ///< its name in documents: "escapes", "duplicate", ...
  std::optional<std::size_t> entry;  ///< counted from 0
  std::string text;                  ///< half a sentence
};

/// The place on drive C: that a path of the service means, "C:\Windows\..."; empty when it means none.
std::string LandingOf(const TriedEntry& entry);

/// The warnings of all entries, in their order. `machine` is the tablet after the trial.
std::vector<Warning> WarningsOf(const Survey& survey, const Trial& trial, tablet::Tablet& machine);

}  // namespace cli
