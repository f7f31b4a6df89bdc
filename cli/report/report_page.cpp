#include "cli/report/report_page.h"

#include <fmt/format.h>

#include <string_view>

#include "cli/output/message_zones.h"
#include "cli/output/story_teller.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

// The page's parts, as bytes; made while building, by cmake/EmbedText.cmake.
constexpr unsigned char kPage[] = {
#include <page.html.inc>
};
constexpr unsigned char kStyle[] = {
#include <style.css.inc>
};
constexpr unsigned char kScript[] = {
#include <page.js.inc>
};

template <std::size_t size>
std::string Text(const unsigned char (&bytes)[size]) {
  return {reinterpret_cast<const char*>(bytes), size};
}

/// Texts as they are in a script element: nothing in them can end it or begin a comment.
std::string Escaped(const std::string& json) {
  std::string text;
  text.reserve(json.size());
  for (char const c : json) {
    switch (c) {
      case '<':
        text += "\\u003c";
        break;
      case '>':
        text += "\\u003e";
        break;
      case '&':
        text += "\\u0026";
        break;
      default:
        text += c;
    }
  }
  return text;
}

void Put(std::string& page, std::string_view mark, const std::string& text) {
  page.replace(page.find(mark), mark.size(), text);
}

struct StepFields {
  ordered_json& out;

  void operator()(const tablet::TraceEvent& message) const {
    out["who"] = message.function + (message.line ? ":" + std::to_string(*message.line) : "");
    out["text"] = TextOnly(message);
    out["zone"] = ZoneOf(message);
    if (IsUsual(message)) out["usual"] = true;
    if (IsFailure(message)) out["failure"] = true;
  }
  void operator()(const tablet::StatusEvent& status) const { out["text"] = Describe(status); }
  void operator()(const tablet::Happening& happening) const { out["text"] = happening.text; }
  void operator()(const tablet::DebuggerEvent& debugger) const {
    out["text"] = debugger.text;
    out["zone"] = "debugger";
  }
  void operator()(const tablet::CallEvent& call) const { out["text"] = call.name + "(" + call.args + ")"; }
};

ordered_json ToJson(const Step& step) {
  const tablet::Event& event = *step.event;
  ordered_json out{{"t", event.time.count()}, {"track", step.track}, {"kind", tablet::KindOf(event)}};
  if (IsFromOutside(event)) out["kind"] = "control";
  if (step.is_bound) out["bound"] = true;
  std::visit(StepFields{out}, event.what);
  return out;
}

ordered_json ToJson(const Span& span) {
  ordered_json out{
      {"kind", NameOf(span.kind)}, {"name", span.name}, {"track", span.track}, {"from", span.from}, {"to", span.to}};
  if (!span.detail.empty()) out["detail"] = span.detail;
  if (span.open) out["open"] = true;
  return out;
}

/// What both pages have.
ordered_json PageData(const ordered_json& summary, const Timeline& timeline) {
  ordered_json steps = ordered_json::array();
  for (const Step& step : timeline.steps) steps.push_back(ToJson(step));
  ordered_json meanings = ordered_json::object();
  for (const Step& step : timeline.steps) {
    const auto* const message = std::get_if<tablet::TraceEvent>(&step.event->what);
    if (message == nullptr || MeaningOf(*message).empty()) continue;
    meanings[fmt::format("{}:{}", message->function, *message->line)] = MeaningOf(*message);
  }
  ordered_json spans = ordered_json::array();
  for (const Span& span : timeline.spans) spans.push_back(ToJson(span));
  return {{"schema", 1},
          {"program", "vantord-tablet " VANTORD_TABLET_VERSION},
          {"summary", summary},
          {"end_ms", timeline.end.count()},
          {"meanings", std::move(meanings)},
          {"tracks", timeline.tracks},
          {"steps", std::move(steps)},
          {"spans", std::move(spans)}};
}

}  // namespace

ordered_json ReportData(const ordered_json& summary, const Decision& decision, const Timeline& timeline,
                        std::uint64_t seed) {
  ordered_json sources = ordered_json::array();
  for (const Source& source : decision.sources) {
    sources.push_back(ToJson(source));
    sources.back()["title"] = TitleOf(source.origin);
  }
  ordered_json data = PageData(summary, timeline);
  data["seed"] = seed;
  data["choice"] = {{"archive", decision.path}, {"why", decision.why}, {"sources", std::move(sources)}};
  return data;
}

ordered_json TraceReportData(const ordered_json& summary, const Findings& findings, const Timeline& timeline,
                             const std::string& start) {
  const ArchiveUse* const archive = findings.ModemArchive();
  ordered_json data = PageData(summary, timeline);
  data["trace"] = {{"start", start}};
  data["choice"] = {{"archive", archive == nullptr ? "" : archive->path},
                    {"why", findings.WhyThisArchive()},
                    {"sources", ordered_json::array()}};
  return data;
}

std::string ReportPage(const ordered_json& data) {
  std::string page = Text(kPage);
  Put(page, "/*style*/", Text(kStyle));
  Put(page, "/*script*/", Text(kScript));
  // The data comes last: a mark in it is a text like any other.
  Put(page, "\"data\"", Escaped(JsonText(data)));
  return page;
}

std::string ReportStyle() { return Text(kStyle); }

}  // namespace cli
