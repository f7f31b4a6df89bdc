// The zones of the service's messages, as docs/messages.md lists them.
#pragma once

#include <string_view>

#include "sim/tablet/kernel/journal.h"

namespace cli {

/// "ZONE_ERROR" and so on; "always" for messages that no zone gates; "unknown" for what the service does not send.
std::string_view ZoneOf(const tablet::TraceEvent& message);

}  // namespace cli
