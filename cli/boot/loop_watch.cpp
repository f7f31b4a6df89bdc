#include "cli/boot/loop_watch.h"

#include <fmt/format.h>

#include <algorithm>

namespace cli {

namespace {

/// A loop has at most so many different calls. Arguments do not count: a key that is opened again has another handle.
/// Whatever works through files gets ever new positions and handles as results.
constexpr std::size_t kMostDifferent = 24;
/// The search for the end of an archive reads up to 65,557 single bytes, which look alike.
constexpr std::uint64_t kEndlessCalls = 200'000;
constexpr std::uint64_t kForgetAfter = 10'000;
constexpr std::size_t kShown = 5;

}  // namespace

std::optional<std::string> LoopWatch::See(const tablet::Event& event) {
  const auto* const call = std::get_if<tablet::CallEvent>(&event.what);
  // Formatting a message is not one of them; the message itself is shown.
  if (call == nullptr || call->name == "_vsnwprintf") return std::nullopt;
  if (event.time != time_ || call->name == "WriteFile") {
    time_ = event.time;
    different_.clear();
    calls_ = 0;
  }
  auto const same = [&](const tablet::CallEvent& other) {
    return other.name == call->name && other.result == call->result;
  };
  if (std::none_of(different_.begin(), different_.end(), same)) {
    if (different_.size() == kMostDifferent) {
      different_.clear();
      calls_ = 0;
    }
    different_.push_back(*call);
  }
  if (++calls_ == kEndlessCalls) return Describe(event);
  // What led to the loop is not part of it.
  if (calls_ % kForgetAfter == 0) different_.clear();
  return std::nullopt;
}

std::string LoopWatch::Describe(const tablet::Event& event) const {
  std::string loop;
  std::size_t shown = 0;
  for (const tablet::CallEvent& call : different_) {
    if (++shown > kShown) continue;
    loop += fmt::format("{}{}({}) = {}", loop.empty() ? "" : ", ", call.name, call.args, call.result);
  }
  if (shown > kShown) loop += fmt::format(" and {} more", shown - kShown);
  return fmt::format("the service polls for ever: {} calls while no time passes; its thread \"{}\" repeats {}", calls_,
                     event.thread, loop);
}

}  // namespace cli
