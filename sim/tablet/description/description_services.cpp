#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "sim/tablet/base/nearest.h"
#include "sim/tablet/description/description_parts.h"

namespace tablet {

namespace {

using Kind = JsonNode::Kind;

constexpr std::int64_t kOneDay = 24LL * 3600 * 1000;

std::uint32_t State(const Section& section, std::string_view key, std::uint32_t without) {
  static constexpr std::array<std::string_view, 5> kWords{"paused", "running", "start_pending", "stop_pending",
                                                          "stopped"};
  static constexpr std::array<std::uint32_t, 5> kStates{kServicePaused, kServiceRunning, kServiceStartPending,
                                                        kServiceStopPending, kServiceStopped};
  const JsonNode* const word = section.Find(key, Kind::kText);
  if (word == nullptr) return without;
  auto const found = std::find(kWords.begin(), kWords.end(), word->text);
  if (found == kWords.end()) {
    section.Refuse(*word, key, fmt::format("unknown state \"{}\"", word->text), SuggestOneOf(word->text, kWords));
  }
  return kStates[static_cast<std::size_t>(found - kWords.begin())];
}

Millis Duration(const Section& section, std::string_view key, Millis without) {
  return Millis(section.Number(key, 0, kOneDay, without.count()));
}

void ReadPhase(const Section& partner, std::string_view key, PartnerPhase& out) {
  static constexpr std::array<std::string_view, 6> kKnown{
      "check_point_every_ms", "duration_ms", "end_wait_hint_ms", "ends_in", "exit_code", "wait_hint_ms"};
  const JsonNode* const node = partner.Find(key);
  if (node == nullptr) return;
  Section const phase(*node, partner.file(), partner.Full(key), kKnown);
  out.duration = Duration(phase, "duration_ms", out.duration);
  out.check_point_every = Duration(phase, "check_point_every_ms", out.check_point_every);
  out.wait_hint = Word(phase, "wait_hint_ms", out.wait_hint);
  out.ends_in = State(phase, "ends_in", out.ends_in);
  out.exit_code = Word(phase, "exit_code", out.exit_code);
  out.end_wait_hint = Word(phase, "end_wait_hint_ms", out.end_wait_hint);
}

void ReadPartner(const JsonNode& node, const std::string& file, PartnerDescription& out) {
  static constexpr std::array<std::string_view, 6> kKnown{"control_error", "present", "start_error",
                                                          "starting",      "state",   "stopping"};
  Section const partner(node, file, "partner", kKnown);
  out.present = partner.Flag("present", out.present);
  out.state = State(partner, "state", out.state);
  ReadPhase(partner, "starting", out.starting);
  ReadPhase(partner, "stopping", out.stopping);
  out.start_error = Word(partner, "start_error", out.start_error);
  out.control_error = Word(partner, "control_error", out.control_error);
}

void ReadRadio(const JsonNode& node, const std::string& file, RadioDescription& out) {
  static constexpr std::array<std::string_view, 6> kKnown{"answer_after_ms",      "answers",
                                                          "answers_null_context", "failing_attempts",
                                                          "notifications",        "notifications_null_context"};
  constexpr std::int64_t kMany = 1000;
  Section const radio(node, file, "radio", kKnown);
  if (const JsonNode* const failing = radio.Find("failing_attempts");
      failing != nullptr && failing->kind == Kind::kText) {
    if (failing->text != "always") {
      radio.Refuse(*failing, "failing_attempts", fmt::format("\"{}\" is not a number", failing->text),
                   "give a number or \"always\"");
    }
    out.failing_attempts = RadioDescription::kAlways;
  } else {
    out.failing_attempts = Word(radio, "failing_attempts", out.failing_attempts);
  }
  out.notifications = static_cast<std::uint32_t>(radio.Number("notifications", 0, kMany, out.notifications));
  out.answers = static_cast<std::uint32_t>(radio.Number("answers", 0, kMany, out.answers));
  out.answer_after = Duration(radio, "answer_after_ms", out.answer_after);
  out.notifications_null_context = radio.Flag("notifications_null_context", out.notifications_null_context);
  out.answers_null_context = radio.Flag("answers_null_context", out.answers_null_context);
}

/// Whether `controls` says "serial"; "independent" without it.
bool ReadSerialControls(const Section& services) {
  static constexpr std::array<std::string_view, 2> kWords{"independent", "serial"};
  const JsonNode* const word = services.Find("controls", Kind::kText);
  if (word == nullptr || word->text == kWords[0]) return false;
  if (word->text == kWords[1]) return true;
  services.Refuse(*word, "controls", fmt::format("unknown rule \"{}\"", word->text), SuggestOneOf(word->text, kWords));
}

}  // namespace

void ReadServices(const Section& root, const std::string& file, Description& out) {
  static constexpr std::array<std::string_view, 3> kKnown{"controls", "manager_denied", "preshutdown_timeout_ms"};
  if (const JsonNode* const node = root.Find("partner")) ReadPartner(*node, file, out.partner);
  if (const JsonNode* const node = root.Find("radio")) ReadRadio(*node, file, out.radio);
  const JsonNode* const node = root.Find("services");
  if (node == nullptr) return;
  Section const services(*node, file, "services", kKnown);
  out.serial_controls = ReadSerialControls(services);
  out.manager_denied = services.Flag("manager_denied", out.manager_denied);
  out.preshutdown_timeout = Duration(services, "preshutdown_timeout_ms", out.preshutdown_timeout);
}

}  // namespace tablet
