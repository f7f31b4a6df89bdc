#include "cli/check/printers/check_text.h"

#include <fmt/format.h>

#include <map>
#include <string>
#include <utility>

namespace cli {

namespace {

using nlohmann::ordered_json;

/// A path as a URI reference: everything but what a URI may hold as it is becomes %XX.
std::string UriOf(const std::string& path) {
  std::string uri;
  for (char const c : path) {
    bool const plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       std::string_view("-._~/").find(c) != std::string_view::npos;
    uri += plain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return path.starts_with('/') ? "file://" + uri : uri;
}

ordered_json LocationOf(const FindingPlace& place) {
  ordered_json physical{{"artifactLocation", {{"uri", UriOf(place.file)}}}};
  if (place.line != 0) physical["region"] = {{"startLine", place.line}};
  ordered_json location{{"physicalLocation", std::move(physical)}};
  if (!place.entry.empty()) {
    location["logicalLocations"] = ordered_json::array({{{"name", place.entry}, {"kind", "member"}}});
  }
  return location;
}

ordered_json ResultOf(const CheckFinding& finding, std::size_t rule) {
  ordered_json result{{"ruleId", finding.id},
                      {"ruleIndex", rule},
                      {"level", NameOf(finding.severity())},
                      {"message", {{"text", fmt::format("{}; {}", finding.text, finding.next)}}},
                      {"locations", ordered_json::array({LocationOf(finding.place)})}};
  if (finding.allowed) {
    result["suppressions"] = ordered_json::array({{{"kind", "external"}, {"justification", *finding.allowed}}});
  }
  return result;
}

}  // namespace

ordered_json SarifOf(const std::vector<TabletCheck>& checks) {
  ordered_json rules = ordered_json::array();
  std::map<std::string_view, std::size_t> indexes;
  for (const CheckRule& rule : CheckRules()) {
    indexes[rule.id] = rules.size();
    rules.push_back({{"id", rule.id},
                     {"shortDescription", {{"text", rule.about}}},
                     {"defaultConfiguration", {{"level", NameOf(rule.severity)}}}});
  }
  ordered_json results = ordered_json::array();
  for (const TabletCheck& check : checks) {
    for (const CheckFinding& finding : check.findings) results.push_back(ResultOf(finding, indexes[finding.id]));
  }
  ordered_json driver{{"name", "vantord-tablet"}, {"version", VANTORD_TABLET_VERSION}, {"rules", std::move(rules)}};
  ordered_json run{
      {"tool", {{"driver", std::move(driver)}}}, {"columnKind", "utf16CodeUnits"}, {"results", std::move(results)}};
  return {{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
          {"version", "2.1.0"},
          {"runs", ordered_json::array({std::move(run)})}};
}

}  // namespace cli
