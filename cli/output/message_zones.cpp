#include "cli/output/message_zones.h"

#include <algorithm>
#include <iterator>

namespace cli {

namespace {

struct MessageZone {
  std::string_view function;
  int number;
  std::string_view zone;
  bool usual;
  std::string_view meaning;
};

// Made while building, by cmake/MessageZones.cmake.
constexpr MessageZone kZones[] = {
#include <message_zones.inc>
};

/// Null for what is not listed.
const MessageZone* Find(const tablet::TraceEvent& message) {
  auto const* const found = std::find_if(std::begin(kZones), std::end(kZones), [&](const MessageZone& zone) {
    return message.line && zone.number == *message.line && zone.function == message.function;
  });
  return found == std::end(kZones) ? nullptr : found;
}

}  // namespace

std::string_view ZoneOf(const tablet::TraceEvent& message) {
  if (const MessageZone* const found = Find(message)) return found->zone;
  bool const bound = !message.line && (message.text.ends_with(": (+)") || message.text.ends_with(": (-)"));
  return bound ? "ZONE_FUNCTION" : "unknown";
}

bool IsUsual(const tablet::TraceEvent& message) {
  const MessageZone* const found = Find(message);
  return found != nullptr && found->usual;
}

bool IsFailure(const tablet::TraceEvent& message) {
  constexpr int kUnzippingStatus = 269;
  if (message.function == "CImageSelector::UnzipBinary" && message.line == kUnzippingStatus) {
    return !message.text.ends_with(" status 0");
  }
  const MessageZone* const found = Find(message);
  return found != nullptr && found->zone == "ZONE_ERROR" && !found->usual;
}

std::string_view MeaningOf(const tablet::TraceEvent& message) {
  const MessageZone* const found = Find(message);
  return found == nullptr ? std::string_view() : found->meaning;
}

void MessageCounts::Take(const tablet::TraceEvent& message) {
  ++all;
  usual += IsUsual(message) ? 1 : 0;
  failures += IsFailure(message) ? 1 : 0;
}

}  // namespace cli
