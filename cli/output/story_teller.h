// The journal as a story that people read: what matters, in plain lines. Entry and exit messages and the messages of
// each extracted file are left out, repeated messages are counted.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "sim/tablet/kernel/journal.h"

namespace cli {

struct StoryLine {
  tablet::Millis time{0};
  std::string kind;  ///< "status", "message", "event", "debugger", "call" or "" for a remark
  std::string who;   ///< of messages: "CModemQC::Init:24"
  std::string text;
};

class StoryTeller {
 public:
  enum class Detail {
    kRecord,      ///< what transcripts hold
    kFailures,    ///< and the messages of each entry that fails
    kEverything,  ///< nothing is left out or counted together
  };
  StoryTeller(std::function<void(const StoryLine&)> out, Detail detail) : out_(std::move(out)), detail_(detail) {}

  void Tell(const tablet::Event& event);
  /// Prints what is still held back. Call at the end and before anything else is shown.
  void Flush();

 private:
  void Offer(StoryLine line);
  bool IsHeldBack(const tablet::TraceEvent& message, const StoryLine& line);

  std::function<void(const StoryLine&)> out_;
  Detail detail_;
  std::vector<StoryLine> of_entry_;  ///< left out so far: messages of the entry that is being extracted
  std::deque<std::string> recent_;   ///< the messages last printed
  std::size_t repeated_ = 0;
  tablet::Millis last_repeat_{0};
};

/// "   12.345  message  CModemQC::Init:24   text": the columns that console and transcripts share.
std::string Format(const StoryLine& line);
/// A message's text after "function:line : ", which has columns of its own; control characters as \x0a.
std::string TextOnly(const tablet::TraceEvent& message);
/// The state, and what else of a report is not zero.
std::string Describe(const tablet::StatusEvent& status);
/// Seconds with milliseconds.
std::string FormatTime(tablet::Millis time);

/// "0x141: stop, power event, preshutdown"
std::string DescribeControls(std::uint32_t accepted);

}  // namespace cli
