// Everything that happens in a tablet, in order.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

/// A message of the service's trace provider, as the trace controller received it.
struct TraceEvent {
  std::string guid;  ///< braced, upper case
  std::uint16_t number = 0;
  std::string text;         ///< the whole message, UTF-8
  std::string function;     ///< from the text; empty when it has none
  std::optional<int> line;  ///< the message's tag; absent where the message has none
};

/// A status report as the service manager received it.
struct StatusEvent {
  std::string state;  ///< its Windows name without the prefix: "START_PENDING"
  std::uint32_t controls_accepted = 0;
  std::uint32_t exit_code = 0;
  std::uint32_t check_point = 0;
  std::uint32_t wait_hint = 0;  ///< milliseconds
};

/// Something the tablet did or noticed: power on, a control sent, a process that ended.
struct Happening {
  std::string text;
};

/// A text written to the debugger.
struct DebuggerEvent {
  std::string text;
};

/// A call of the Windows API.
struct CallEvent {
  std::string name;
  std::string args;
  std::string result;
  std::uint32_t last_error = 0;
  std::string subject;  ///< the path or key that the call was given, as it is; empty for calls that do not say
};

struct Event {
  std::uint64_t seq = 0;
  Millis time{0};  ///< virtual, since power-on
  std::string thread;
  std::uint64_t call = 0;  ///< the number of the call, or of the last one before what else happened
  std::variant<TraceEvent, StatusEvent, Happening, DebuggerEvent, CallEvent> what;
};

/// "trace", "status", "event", "debugger" or "call".
std::string_view KindOf(const Event& event);

class Journal {
 public:
  explicit Journal(const Scheduler& scheduler) : scheduler_(scheduler) {}

  void Record(std::variant<TraceEvent, StatusEvent, Happening, DebuggerEvent, CallEvent> what) {
    Record(std::move(what), scheduler_.calls());
  }
  /// The same with the number of a call, which may have waited while others began.
  void Record(std::variant<TraceEvent, StatusEvent, Happening, DebuggerEvent, CallEvent> what, std::uint64_t call);
  void Note(std::string text) { Record(Happening{std::move(text)}); }

  /// Listeners are called with each event as it happens. They must not call the tablet.
  void Listen(std::function<void(const Event&)> listener) { listeners_.push_back(std::move(listener)); }

  /// Calls are recorded on demand only: they are many.
  void WantCalls(bool want) { wants_calls_ = want; }
  bool wants_calls() const { return wants_calls_; }

  const std::vector<Event>& events() const { return events_; }

  /// The texts of all trace messages so far; for tests.
  std::vector<std::string> Messages() const;
  /// The recorded calls of one name so far; for tests.
  std::vector<CallEvent> Calls(std::string_view name) const;
  std::vector<StatusEvent> Statuses() const;
  std::vector<std::string> DebuggerTexts() const;

 private:
  const Scheduler& scheduler_;
  bool wants_calls_ = false;
  std::vector<Event> events_;
  std::vector<std::function<void(const Event&)>> listeners_;
};

}  // namespace tablet
