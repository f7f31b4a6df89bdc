#include "cli/boot/full_timeline.h"

#include <array>
#include <string>
#include <utility>

namespace cli {

namespace {

/// After the ten seconds in which no user can be notified of a crash, and after the end of first-boot setup.
constexpr tablet::Millis kFirst{30'000};
constexpr tablet::Millis kStep{500};

constexpr std::array<std::pair<const char*, const char*>, 18> kEvents{{
    {"display", "off"},
    {"setting", "{02731015-4510-4526-99E6-E5A17EBD1AEA}"},
    {"arrival", R"(\\?\USB#VID_05C6&PID_9008#1)"},
    {"removal", R"(\\?\USB#VID_05C6&PID_9008#1)"},
    {"suspend", ""},
    {"resume", ""},
    {"power", "10"},
    {"display", "on"},
    {"display", "dimmed"},
    {"control", "129"},
    {"control", "130"},
    {"control", "131"},
    {"control", "132"},
    {"control", "133"},
    {"control", "134"},
    {"interrogate", ""},
    {"suspend", ""},
    {"stop", ""},
}};

}  // namespace

void AddFullTimeline(tablet::Description& description) {
  if (!description.timeline.empty()) return;
  tablet::Millis at = kFirst;
  for (auto const& [word, argument] : kEvents) {
    tablet::TimelineEvent event = tablet::MakeEvent(word, argument).value();
    event.at = at;
    at += kStep;
    description.timeline.push_back(std::move(event));
  }
}

}  // namespace cli
