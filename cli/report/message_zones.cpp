#include "cli/report/message_zones.h"

#include <algorithm>
#include <iterator>

namespace cli {

namespace {

struct MessageZone {
  std::string_view function;
  int number;
  std::string_view zone;
};

// Made while building, by cmake/MessageZones.cmake.
constexpr MessageZone kZones[] = {
#include <message_zones.inc>
};

}  // namespace

std::string_view ZoneOf(const tablet::TraceEvent& message) {
  if (!message.line) {
    bool const bound = message.text.ends_with(": (+)") || message.text.ends_with(": (-)");
    return bound ? "ZONE_FUNCTION" : "unknown";
  }
  auto const* const found = std::find_if(std::begin(kZones), std::end(kZones), [&](const MessageZone& zone) {
    return zone.number == *message.line && zone.function == message.function;
  });
  return found == std::end(kZones) ? "unknown" : found->zone;
}

}  // namespace cli
