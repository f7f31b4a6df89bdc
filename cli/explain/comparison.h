// A start of a real tablet beside a simulated one: where the messages part, and which data differs before.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/console.h"
#include "cli/boot/findings.h"
#include "sim/tablet/kernel/journal.h"

namespace cli {

/// Where one of the service's threads went another way.
struct Parting {
  std::string_view part;            ///< of the start: "start", "firmware" or "modem reset"
  std::optional<std::size_t> mine;  ///< index of the device's event; nothing: it has no more
  tablet::Millis time{0};           ///< of the device's message, or of its last one
  std::string device;               ///< its message; empty: it has no more
  std::string simulation;
};

/// The same message with another text, before the messages part.
struct OtherText {
  std::size_t mine = 0;  ///< index of the device's event
  std::string who;
  std::string device;
  std::string simulation;
};

/// Something looked up, with another answer.
struct OtherAnswer {
  std::string name;
  std::string where;  ///< the key, or "firmware"
  std::string device;
  std::string simulation;
};

struct Comparison {
  std::uint64_t compared = 0;     ///< pairs of messages
  std::vector<Parting> partings;  ///< in the order of the device's events; one for each part at most
  std::vector<OtherText> texts;   ///< before them
  std::vector<OtherAnswer> answers;

  bool differs() const { return !partings.empty(); }
};

/// The threads of both are compared message by message: how they took turns does not matter.
Comparison Compare(const std::vector<tablet::Event>& device, const std::vector<tablet::Event>& simulation);

/// `lines`: of the trace, one for each of the device's events.
void PrintComparison(Console& console, const Comparison& comparison, const std::string& tablet,
                     const std::vector<std::uint64_t>& lines);
nlohmann::ordered_json ToJson(const Comparison& comparison, const std::string& tablet,
                              const std::vector<std::uint64_t>& lines);

}  // namespace cli
