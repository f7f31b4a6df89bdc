#include "cli/output/summary.h"

#include <fmt/format.h>

#include <vector>

#include "cli/base/json_text.h"
#include "cli/base/table.h"
#include "cli/boot/call_text.h"
#include "cli/output/crash_report.h"
#include "cli/output/findings_output.h"
#include "cli/output/message_zones.h"
#include "cli/output/story_teller.h"
#include "sim/tablet/base/error_names.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

using Style = Console::Style;
using nlohmann::ordered_json;

std::vector<const tablet::Event*> StatusEvents(TabletRun& run) {
  std::vector<const tablet::Event*> events;
  for (const tablet::Event& event : run.machine().journal().events()) {
    if (std::holds_alternative<tablet::StatusEvent>(event.what)) events.push_back(&event);
  }
  return events;
}

std::string FilesText(const Changes& changes) {
  std::string text =
      fmt::format("{} written, {}", Counted(changes.files_written, "file"), HumanBytes(changes.bytes_written));
  if (changes.folders_made != 0) text += fmt::format("; {} made", Counted(changes.folders_made, "folder"));
  if (changes.attributes_changed != 0)
    text += fmt::format("; {} with other attributes", Counted(changes.attributes_changed, "path"));
  return text;
}

std::string RadioText(TabletRun& run) {
  tablet::RadioProxy const& radio = run.machine().radio();
  if (radio.attempts() == 0) return "not asked for";
  return fmt::format("{} to connect, {} sent, {}", Counted(radio.attempts(), "attempt"),
                     Counted(radio.commands(), "command"), radio.releases() == 0 ? "not released" : "released");
}

std::string PartnerText(TabletRun& run) {
  const tablet::Partner& partner = run.machine().partner();
  if (!partner.present()) return "not installed";
  return fmt::format("{}, {} received", tablet::StateName(partner.Status().state),
                     Counted(partner.received().size(), "control"));
}

/// What the tablet noticed that Windows would not have waited for.
std::vector<std::string> Notes(TabletRun& run) {
  constexpr std::string_view kNote = "note: ";
  std::vector<std::string> notes;
  for (const tablet::Event& event : run.machine().journal().events()) {
    const auto* const happening = std::get_if<tablet::Happening>(&event.what);
    if (happening == nullptr || !happening->text.starts_with(kNote)) continue;
    notes.push_back(fmt::format("{} s: {}", FormatTime(event.time), happening->text.substr(kNote.size())));
  }
  return notes;
}

MessageCounts CountMessages(TabletRun& run) {
  MessageCounts counts;
  for (const tablet::Event& event : run.machine().journal().events()) {
    const auto* const message = std::get_if<tablet::TraceEvent>(&event.what);
    if (message != nullptr) counts.Take(*message);
  }
  return counts;
}

ordered_json RadioJson(TabletRun& run) {
  tablet::RadioProxy const& radio = run.machine().radio();
  return {{"attempts", radio.attempts()}, {"commands", radio.commands()}, {"releases", radio.releases()}};
}

ordered_json PartnerJson(TabletRun& run) {
  const tablet::Partner& partner = run.machine().partner();
  ordered_json out{{"present", partner.present()}, {"state", nullptr}, {"controls", ordered_json::array()}};
  if (partner.present()) out["state"] = tablet::StateName(partner.Status().state);
  for (const tablet::Partner::Received& one : partner.received()) {
    out["controls"].push_back({{"time_ms", one.time.count()}, {"control", one.control}});
  }
  return out;
}

std::string FaultText(const tablet::Faults::Counted& counted) {
  std::string const came =
      counted.hits == 0 ? fmt::format("never came: {} was called {}", counted.fault.call, Counted(counted.seen, "time"))
                        : fmt::format("came {}", Counted(counted.hits, "time"));
  return fmt::format("{}  {}", tablet::WriteFault(counted.fault), came);
}

std::string PowerText(const Summary& summary, std::uint64_t calls) {
  if (!summary.cut) return fmt::format("never cut: there were only {}", Counted(calls, "call"));
  return fmt::format("{}, after {} s; the tablet booted again, and what follows is told of both runs together",
                     summary.cut->message, FormatTime(summary.cut->at));
}

ordered_json FaultsJson(const Summary& summary) {
  ordered_json faults = ordered_json::array();
  for (const tablet::Faults::Counted& counted : summary.faults) {
    faults.push_back({{"fault", tablet::WriteFault(counted.fault)},
                      {"call", counted.fault.call},
                      {"error", counted.fault.error},
                      {"seen", counted.seen},
                      {"hits", counted.hits}});
  }
  return faults;
}

}  // namespace

void PrintSummary(Console& console, const Summary& summary, TabletRun& run, const Observer& seen) {
  Changes const changes = ChangesOf(run);
  Table table(console);
  console.Line("");
  table.Row("Tablet", summary.tablet);
  if (!summary.faults.empty()) Paragraph(table, "Faults", summary.faults, "", FaultText);
  if (summary.asked_cut) table.Row("Power", PowerText(summary, run.machine().scheduler().calls()));
  PrintFindings(table, seen.findings());
  CrashReport const crash = CrashReport::Of(run);
  table.Row("Modem", crash.ResetText());
  table.Row("Dumps", crash.DumpsText());
  if (!crash.left.empty()) table.More(crash.LeftText(), Style::kBad);
  table.Row("Toast", crash.ToastText());
  table.Row("Radio", RadioText(run));
  table.Row("Partner", PartnerText(run));
  MessageCounts const messages = CountMessages(run);
  table.Row("Messages", Describe(messages));
  if (std::vector<std::string> const notes = Notes(run); !notes.empty()) {
    Paragraph(table, "Notes", notes, "", [](const std::string& text) { return text; });
  }
  table.Row("Files", FilesText(changes));
  Paragraph(table, "Registry", Describe(changes.registry), "unchanged", [](const auto& line) { return line; });
  Paragraph(table, "Variables", changes.firmware, "unchanged", [](const auto& change) { return Describe(change); });
  Paragraph(table, "Status", StatusEvents(run), "never reported", [](const tablet::Event* event) {
    const auto& status = std::get<tablet::StatusEvent>(event->what);
    return fmt::format("{:>9}  {}{}", FormatTime(event->time), status.state,
                       status.exit_code == 0 ? "" : ", exit code " + NumberAndName(status.exit_code));
  });
  table.Row("Service", summary.end.message, summary.exit_code == 0 ? Style::kGood : Style::kBad);
  table.Row("Time", fmt::format("{} s on the tablet, where only waiting takes time; {:.2f} s here",
                                FormatTime(run.machine().scheduler().Now()), summary.real_seconds));
  table.Row("Kept", summary.kept.empty() ? "nothing: the tablet is as it was (--save OUT keeps what the run made of it)"
                                         : summary.kept);
}

ordered_json SummaryJson(const Summary& summary, TabletRun& run, const Observer& seen) {
  ordered_json statuses = ordered_json::array();
  for (const tablet::Event* event : StatusEvents(run)) {
    const auto& status = std::get<tablet::StatusEvent>(event->what);
    statuses.push_back({{"time_ms", event->time.count()},
                        {"state", status.state},
                        {"controls_accepted", status.controls_accepted},
                        {"exit_code", status.exit_code},
                        {"check_point", status.check_point}});
  }
  ordered_json cut;
  if (summary.cut) cut = {{"call", summary.cut->call}, {"time_ms", summary.cut->at.count()}};
  MessageCounts const messages = CountMessages(run);
  ordered_json document{{"schema", 1},
                        {"tablet", summary.tablet},
                        {"end", NameOf(summary.end.kind)},
                        {"message", summary.end.message},
                        {"exit_code", summary.exit_code},
                        {"service_error", summary.end.error}};
  document.update(ToJson(seen.findings()));
  document.update({{"crash", ToJson(CrashReport::Of(run))},
                   {"changes", ToJson(ChangesOf(run))},
                   {"radio", RadioJson(run)},
                   {"partner", PartnerJson(run)},
                   {"notes", Notes(run)},
                   {"messages", ToJson(messages)},
                   {"status", std::move(statuses)},
                   {"faults", FaultsJson(summary)},
                   {"power_cut", std::move(cut)},
                   {"calls", run.machine().scheduler().calls()},
                   {"virtual_ms", run.machine().scheduler().Now().count()},
                   {"kept", OrNull(summary.kept)}});
  return document;
}

}  // namespace cli
