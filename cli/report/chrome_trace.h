// A run, or a start in a trace, in the Trace Event Format, for Perfetto and other viewers.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "cli/report/timeline.h"

namespace cli {

/// One process, named after the tablet; a thread for each track. Functions, waits and states are B and E events that
/// nest; messages, controls and what else happened are instants. `clock` says what the times are.
nlohmann::ordered_json ChromeTrace(const Timeline& timeline, const std::string& tablet,
                                   std::string_view clock = "virtual microseconds since power-on");

}  // namespace cli
