// The journal as a story that people read: what matters, in plain lines. Entry and exit messages and the messages of
// each extracted file are left out, repeated messages are counted.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <string>

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
  /// `everything`: nothing is left out or counted together.
  StoryTeller(std::function<void(const StoryLine&)> out, bool everything)
      : out_(std::move(out)), everything_(everything) {}

  void Tell(const tablet::Event& event);
  /// Tells what is still held back. Call at the end and before anything else is shown.
  void Flush();

 private:
  void Offer(StoryLine line);

  std::function<void(const StoryLine&)> out_;
  bool everything_;
  std::deque<std::string> recent_;  ///< the messages last told
  std::size_t repeated_ = 0;
  tablet::Millis last_repeat_{0};
};

/// "   12.345  message  CModemQC::Init:24   text": the columns that console and transcripts share.
std::string Format(const StoryLine& line);
/// A message's text behind "function:line : ", which has columns of its own; control characters as \x0a.
std::string TextOnly(const tablet::TraceEvent& message);
/// The state, and what else of a report is not zero.
std::string Describe(const tablet::StatusEvent& status);
/// Seconds with milliseconds.
std::string FormatTime(tablet::Millis time);

/// "0x141: stop, power event, preshutdown"
std::string DescribeControls(std::uint32_t accepted);

}  // namespace cli
