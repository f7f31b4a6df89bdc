#include "cli/report/chrome_trace.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <tuple>
#include <vector>

#include "cli/output/message_zones.h"
#include "cli/output/story_teller.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

constexpr int kProcess = 1;

/// Threads are numbered from 1: 0 is the idle thread to some readers.
std::size_t ThreadNumber(std::size_t track) { return track + 1; }

ordered_json Metadata(std::string_view name, std::size_t thread, ordered_json arguments) {
  return {{"name", name}, {"ph", "M"}, {"pid", kProcess}, {"tid", thread}, {"args", std::move(arguments)}};
}

/// To the nanosecond, which is as fine as readers go.
double Rounded(double microseconds) { return std::round(microseconds * 1000) / 1000; }

/// The events of a trace by position; of spans that begin at one position the outer ones come first.
class Collector {
 public:
  explicit Collector(const Timeline& timeline) : timeline_(timeline) {}

  void Add(const Span& span) {
    // One event for both ends: readers that pair two differ in what must be equal in them.
    ordered_json event = Common(span.name, NameOf(span.kind), "X", span.from, span.track);
    // A nanosecond short of what may follow on the same track: some readers begin spans before they end others.
    double const length = timeline_.Microseconds(span.to) - event["ts"].get<double>() - 0.001;
    event["dur"] = std::max(Rounded(length), 0.0);
    if (!span.detail.empty()) event["args"]["call"] = span.detail;
    if (span.open) event["args"]["end"] = "not seen";
    items_.push_back({span.from, 0, -span.to, std::move(event)});
  }

  void Add(const Step& step, std::size_t number) {
    if (step.is_bound || std::holds_alternative<tablet::CallEvent>(step.event->what)) return;
    auto const [name, category, arguments] = Describe(*step.event);
    ordered_json event = Common(name, category, "i", static_cast<double>(number), step.track);
    event["s"] = "t";
    event["args"] = arguments;
    items_.push_back({static_cast<double>(number), 1, 0, std::move(event)});
  }

  void MoveTo(ordered_json& events) {
    std::stable_sort(items_.begin(), items_.end(), [](const Item& a, const Item& b) {
      return std::tie(a.position, a.rank, a.within) < std::tie(b.position, b.rank, b.within);
    });
    for (Item& item : items_) events.push_back(std::move(item.event));
  }

 private:
  struct Item {
    double position;
    int rank;
    double within;
    ordered_json event;
  };

  ordered_json Common(std::string_view name, std::string_view category, const char* phase, double position,
                      std::size_t track) const {
    return {{"name", name},    {"cat", category},
            {"ph", phase},     {"ts", Rounded(timeline_.Microseconds(position))},
            {"pid", kProcess}, {"tid", ThreadNumber(track)}};
  }

  static std::tuple<std::string, std::string, ordered_json> Describe(const tablet::Event& event) {
    if (const auto* message = std::get_if<tablet::TraceEvent>(&event.what)) {
      std::string const number = message->line ? ":" + std::to_string(*message->line) : "";
      return {message->function + number, "message", {{"text", TextOnly(*message)}, {"zone", ZoneOf(*message)}}};
    }
    if (const auto* status = std::get_if<tablet::StatusEvent>(&event.what)) {
      return {status->state, "report", {{"exit_code", status->exit_code}, {"check_point", status->check_point}}};
    }
    if (const auto* debugger = std::get_if<tablet::DebuggerEvent>(&event.what)) {
      return {"debugger", "debugger", {{"text", debugger->text}}};
    }
    return {std::get<tablet::Happening>(event.what).text, IsFromOutside(event) ? "control" : "event",
            ordered_json::object()};
  }

  const Timeline& timeline_;
  std::vector<Item> items_;
};

}  // namespace

ordered_json ChromeTrace(const Timeline& timeline, const std::string& tablet, std::string_view clock) {
  ordered_json events = ordered_json::array();
  events.push_back(Metadata("process_name", 0, {{"name", tablet}}));
  for (std::size_t track = 0; track < timeline.tracks.size(); ++track) {
    events.push_back(Metadata("thread_name", ThreadNumber(track), {{"name", timeline.tracks[track]}}));
    events.push_back(Metadata("thread_sort_index", ThreadNumber(track), {{"sort_index", track}}));
  }
  Collector collector(timeline);
  for (const Span& span : timeline.spans) collector.Add(span);
  for (std::size_t i = 0; i < timeline.steps.size(); ++i) collector.Add(timeline.steps[i], i);
  collector.MoveTo(events);
  return {{"traceEvents", std::move(events)},
          {"displayTimeUnit", "ms"},
          {"otherData", {{"schema", 1}, {"tablet", tablet}, {"clock", clock}}}};
}

}  // namespace cli
