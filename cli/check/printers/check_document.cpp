#include "cli/check/printers/check_text.h"

#include <utility>

#include "cli/base/json_text.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

ordered_json ToJson(const CheckCase& one) {
  bool const named = one.kind == CheckCase::Kind::kCode || one.kind == CheckCase::Kind::kId;
  return {{"by", NameOf(one.kind)},
          {"name", named ? ordered_json(one.row.name) : ordered_json()},
          {"entry", named ? OrNull(one.row.entry) : ordered_json()},
          {"gets", one.row.archive},
          {"archive", OrNull(one.archive)},
          {"result", NameOf(one.result)},
          {"reason", one.reason},
          {"findings", one.findings}};
}

ordered_json ToJson(const CheckedArchive& archive) {
  const TrialResult& trial = archive.trial;
  ordered_json verdict;
  ordered_json bytes;
  if (trial.lint.is_object()) verdict = trial.lint["verdict"];
  if (archive.present) bytes = archive.bytes;
  return {{"path", archive.path},           {"file", archive.file},           {"bytes", std::move(bytes)},
          {"equal", archive.equal},         {"verdict", std::move(verdict)},  {"end", trial.end},
          {"deployment", trial.deployment}, {"written_bytes", trial.written}, {"free_bytes", OrNull(trial.free_bytes)},
          {"second_start", trial.again},    {"findings", archive.findings}};
}

ordered_json ToJson(const TabletCheck& check) {
  ordered_json cases = ordered_json::array();
  for (const CheckCase& one : check.cases) cases.push_back(ToJson(one));
  ordered_json archives = ordered_json::array();
  for (const CheckedArchive& archive : check.archives) archives.push_back(ToJson(archive));
  ordered_json findings = ordered_json::array();
  for (const CheckFinding& finding : check.findings) findings.push_back(cli::ToJson(finding));
  return {{"folder", check.folder},
          {"name", check.name},
          {"result", !check.well_formed ? "bad input"
                     : check.well()     ? "well"
                                        : "fails"},
          {"policy", OrNull(check.policy)},
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
