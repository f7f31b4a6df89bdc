#include "sim/tablet/kernel/journal.h"

#include <array>

namespace tablet {

std::string_view KindOf(const Event& event) {
  static constexpr std::array<std::string_view, 5> kNames{"trace", "status", "event", "debugger", "call"};
  return kNames[event.what.index()];
}

void Journal::Record(std::variant<TraceEvent, StatusEvent, Happening, DebuggerEvent, CallEvent> what,
                     std::uint64_t call) {
  events_.push_back({events_.size() + 1, scheduler_.Now(), scheduler_.current_name(), call, std::move(what)});
  for (const auto& listener : listeners_) listener(events_.back());
}

std::vector<std::string> Journal::Messages() const {
  std::vector<std::string> texts;
  for (const Event& event : events_) {
    if (const auto* trace = std::get_if<TraceEvent>(&event.what)) texts.push_back(trace->text);
  }
  return texts;
}

std::vector<CallEvent> Journal::Calls(std::string_view name) const {
  std::vector<CallEvent> calls;
  for (const Event& event : events_) {
    const auto* call = std::get_if<CallEvent>(&event.what);
    if (call != nullptr && call->name == name) calls.push_back(*call);
  }
  return calls;
}

std::vector<StatusEvent> Journal::Statuses() const {
  std::vector<StatusEvent> statuses;
  for (const Event& event : events_) {
    if (const auto* status = std::get_if<StatusEvent>(&event.what)) statuses.push_back(*status);
  }
  return statuses;
}

std::vector<std::string> Journal::DebuggerTexts() const {
  std::vector<std::string> texts;
  for (const Event& event : events_) {
    if (const auto* debugger = std::get_if<DebuggerEvent>(&event.what)) texts.push_back(debugger->text);
  }
  return texts;
}

}  // namespace tablet
