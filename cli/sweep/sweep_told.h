// Which message tells of a failed call.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/sweep/sweep_calls.h"
#include "sim/tablet/kernel/faults.h"

namespace cli {

/// Of which failed calls which message tells. A row is the first that fits a call.
struct TellingRule {
  std::string_view call;
  std::string_view args;      ///< must be part of the arguments; empty: any
  std::string_view function;  ///< must be part of the calling function's name; empty: any
  std::string_view
      message;  ///< parts of messages of which one must be there, separated by '|'; empty: none is promised
  std::string_view why = {};     ///< without a message: why none is promised
  bool unless_harmless = false;  ///< and only where the failure made a difference to the tablet
};

/// Null for a call that no row is about.
const TellingRule* RuleFor(const KnownCall& call, tablet::WinError error);

/// Whether one of the messages is what the rule wants; `call` gives the value's name in "{value}".
bool IsTold(const TellingRule& rule, const KnownCall& call, const std::vector<std::string>& messages);

}  // namespace cli
