#include "cli/check/printers/check_text.h"

#include <utility>

namespace cli {

namespace {

using nlohmann::ordered_json;

ordered_json ToJson(const CheckCase& one) {
  ordered_json name;
  ordered_json entry;
  ordered_json archive;
  if (one.kind == CheckCase::Kind::kCode || one.kind == CheckCase::Kind::kId) {
    name = one.row.name;
    if (!one.row.entry.empty()) entry = one.row.entry;
  }
  if (one.archive) archive = *one.archive;
  return {{"by", NameOf(one.kind)},  {"name", std::move(name)},       {"entry", std::move(entry)},
          {"gets", one.row.archive}, {"archive", std::move(archive)}, {"result", NameOf(one.result)},
          {"reason", one.reason},    {"findings", one.findings}};
}

ordered_json ToJson(const CheckedArchive& archive) {
  const TrialResult& trial = archive.trial;
  ordered_json verdict;
  ordered_json free_bytes;
  ordered_json bytes;
  if (trial.lint.is_object()) verdict = trial.lint["verdict"];
  if (trial.free_bytes) free_bytes = *trial.free_bytes;
  if (archive.present) bytes = archive.bytes;
  return {{"path", archive.path},           {"file", archive.file},           {"bytes", std::move(bytes)},
          {"equal", archive.equal},         {"verdict", std::move(verdict)},  {"end", trial.end},
          {"deployment", trial.deployment}, {"written_bytes", trial.written}, {"free_bytes", std::move(free_bytes)},
          {"second_start", trial.again},    {"findings", archive.findings}};
}

ordered_json ToJson(const TabletCheck& check) {
  ordered_json cases = ordered_json::array();
  for (const CheckCase& one : check.cases) cases.push_back(ToJson(one));
  ordered_json archives = ordered_json::array();
  for (const CheckedArchive& archive : check.archives) archives.push_back(ToJson(archive));
  ordered_json findings = ordered_json::array();
  for (const CheckFinding& finding : check.findings) findings.push_back(cli::ToJson(finding));
  ordered_json policy;
  if (!check.policy.empty()) policy = check.policy;
  return {{"folder", check.folder},
          {"name", check.name},
          {"result", !check.well_formed ? "bad input"
                     : check.well()     ? "well"
                                        : "fails"},
          {"policy", std::move(policy)},
          {"cases", std::move(cases)},
          {"archives", std::move(archives)},
          {"findings", std::move(findings)},
          {"stops",
           {{"archives", check.stops.archives},
            {"power_cuts", check.stops.cuts},
            {"schedules", check.stops.schedules},
            {"all", check.stops.all}}}};
}

}  // namespace

ordered_json DocumentOf(const std::vector<TabletCheck>& checks, int exit_code) {
  ordered_json tablets = ordered_json::array();
  for (const TabletCheck& check : checks) tablets.push_back(ToJson(check));
  return {{"schema", 1}, {"exit_code", exit_code}, {"tablets", std::move(tablets)}};
}

}  // namespace cli
