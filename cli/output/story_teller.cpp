#include "cli/output/story_teller.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "cli/boot/call_text.h"

namespace cli {

namespace {

/// Messages that come in turns, as the polling of a missing device has them, count as repeated within this many.
constexpr std::size_t kRound = 3;

bool IsLeftOut(const tablet::TraceEvent& message) {
  if (message.text.ends_with(": (+)") || message.text.ends_with(": (-)")) return true;
  if (message.function == "TUnzip::Unzip" || message.function == "lufopen") return true;
  return message.function == "CImageSelector::UnzipBinary" && message.text.ends_with("Unzipping status 0");
}

}  // namespace

std::string TextOnly(const tablet::TraceEvent& message) {
  std::string const prefix = message.function + (message.line ? fmt::format(":{} : ", *message.line) : ": ");
  std::string text = message.text.starts_with(prefix) ? message.text.substr(prefix.size()) : message.text;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  std::string shown;
  for (char const c : text) {
    if (static_cast<unsigned char>(c) < 0x20) {
      shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
    } else {
      shown += c;
    }
  }
  return shown;
}

std::string DescribeControls(std::uint32_t accepted) {
  static constexpr std::array<std::pair<std::uint32_t, std::string_view>, 9> kNames{{{0x1, "stop"},
                                                                                     {0x2, "pause and continue"},
                                                                                     {0x4, "shutdown"},
                                                                                     {0x8, "parameter change"},
                                                                                     {0x10, "network bindings"},
                                                                                     {0x20, "hardware profile"},
                                                                                     {0x40, "power event"},
                                                                                     {0x80, "session change"},
                                                                                     {0x100, "preshutdown"}}};
  std::string text;
  for (auto const& [bit, name] : kNames) {
    if ((accepted & bit) != 0) text += fmt::format("{}{}", text.empty() ? "" : ", ", name);
  }
  return text.empty() ? fmt::format("{:#x}", accepted) : text;
}

std::string FormatTime(tablet::Millis time) { return fmt::format("{:.3f}", static_cast<double>(time.count()) / 1000); }

std::string Format(const StoryLine& line) {
  constexpr std::size_t kWho = 40;
  if (line.kind.empty()) return fmt::format("{:>19}  {}", "", line.text);
  std::string const start = fmt::format("{:>9}  {:<8}", FormatTime(line.time), line.kind);
  if (line.who.empty()) return fmt::format("{}  {}", start, line.text);
  return fmt::format("{}  {:<{}}  {}", start, line.who, kWho, line.text);
}

std::string Describe(const tablet::StatusEvent& status) {
  std::string text = status.state;
  if (status.exit_code != 0) text += ", exit code " + NumberAndName(status.exit_code);
  if (status.check_point != 0) text += fmt::format(", check point {}", status.check_point);
  if (status.controls_accepted != 0) text += fmt::format(", accepts {}", DescribeControls(status.controls_accepted));
  if (status.wait_hint != 0) text += fmt::format(", wait hint {} ms", status.wait_hint);
  return text;
}

void StoryTeller::Tell(const tablet::Event& event) {
  StoryLine line{.time = event.time, .kind = std::string(tablet::KindOf(event)), .who = {}, .text = {}};
  if (const auto* message = std::get_if<tablet::TraceEvent>(&event.what)) {
    line.kind = "message";
    line.who = message->function + (message->line ? fmt::format(":{}", *message->line) : "");
    line.text = TextOnly(*message);
    if (detail_ != Detail::kEverything && IsHeldBack(*message, line)) return;
  } else if (const auto* status = std::get_if<tablet::StatusEvent>(&event.what)) {
    line.text = Describe(*status);
  } else if (const auto* happening = std::get_if<tablet::Happening>(&event.what)) {
    line.text = happening->text;
  } else if (const auto* debugger = std::get_if<tablet::DebuggerEvent>(&event.what)) {
    if (detail_ != Detail::kEverything) return;
    line.text = debugger->text;
    while (!line.text.empty() && (line.text.back() == '\n' || line.text.back() == '\r')) line.text.pop_back();
  } else {
    return;  // calls are for the event file
  }
  Offer(std::move(line));
}

/// What is printed of an entry depends on its status, which comes last.
bool StoryTeller::IsHeldBack(const tablet::TraceEvent& message, const StoryLine& line) {
  constexpr std::size_t kMostHeld = 50;
  bool const left_out = IsLeftOut(message);
  bool const of_extraction = message.function == "TUnzip::Unzip";
  bool const status = message.function == "CImageSelector::UnzipBinary" && line.text.starts_with("Unzipping status");
  if (detail_ == Detail::kFailures && of_extraction && message.line && of_entry_.size() < kMostHeld) {
    of_entry_.push_back(line);
  }
  if (status) {
    std::vector<StoryLine> const held = std::exchange(of_entry_, {});
    if (!left_out) {
      for (const StoryLine& one : held) Offer(one);
    }
  }
  return left_out;
}

void StoryTeller::Offer(StoryLine line) {
  if (detail_ != Detail::kEverything && line.kind == "message") {
    std::string key = line.who + '\n' + line.text;
    if (std::find(recent_.begin(), recent_.end(), key) != recent_.end()) {
      ++repeated_;
      last_repeat_ = line.time;
      return;
    }
    Flush();
    recent_.push_back(std::move(key));
    if (recent_.size() > kRound) recent_.pop_front();
  } else {
    Flush();
    recent_.clear();
  }
  out_(line);
}

void StoryTeller::Flush() {
  if (repeated_ == 0) return;
  std::size_t const count = std::exchange(repeated_, 0);
  recent_.clear();
  out_({.time = last_repeat_,
        .kind = {},
        .who = {},
        .text = fmt::format("... and {} more like {}, the last at {} s", count, count == 1 ? "it" : "these",
                            FormatTime(last_repeat_))});
}

}  // namespace cli
