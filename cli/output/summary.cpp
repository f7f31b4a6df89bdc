#include "cli/output/summary.h"

#include <fmt/format.h>

#include <vector>

#include "cli/base/table.h"
#include "cli/output/crash_report.h"
#include "cli/output/story_teller.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

using Style = Console::Style;
using nlohmann::ordered_json;

/// What was found, where: in columns, with the ends of long keys.
std::string FoundText(const LookUp& look_up) {
  std::string place = "in firmware";
  if (look_up.store == LookUp::Store::kRegistry) {
    std::size_t const parent = look_up.key.rfind('\\', look_up.key.rfind('\\') - 1);
    place = "in ..." + (parent == std::string::npos ? "\\" + look_up.key : look_up.key.substr(parent));
  }
  return fmt::format("{:<16}  {:<38}  {}", look_up.name, look_up.found.value_or("is not set"), place);
}

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
  Deployment const outcome = seen.Outcome();
  Changes const changes = ChangesOf(run);
  const ArchiveUse* archive = seen.ModemArchive();
  Table table(console);
  console.Line("");
  table.Row("Tablet", summary.tablet);
  if (!summary.faults.empty()) Paragraph(table, "Faults", summary.faults, "", FaultText);
  if (summary.asked_cut != 0) table.Row("Power", PowerText(summary, run.machine().scheduler().calls()));
  table.Row("Firmware", (outcome.deployed ? "deployed: " : "not deployed: ") + outcome.reason,
            outcome.deployed ? Style::kGood : Style::kPlain);
  table.Row("Archive", archive == nullptr ? "none" : archive->path);
  if (archive != nullptr) table.More("because " + seen.WhyThisArchive());
  Paragraph(table, "Looked up", seen.look_ups(), "nothing that bears on the choice of an archive", FoundText);
  CrashReport const crash = CrashReport::Of(run);
  table.Row("Modem", crash.ResetText());
  table.Row("Dumps", crash.DumpsText());
  table.Row("Toast", crash.ToastText());
  table.Row("Files", FilesText(changes));
  Paragraph(table, "Registry", Describe(changes.registry), "unchanged", [](const auto& line) { return line; });
  Paragraph(table, "Variables", changes.firmware, "unchanged", [](const auto& change) { return Describe(change); });
  Paragraph(table, "Status", StatusEvents(run), "never reported", [](const tablet::Event* event) {
    const auto& status = std::get<tablet::StatusEvent>(event->what);
    return fmt::format("{:>9}  {}{}", FormatTime(event->time), status.state,
                       status.exit_code == 0 ? "" : fmt::format(", exit code {}", status.exit_code));
  });
  table.Row("Service", summary.end.message, summary.exit_code == 0 ? Style::kGood : Style::kBad);
  table.Row("Time", fmt::format("{} s on the tablet, {:.2f} s here", FormatTime(run.machine().scheduler().Now()),
                                summary.real_seconds));
  table.Row("Kept", summary.kept.empty() ? "nothing: the tablet is as it was (--save OUT keeps what the run made of it)"
                                         : summary.kept);
}

ordered_json SummaryJson(const Summary& summary, TabletRun& run, const Observer& seen) {
  Deployment const outcome = seen.Outcome();
  ordered_json archive;
  if (const ArchiveUse* use = seen.ModemArchive()) {
    archive = {{"path", use->path},
               {"opened", use->opened},
               {"why", seen.WhyThisArchive()},
               {"entries", use->entries},
               {"failures", use->failures}};
  }
  ordered_json look_ups = ordered_json::array();
  for (const LookUp& look_up : seen.look_ups()) {
    bool const registry = look_up.store == LookUp::Store::kRegistry;
    ordered_json entry{{"where", registry ? "registry" : "firmware"}};
    if (registry) entry["key"] = look_up.key;
    entry["name"] = look_up.name;
    entry["found"] = nullptr;
    if (look_up.found) entry["found"] = *look_up.found;
    look_ups.push_back(std::move(entry));
  }
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
  if (summary.cut) cut = {{"call", summary.asked_cut}, {"time_ms", summary.cut->at.count()}};
  ordered_json kept;
  if (!summary.kept.empty()) kept = summary.kept;
  return {{"schema", 1},
          {"tablet", summary.tablet},
          {"end", NameOf(summary.end.kind)},
          {"message", summary.end.message},
          {"exit_code", summary.exit_code},
          {"deployed", outcome.deployed},
          {"reason", outcome.reason},
          {"archive", std::move(archive)},
          {"looked_up", std::move(look_ups)},
          {"crash", ToJson(CrashReport::Of(run))},
          {"changes", ToJson(ChangesOf(run))},
          {"status", std::move(statuses)},
          {"faults", FaultsJson(summary)},
          {"power_cut", std::move(cut)},
          {"calls", run.machine().scheduler().calls()},
          {"virtual_ms", run.machine().scheduler().Now().count()},
          {"kept", std::move(kept)}};
}

}  // namespace cli
