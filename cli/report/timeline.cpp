#include "cli/report/timeline.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace cli {

namespace {

constexpr std::string_view kEntry = ": (+)";
constexpr std::string_view kExit = ": (-)";

/// Calls that wait whether or not time passes.
bool IsWait(const tablet::CallEvent& call) {
  static constexpr std::array<std::string_view, 4> kNames{"Sleep", "WaitForSingleObject", "WaitForMultipleObjects",
                                                          "StartServiceCtrlDispatcherW"};
  return std::find(kNames.begin(), kNames.end(), call.name) != kNames.end();
}

/// Goes through the journal once; each thread is a track with a stack of open spans.
class Builder {
 public:
  explicit Builder(Timeline& out) : out_(out) { AddTrack("service status"); }

  void Take(const tablet::Event& event) {
    std::size_t const track = TrackOf(event.thread);
    if (const auto* call = std::get_if<tablet::CallEvent>(&event.what)) {
      TakeCall(event, *call, track);
    } else {
      AddStep(event, track);
      if (const auto* message = std::get_if<tablet::TraceEvent>(&event.what)) TakeMessage(*message, track);
      if (const auto* status = std::get_if<tablet::StatusEvent>(&event.what)) TakeStatus(*status);
      if (const auto* happening = std::get_if<tablet::Happening>(&event.what)) TakeHappening(*happening);
    }
    states_[track].seen = event.time;
    states_[track].last_step = out_.steps.empty() ? 0 : out_.steps.size() - 1;
    states_[track].begun = true;
  }

  void Finish() {
    double const end = static_cast<double>(out_.steps.size());
    for (std::size_t track = 0; track < states_.size(); ++track) CloseAll(track, end, track != 0);
    std::stable_sort(out_.spans.begin(), out_.spans.end(),
                     [](const Span& a, const Span& b) { return a.from < b.from || (a.from == b.from && a.to > b.to); });
  }

 private:
  struct State {
    std::vector<std::size_t> open;  ///< indices of spans, the innermost last
    tablet::Millis seen{0};         ///< when the thread was last heard of
    std::size_t last_step = 0;
    bool begun = false;
  };

  std::size_t AddTrack(const std::string& name) {
    out_.tracks.push_back(name);
    states_.emplace_back();
    return states_.size() - 1;
  }

  std::size_t TrackOf(const std::string& thread) {
    auto const found = std::find(out_.tracks.begin() + 1, out_.tracks.end(), thread);
    if (found == out_.tracks.end()) return AddTrack(thread);
    return static_cast<std::size_t>(found - out_.tracks.begin());
  }

  double Here() const { return static_cast<double>(out_.steps.size()) - 1; }

  void AddStep(const tablet::Event& event, std::size_t track) { out_.steps.push_back({&event, track, false}); }

  void Open(Span span) {
    states_[span.track].open.push_back(out_.spans.size());
    out_.spans.push_back(std::move(span));
  }

  void CloseAll(std::size_t track, double at, bool unfinished) {
    for (std::size_t const index : states_[track].open) {
      out_.spans[index].to = at;
      out_.spans[index].open = unfinished;
    }
    states_[track].open.clear();
  }

  /// The journal has calls when they return; time that has passed since the thread's last step passed in this call.
  void TakeCall(const tablet::Event& event, const tablet::CallEvent& call, std::size_t track) {
    const State& state = states_[track];
    bool const time_passed = state.begun && event.time > state.seen;
    if (!time_passed && !IsWait(call)) return;
    double const from = state.begun ? static_cast<double>(state.last_step) + 0.5 : std::max(Here() + 0.5, 0.0);
    AddStep(event, track);
    out_.spans.push_back({.kind = Span::Kind::kWait,
                          .name = call.name,
                          .detail = fmt::format("{}({}) = {}", call.name, call.args, call.result),
                          .track = track,
                          .from = from,
                          .to = Here()});
  }

  void TakeMessage(const tablet::TraceEvent& message, std::size_t track) {
    if (message.text.ends_with(kEntry)) {
      out_.steps.back().is_bound = true;
      Open({.kind = Span::Kind::kFunction,
            .name = message.text.substr(0, message.text.size() - kEntry.size()),
            .detail = {},
            .track = track,
            .from = Here()});
    } else if (message.text.ends_with(kExit)) {
      CloseFunction(message.text.substr(0, message.text.size() - kExit.size()), track);
    }
  }

  /// An exit closes the innermost span of its function, and those still open within it: threads of one name share a
  /// track. An exit without an entry stays a message.
  void CloseFunction(const std::string& name, std::size_t track) {
    std::vector<std::size_t>& open = states_[track].open;
    auto const match =
        std::find_if(open.rbegin(), open.rend(), [&](std::size_t index) { return out_.spans[index].name == name; });
    if (match == open.rend()) return;
    out_.steps.back().is_bound = true;
    std::size_t const position = static_cast<std::size_t>(open.rend() - match) - 1;
    for (std::size_t i = position; i < open.size(); ++i) {
      out_.spans[open[i]].to = Here();
      out_.spans[open[i]].open = i != position;
    }
    open.resize(position);
  }

  void TakeStatus(const tablet::StatusEvent& status) {
    std::vector<std::size_t> const& open = states_[0].open;
    if (!open.empty() && out_.spans[open.back()].name == status.state) return;
    CloseAll(0, Here(), false);
    Open({.kind = Span::Kind::kStatus, .name = status.state, .detail = {}, .track = 0, .from = Here()});
  }

  /// What a process that has ended left open ends with it, and with the power everything.
  void TakeHappening(const tablet::Happening& happening) {
    bool const process_ends = happening.text.starts_with("the service's process ");
    if (!process_ends && !happening.text.starts_with("the power is cut")) return;
    for (std::size_t track = 0; track < states_.size(); ++track) CloseAll(track, Here(), track != 0);
  }

  Timeline& out_;
  std::vector<State> states_;
};

}  // namespace

Timeline Timeline::Of(const std::vector<tablet::Event>& events, tablet::Millis end) {
  Timeline timeline;
  timeline.end = end;
  Builder builder(timeline);
  for (const tablet::Event& event : events) builder.Take(event);
  builder.Finish();
  return timeline;
}

double Timeline::Microseconds(double position) const {
  double const whole = std::floor(position);
  std::size_t const step = static_cast<std::size_t>(whole);
  if (step >= steps.size()) {
    // Behind everything else, also when the last steps lie in the last millisecond.
    double const last = steps.empty() ? 0 : Microseconds(static_cast<double>(steps.size()) - 1);
    return std::max(static_cast<double>(end.count()) * 1000, last + 0.001);
  }
  tablet::Millis const time = steps[step].event->time;
  auto const same = [&](const Step& other) { return other.event->time == time; };
  auto const at = steps.begin() + static_cast<std::ptrdiff_t>(step);
  // Times never go back, so the steps of one millisecond stand together.
  auto const first =
      std::partition_point(steps.begin(), at, [&](const Step& other) { return other.event->time < time; });
  auto const last = std::partition_point(at, steps.end(), same);
  double const within = static_cast<double>(at - first) + (position - whole);
  return static_cast<double>(time.count()) * 1000 + 1000 * within / static_cast<double>(last - first);
}

tablet::Millis Timeline::TimeAt(double position) const {
  std::size_t const step = static_cast<std::size_t>(position);
  return step < steps.size() ? steps[step].event->time : end;
}

std::string_view NameOf(Span::Kind kind) {
  switch (kind) {
    case Span::Kind::kFunction:
      return "function";
    case Span::Kind::kWait:
      return "wait";
    case Span::Kind::kStatus:
      return "status";
  }
  return "span";
}

bool IsFromOutside(const tablet::Event& event) {
  const auto* happening = std::get_if<tablet::Happening>(&event.what);
  return happening != nullptr && event.thread == "machine" && !happening->text.starts_with("note: ");
}

}  // namespace cli
