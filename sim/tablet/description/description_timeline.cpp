#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "sim/tablet/base/nearest.h"
#include "sim/tablet/description/description_parts.h"

namespace tablet {

namespace {

using Kind = JsonNode::Kind;

constexpr std::array<std::string_view, 8> kKnown{"at_ms", "class", "control", "event", "guid", "link", "state", "type"};

Millis ReadTime(const Section& event) {
  const JsonNode& at = event.Need("at_ms", Kind::kInteger);
  constexpr std::int64_t kOneYear = 365LL * 24 * 3600 * 1000;
  if (at.integer < 0 || at.integer > kOneYear) {
    event.Refuse(at, "at_ms", fmt::format("{} is out of range", at.integer),
                 "give milliseconds since power-on, up to a year");
  }
  return Millis(at.integer);
}

/// The event's argument as text; the keys of other events are refused.
std::string ReadArgument(const Section& event, const std::string& word, std::string_view key) {
  bool const takes_class = word == "arrival" || word == "removal";
  for (std::string_view const other : kKnown) {
    if (other == "at_ms" || other == "event" || other == key || (other == "class" && takes_class)) continue;
    if (const JsonNode* const value = event.Find(other)) {
      event.Refuse(*value, other, fmt::format("has no meaning for \"{}\"", word), "remove it");
    }
  }
  if (key.empty()) return {};
  bool const number = key == "control" || key == "type";
  const JsonNode& value = event.Need(key, number ? Kind::kInteger : Kind::kText);
  return number ? std::to_string(value.integer) : value.text;
}

TimelineEvent ReadEvent(const Section& event) {
  const JsonNode& word = event.Need("event", Kind::kText);
  auto const words = EventWords();
  if (std::find(words.begin(), words.end(), word.text) == words.end()) {
    event.Refuse(word, "event", fmt::format("unknown event \"{}\"", word.text), SuggestOneOf(word.text, words));
  }
  std::string_view const key = ArgumentOf(word.text);
  std::string const argument = ReadArgument(event, word.text, key);
  std::optional<TimelineEvent> made = MakeEvent(word.text, argument);
  if (!made) {
    event.Refuse(*event.Find(key), key, fmt::format("\"{}\" is nothing for this event", argument),
                 std::string(HintFor(word.text)));
  }
  if (const JsonNode* const name = event.Find("class", Kind::kText)) {
    auto const guid = Guid::Parse(name->text);
    if (!guid)
      event.Refuse(*name, "class", fmt::format("\"{}\" is not a GUID", name->text), "write {8-4-4-4-12} digits");
    made->guid = *guid;
  }
  return *made;
}

}  // namespace

void ReadTimeline(const Section& root, const std::string& file, Description& out) {
  std::size_t index = 0;
  for (const JsonNode* const node : root.List("timeline", Kind::kObject)) {
    Section const section(*node, file, fmt::format("timeline[{}]", index++), kKnown);
    Millis const at = ReadTime(section);
    TimelineEvent event = ReadEvent(section);
    event.at = at;
    out.timeline.push_back(std::move(event));
  }
  std::stable_sort(out.timeline.begin(), out.timeline.end(),
                   [](const TimelineEvent& a, const TimelineEvent& b) { return a.at < b.at; });
}

}  // namespace tablet
