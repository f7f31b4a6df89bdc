#include "cli/explain/explain_output.h"

#include <fmt/format.h>

#include <utility>

#include "cli/base/json_text.h"
#include "cli/base/table.h"
#include "cli/output/findings_output.h"
#include "cli/output/story_teller.h"

namespace cli {

namespace {

using Style = Console::Style;
using nlohmann::ordered_json;

std::string ToastText(const CrashReport& crash) {
  if (!crash.found) return "none was due";
  std::string const attempts = fmt::format("{} failed", Counted(crash.failed_toasts, "attempt"));
  if (crash.toasts.empty()) return "not shown: " + attempts;
  std::string const shown =
      fmt::format("shown in session {} at {} s", crash.toasts.back().session, FormatTime(crash.toasts.back().at));
  return crash.failed_toasts == 0 ? shown : shown + ", after " + attempts;
}

std::string PhaseText(const Phase& phase) {
  if (!phase.to) return fmt::format("{:<16}  {:>9} s  its end is not in the trace", phase.name, "");
  return fmt::format("{:<16}  {:>9} s  from {} s", phase.name, FormatTime(*phase.to - phase.from),
                     FormatTime(phase.from));
}

void PrintExplained(Table& table, const TraceStart& start, bool failures) {
  std::string_view heading = failures ? "Failures" : "Remarks";
  std::string before;
  for (const Explained& one : start.explained()) {
    if (one.failure != failures) continue;
    std::string const times = one.count == 1 ? "" : fmt::format(", {}", Counted(one.count, "time"));
    table.Row(heading,
              fmt::format("{} at {} s{}: {}", WhoOf(one.message), FormatTime(one.first), times, TextOnly(one.message)),
              failures ? Style::kBad : Style::kPlain);
    heading = "";
    if (WhoOf(one.message) == std::exchange(before, WhoOf(one.message))) continue;
    Meaning const meaning = PartsOf(MeaningOf(one.message));
    if (!meaning.meaning.empty()) table.More(fmt::format("  {}", meaning.meaning));
    if (!meaning.cause.empty()) table.More(fmt::format("  Cause: {}", meaning.cause));
    if (!meaning.action.empty()) table.More(fmt::format("  Do: {}", meaning.action));
  }
  if (failures && heading == "Failures") table.Row(heading, "none");
}

std::string GapText(const SequenceGap& gap) {
  std::string const when = gap.stamp.empty() ? "" : fmt::format(", {}", gap.stamp);
  std::string const numbers =
      gap.count() == 1 ? fmt::format("number {}", gap.first) : fmt::format("numbers {} to {}", gap.first, gap.last);
  return gap.after_line == 0 ? numbers : fmt::format("{} after line {}{}", numbers, gap.after_line, when);
}

}  // namespace

std::string Heading(const TraceStart& start) {
  std::string text = fmt::format("Start {}", start.number());
  if (!start.stamp().empty()) text += ": " + start.stamp();
  if (start.process()) text += fmt::format("{}process {:04X}", start.stamp().empty() ? ": " : ", ", *start.process());
  return text;
}

void PrintStart(Console& console, const TraceStart& start) {
  Table table(console);
  console.Line("");
  table.Row("Start", fmt::format("{}, lines {} to {}", start.number(), start.first_line(), start.last_line()));
  PrintFindings(table, start.findings());
  table.Row("Modem", start.crash().ResetText());
  table.Row("Dumps", start.crash().DumpsText());
  table.Row("Toast", ToastText(start.crash()));
  table.Row("Messages", Describe(start.counts()));
  Paragraph(table, "Took", start.phases(), "no part of the start is there as a whole", PhaseText);
  PrintExplained(table, start, true);
  PrintExplained(table, start, false);
  if (start.unexplained() != 0) table.More(fmt::format("and {} more", Counted(start.unexplained(), "message")));
  if (std::vector<std::string> const notes = start.Notes(); !notes.empty()) {
    Paragraph(table, "Notes", notes, "", [](const std::string& text) { return text; });
  }
  std::string const failure = start.Failure();
  table.Row("Service",
            fmt::format("{}; {} s from its first message to its last", start.EndText(), FormatTime(start.length())),
            failure.empty() ? Style::kGood : Style::kBad);
  console.Line("");
}

ordered_json ToJson(const TraceStart& start) {
  ordered_json out{{"number", start.number()},           {"at", OrNull(start.stamp())},
                   {"process", OrNull(start.process())}, {"first_line", start.first_line()},
                   {"last_line", start.last_line()},     {"whole_beginning", start.has_beginning()},
                   {"end", NameOf(start.end())},         {"message", start.EndText()},
                   {"failure", OrNull(start.Failure())}, {"length_ms", start.length().count()}};
  out.update(ToJson(start.findings()));
  out["crash"] = ToJson(start.crash());
  out["crash"].erase("left_behind");  // a trace does not say
  out["messages"] = ToJson(start.counts());
  out["phases"] = ordered_json::array();
  for (const Phase& phase : start.phases()) {
    ordered_json took;
    if (phase.to) took = (*phase.to - phase.from).count();
    out["phases"].push_back({{"name", phase.name}, {"from_ms", phase.from.count()}, {"took_ms", std::move(took)}});
  }
  out["explained"] = ordered_json::array();
  for (const Explained& one : start.explained()) {
    Meaning const meaning = PartsOf(MeaningOf(one.message));
    out["explained"].push_back({{"message", WhoOf(one.message)},
                                {"text", TextOnly(one.message)},
                                {"failure", one.failure},
                                {"count", one.count},
                                {"first_ms", one.first.count()},
                                {"meaning", meaning.meaning},
                                {"cause", meaning.cause},
                                {"action", meaning.action}});
  }
  out["notes"] = start.Notes();
  return out;
}

std::vector<std::string> NotesOf(const TraceReader& reader) {
  const TraceFacts& facts = reader.facts();
  const LineReader& lines = reader.lines();
  const SequenceGaps& gaps = reader.gaps();
  std::vector<std::string> notes;
  if (facts.unformatted != 0) {
    notes.push_back(
        fmt::format("No Format Information found for {}; if some are the service's, give tracefmt the folder "
                    "with the package's .tmf files (-p FOLDER)",
                    Counted(facts.unformatted, "message")));
  }
  if (facts.unreadable != 0) {
    notes.push_back(fmt::format("{} could not be read as part of a trace, the first is line {}",
                                Counted(facts.unreadable, "line"), facts.first_unreadable));
  }
  if (lines.first_in_code_page() != 0) {
    notes.push_back(
        fmt::format("not UTF-8 from line {} on: such lines are read by code page 1252, letters beyond ASCII may "
                    "be wrong",
                    lines.first_in_code_page()));
  }
  if (lines.cut_lines() != 0) {
    notes.push_back(fmt::format("{} longer than {} bytes, the rest was left out",
                                lines.cut_lines() == 1 ? "1 line is" : Counted(lines.cut_lines(), "line") + " are",
                                LineReader::kLongest));
  }
  if (reader.ends_early()) {
    notes.push_back(facts.kind == "trace log"
                        ? "the log ends within a buffer: it may be cut off"
                        : fmt::format("the trace ends within line {}: it may be cut off", lines.number()));
  }
  if (facts.lost_events != 0) {
    notes.push_back(
        fmt::format("{} lost while the session ran: more or larger buffers help (logman -nb, -bs)",
                    facts.lost_events == 1 ? "1 event was" : Counted(facts.lost_events, "event") + " were"));
  }
  if (facts.kind == "trace log") notes.emplace_back("times are UTC");
  if (facts.without_prefix) {
    notes.emplace_back("the messages have no prefix: neither times nor processes are known (leave out -noprefix)");
  }
  if (gaps.lost() != 0) {
    notes.push_back(
        fmt::format("{} missing: messages may be lost",
                    gaps.lost() == 1 ? "1 sequence number is" : Counted(gaps.lost(), "sequence number") + " are"));
  }
  return notes;
}

std::vector<std::string> GapLines(const SequenceGaps& gaps) {
  constexpr std::size_t kShown = 10;
  std::vector<SequenceGap> const all = gaps.All();
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < all.size() && i < kShown; ++i) lines.push_back(GapText(all[i]));
  if (all.size() > kShown) lines.push_back(fmt::format("and {} more", Counted(all.size() - kShown, "gap")));
  return lines;
}

ordered_json ToJson(const SequenceGaps& gaps) {
  ordered_json out = ordered_json::array();
  for (const SequenceGap& gap : gaps.All()) {
    out.push_back(
        {{"first", gap.first}, {"last", gap.last}, {"after_line", gap.after_line}, {"after", OrNull(gap.stamp)}});
  }
  return out;
}

}  // namespace cli
