// The events of a run as a picture needs them: who was where when. Shared by the trace for Perfetto and the report.
//
// Most of a run happens within single milliseconds of virtual time, so time alone shows too little. Each event that is
// shown is a step, numbered from 0; spans begin and end at steps.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/tablet/kernel/journal.h"

namespace cli {

/// An event that is shown: every one but calls, and of those the ones that waited, as the end of the wait.
struct Step {
  const tablet::Event* event = nullptr;  ///< of the journal; not owned
  std::size_t track = 0;
  /// A message that is the entry to a function or the exit from it: spans show it.
  bool is_bound = false;
};

struct Span {
  enum class Kind { kFunction, kWait, kStatus };
  Kind kind = Kind::kFunction;
  std::string name;    ///< of the function, the call that waits, the state
  std::string detail;  ///< arguments and result of the call; empty otherwise
  std::size_t track = 0;
  /// In steps; halves lie between two steps. A wait begins right after the last step of its thread.
  double from = 0;
  double to = 0;
  bool open = false;  ///< its end was not seen: the run, or the process, ended first
};

struct Timeline {
  std::vector<std::string> tracks;  ///< names: the service's status, then the threads as they appear
  std::vector<Step> steps;
  std::vector<Span> spans;  ///< by begin, outer ones first; those of a track nest
  tablet::Millis end{0};    ///< virtual time at the end of the run

  /// The events must outlive the timeline. `end` is not before the last event.
  static Timeline Of(const std::vector<tablet::Event>& events, tablet::Millis end);

  /// The moment of a step in microseconds since power-on. What happens within one virtual millisecond is laid out in
  /// order over that millisecond. A position after the last step is the end of the run.
  double Microseconds(double position) const;
  /// The virtual time at a position.
  tablet::Millis TimeAt(double position) const;
};

/// The part of a span's kind in documents: "function", "wait" or "status".
std::string_view NameOf(Span::Kind kind);

/// Whether something happened to the service from outside: it was started, "stop control sent". Notes are the tablet's
/// own remarks.
bool IsFromOutside(const tablet::Event& event);

}  // namespace cli
