// The zones and meanings of the service's messages, as docs/messages.md lists them.
#pragma once

#include <string_view>

#include "sim/tablet/kernel/journal.h"

namespace cli {

/// "ZONE_ERROR" and so on; "always" for messages that no zone gates; "unknown" for what the service does not send.
std::string_view ZoneOf(const tablet::TraceEvent& message);
/// In the error zone, and no failure: progress that the service logs there.
bool IsUsual(const tablet::TraceEvent& message);
/// In the error zone and not usual, or the status of an entry of an archive that failed.
bool IsFailure(const tablet::TraceEvent& message);
/// Sentences; empty for what is not listed.
std::string_view MeaningOf(const tablet::TraceEvent& message);

struct MessageCounts {
  std::size_t all = 0;
  std::size_t failures = 0;
  std::size_t usual = 0;  ///< in the error zone, and no failure

  void Take(const tablet::TraceEvent& message);
};

}  // namespace cli
