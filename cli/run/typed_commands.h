// What is typed while a run takes real time: each line lets something happen to the tablet, in the words of the
// timeline and of stories.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/machine/timeline.h"

namespace cli {

/// The meaning of a typed line: an event, or a reply to the user; neither for an empty line.
struct Typed {
  std::optional<tablet::TimelineEvent> event;
  std::string answer;
};
Typed Interpret(std::string_view line);

/// Lines from a terminal or a pipe.
class TypedCommands {
 public:
  /// `descriptor` is not owned.
  explicit TypedCommands(int descriptor) : descriptor_(descriptor) {}

  /// The whole lines that have arrived since; does not wait for more.
  std::vector<std::string> Take();
  /// Nothing more can come.
  bool ended() const { return ended_; }

 private:
  int descriptor_;
  bool ended_ = false;
  std::string begun_;  ///< a line whose end has not arrived
};

}  // namespace cli
