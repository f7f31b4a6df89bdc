// Which message reports a failed call.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/sweep/sweep_calls.h"
#include "sim/tablet/kernel/faults.h"

namespace cli {

/// Which message reports which failed call. The first row that fits a call counts.
struct MessageRule {
  std::string_view call;
  std::string_view args;      ///< must be part of the arguments; empty: any
  std::string_view function;  ///< must be part of the calling function's name; empty: any
  std::string_view
      message;  ///< parts of messages of which one must be there, separated by '|'; empty: none is expected
  std::string_view why = {};     ///< without a message: why none is expected
  bool unless_harmless = false;  ///< and only where the failure made a difference to the tablet
};

/// Null for a call that no row is about.
const MessageRule* RuleFor(const KnownCall& call, tablet::WinError error);

/// Whether one of the messages is what the rule wants; `call` gives the value's name in "{value}".
bool IsReported(const MessageRule& rule, const KnownCall& call, const std::vector<std::string>& messages);

}  // namespace cli
