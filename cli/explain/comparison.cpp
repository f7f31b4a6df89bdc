#include "cli/explain/comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "cli/base/json_text.h"
#include "cli/base/table.h"
#include "cli/explain/message_findings.h"
#include "cli/explain/trace_start.h"
#include "cli/output/story_teller.h"

namespace cli {

namespace {

using nlohmann::ordered_json;
using Style = Console::Style;

/// The threads that do the start's work, by their first message; the others handle controls, whose time is not fixed.
struct Strand {
  std::string_view part;
  std::string_view first;  ///< the function of the thread's first message
  int number;              ///< of that message; 0: any
  std::string_view last;   ///< the function of the last message that belongs to the start; empty: all do
};
constexpr std::array<Strand, 3> kStrands{{{"start", "CVantord::OnStart", 62, "CServiceBase::SetServiceStatus"},
                                          {"firmware", "CVantord::ServiceWorkerThread", 104, ""},
                                          {"modem reset", "IsDefaultSetupState", 0, ""}}};

std::string Show(const tablet::TraceEvent& message) {
  return message.line ? fmt::format("{}  {}", WhoOf(message), TextOnly(message)) : message.text;
}

/// The indices of a strand's messages, in order; empty where no thread begins with its first one.
std::vector<std::size_t> MessagesOf(const Strand& strand, const std::vector<tablet::Event>& events) {
  std::vector<std::size_t> indices;
  std::string thread;
  for (std::size_t i = 0; i < events.size(); ++i) {
    const auto* const message = std::get_if<tablet::TraceEvent>(&events[i].what);
    if (message == nullptr || (!indices.empty() && events[i].thread != thread)) continue;
    if (indices.empty()) {
      bool const first = message->function == strand.first && (strand.number == 0 || message->line == strand.number);
      if (!first) continue;
      thread = events[i].thread;
    }
    indices.push_back(i);
    if (message->function == strand.last) break;
  }
  return indices;
}

/// Of a message whose text is another one in each build of the service.
bool IsBuildStamp(const tablet::TraceEvent& message) {
  return message.function == "CVantord::OnStart" && message.line == 62;
}

const tablet::TraceEvent& MessageAt(const std::vector<tablet::Event>& events, std::size_t index) {
  return std::get<tablet::TraceEvent>(events[index].what);
}

void CompareStrand(const Strand& strand, const std::vector<tablet::Event>& device,
                   const std::vector<tablet::Event>& simulation, Comparison& out) {
  std::vector<std::size_t> const mine = MessagesOf(strand, device);
  std::vector<std::size_t> const theirs = MessagesOf(strand, simulation);
  if (mine.empty() && theirs.empty()) return;
  std::size_t at = 0;
  for (; at < mine.size() && at < theirs.size(); ++at) {
    const tablet::TraceEvent& left = MessageAt(device, mine[at]);
    const tablet::TraceEvent& right = MessageAt(simulation, theirs[at]);
    if (WhoOf(left) != WhoOf(right)) break;
    ++out.compared;
    if (TextOnly(left) == TextOnly(right) || IsBuildStamp(left)) continue;
    out.texts.push_back({mine[at], WhoOf(left), TextOnly(left), TextOnly(right)});
  }
  if (at == mine.size() && at == theirs.size()) return;
  Parting parting{.part = strand.part, .mine = std::nullopt, .time = {}, .device = {}, .simulation = {}};
  if (at < mine.size()) {
    parting.mine = mine[at];
    parting.device = Show(MessageAt(device, mine[at]));
  }
  if (!mine.empty()) parting.time = device[mine[std::min(at, mine.size() - 1)]].time;
  if (at < theirs.size()) parting.simulation = Show(MessageAt(simulation, theirs[at]));
  out.partings.push_back(std::move(parting));
}

Findings FindingsOf(const std::vector<tablet::Event>& events) {
  MessageFindings findings;
  for (const tablet::Event& event : events) {
    if (const auto* message = std::get_if<tablet::TraceEvent>(&event.what)) findings.Take(*message);
  }
  return findings.findings();
}

const LookUp* Same(const std::vector<LookUp>& look_ups, const LookUp& wanted) {
  auto const found = std::ranges::find_if(look_ups, [&](const LookUp& one) {
    return one.store == wanted.store && one.key == wanted.key && one.name == wanted.name;
  });
  return found == look_ups.end() ? nullptr : &*found;
}

std::string AnswerOf(const LookUp* look_up) {
  return look_up == nullptr ? "not looked up" : look_up->found.value_or("not set");
}

void CompareAnswers(const std::vector<LookUp>& device, const std::vector<LookUp>& simulation, Comparison& out) {
  auto const add = [&](const LookUp& place, const LookUp* mine, const LookUp* theirs) {
    bool const firmware = place.store == LookUp::Store::kFirmware;
    if (AnswerOf(mine) == AnswerOf(theirs)) return;
    out.answers.push_back({place.name, firmware ? "firmware" : place.key, AnswerOf(mine), AnswerOf(theirs)});
  };
  for (const LookUp& one : device) add(one, &one, Same(simulation, one));
  for (const LookUp& one : simulation) {
    if (Same(device, one) == nullptr) add(one, nullptr, &one);
  }
}

std::string OrNoMore(const std::string& message) { return message.empty() ? "no more messages" : message; }

std::string PlaceOf(const std::optional<std::size_t>& mine, const std::vector<std::uint64_t>& lines) {
  return mine ? fmt::format(", line {}", lines[*mine]) : "";
}

}  // namespace

Comparison Compare(const std::vector<tablet::Event>& device, const std::vector<tablet::Event>& simulation) {
  Comparison out;
  for (const Strand& strand : kStrands) CompareStrand(strand, device, simulation, out);
  // A thread that has no more messages may have been cut off with the trace, and comes last.
  std::ranges::stable_sort(out.partings, {}, [&](const Parting& one) { return one.mine.value_or(device.size()); });
  std::ranges::stable_sort(out.texts, {}, &OtherText::mine);
  CompareAnswers(FindingsOf(device).look_ups, FindingsOf(simulation).look_ups, out);
  return out;
}

void PrintComparison(Console& console, const Comparison& comparison, const std::string& tablet,
                     const std::vector<std::uint64_t>& lines) {
  Table table(console);
  table.Row("Compared", fmt::format("with the simulated {}: {} alike", tablet, Counted(comparison.compared, "message")),
            comparison.differs() ? Style::kBad : Style::kGood);
  std::string_view heading = "Parted";
  for (const Parting& parting : comparison.partings) {
    table.Row(heading,
              fmt::format("{} at {} s{}", parting.part, FormatTime(parting.time), PlaceOf(parting.mine, lines)),
              Style::kBad);
    table.More("  device:      " + OrNoMore(parting.device));
    table.More("  simulation:  " + OrNoMore(parting.simulation));
    heading = "";
  }
  if (comparison.partings.empty()) table.Row(heading, "nowhere: the device did what the simulation does");
  Paragraph(table, "Data", comparison.answers, "every lookup that the messages show has the same answer",
            [](const OtherAnswer& one) {
              return fmt::format("{:<16}  device: {}; simulation: {}  in {}", one.name, one.device, one.simulation,
                                 one.where);
            });
  if (comparison.texts.empty()) return;
  Paragraph(table, "Texts", comparison.texts, "", [&](const OtherText& one) {
    return fmt::format("{}{}  device: {}; simulation: {}", one.who, PlaceOf(one.mine, lines), one.device,
                       one.simulation);
  });
}

ordered_json ToJson(const Comparison& comparison, const std::string& tablet, const std::vector<std::uint64_t>& lines) {
  ordered_json partings = ordered_json::array();
  for (const Parting& one : comparison.partings) {
    partings.push_back({{"part", one.part},
                        {"time_ms", one.time.count()},
                        {"line", one.mine ? ordered_json(lines[*one.mine]) : ordered_json()},
                        {"device", OrNull(one.device)},
                        {"simulation", OrNull(one.simulation)}});
  }
  ordered_json answers = ordered_json::array();
  for (const OtherAnswer& one : comparison.answers) {
    answers.push_back(
        {{"name", one.name}, {"where", one.where}, {"device", one.device}, {"simulation", one.simulation}});
  }
  ordered_json texts = ordered_json::array();
  for (const OtherText& one : comparison.texts) {
    texts.push_back(
        {{"message", one.who}, {"line", lines[one.mine]}, {"device", one.device}, {"simulation", one.simulation}});
  }
  return {{"tablet", tablet},
          {"compared", comparison.compared},
          {"partings", std::move(partings)},
          {"answers", std::move(answers)},
          {"texts", std::move(texts)}};
}

}  // namespace cli
