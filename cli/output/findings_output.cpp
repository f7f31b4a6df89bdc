#include "cli/output/findings_output.h"

#include <fmt/format.h>

#include <array>

#include "cli/base/json_text.h"

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

void PrintDeployment(Table& table, const Deployment& outcome, const ArchiveUse* archive) {
  using State = Deployment::State;
  constexpr std::size_t kShown = 5;
  static constexpr std::array<std::string_view, 3> kWords{"deployed: ", "the deployment FAILED: ", "not deployed: "};
  Style const style = outcome.state == State::kDeployed ? Style::kGood
                      : outcome.state == State::kFailed ? Style::kBad
                                                        : Style::kPlain;
  table.Row("Firmware", std::string(kWords[static_cast<std::size_t>(outcome.state)]) + outcome.reason, style);
  for (const std::string& warning : outcome.warnings) table.More("warning: " + warning, Style::kBad);
  if (outcome.state != State::kFailed || archive == nullptr) return;
  for (std::size_t i = 1; i < archive->failures.size() && i < kShown; ++i) {
    table.More(Describe(archive->failures[i]), Style::kBad);
  }
  if (archive->failures.size() > kShown) table.More(fmt::format("and {} more", archive->failures.size() - kShown));
}

ordered_json ArchiveJson(const Findings& findings) {
  const ArchiveUse* use = findings.ModemArchive();
  if (use == nullptr) return nullptr;
  ordered_json archive{{"path", use->path},
                       {"opened", use->opened},
                       {"why", findings.WhyThisArchive()},
                       {"entries", use->entries},
                       {"failures", ordered_json::array()},
                       {"failed_entries", ordered_json::array()}};
  for (const FailedEntry& entry : use->failures) {
    archive["failures"].push_back(Describe(entry));
    archive["failed_entries"].push_back({{"path", entry.path}, {"code", entry.code}});
  }
  return archive;
}

ordered_json LookUpsJson(const Findings& findings) {
  ordered_json look_ups = ordered_json::array();
  for (const LookUp& look_up : findings.look_ups) {
    bool const registry = look_up.store == LookUp::Store::kRegistry;
    ordered_json entry{{"where", registry ? "registry" : "firmware"}};
    if (registry) entry["key"] = look_up.key;
    entry["name"] = look_up.name;
    entry["found"] = OrNull(look_up.found);
    if (look_up.data) entry["type"] = look_up.data->type;
    look_ups.push_back(std::move(entry));
  }
  return look_ups;
}

}  // namespace

void PrintFindings(Table& table, const Findings& findings) {
  const ArchiveUse* archive = findings.ModemArchive();
  PrintDeployment(table, findings.Outcome(), archive);
  table.Row("Archive", archive == nullptr ? "none" : archive->path);
  if (archive != nullptr) table.More("because " + findings.WhyThisArchive());
  Paragraph(table, "Looked up", findings.look_ups, "nothing that bears on the choice of an archive", FoundText);
}

ordered_json ToJson(const Findings& findings) {
  Deployment const outcome = findings.Outcome();
  return {{"deployed", outcome.deployed()},   {"deployment", NameOf(outcome.state)},
          {"reason", outcome.reason},         {"warnings", outcome.warnings},
          {"archive", ArchiveJson(findings)}, {"looked_up", LookUpsJson(findings)}};
}

std::string Describe(const MessageCounts& counts) {
  return fmt::format("{}, of which {}; {} more in the error zone {} usual", counts.all,
                     Counted(counts.failures, "failure"), counts.usual, counts.usual == 1 ? "is" : "are");
}

ordered_json ToJson(const MessageCounts& counts) {
  return {{"all", counts.all}, {"failures", counts.failures}, {"usual", counts.usual}};
}

}  // namespace cli
