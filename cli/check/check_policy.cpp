#include "cli/check/check_policy.h"

#include <fmt/format.h>

#include <array>
#include <limits>

#include "sim/tablet/base/json_section.h"
#include "sim/tablet/base/nearest.h"

namespace cli {

namespace {

using tablet::JsonNode;
using tablet::Section;
using PolicyValues = std::map<std::string, PolicyValue, std::less<>>;

constexpr std::array<std::string_view, 7> kKeys{"schema",   "archives", "allow", "free_bytes", "max_deployment_bytes",
                                                "versions", "$schema"};
constexpr std::array<std::string_view, 3> kArchiveKeys{"codes", "ids", "none"};
constexpr std::array<std::string_view, 3> kAllowKeys{"id", "reason", "place"};

/// The names of an object whose keys are the user's own.
std::vector<std::string_view> NamesOf(const JsonNode& node) {
  std::vector<std::string_view> names;
  for (const JsonNode::Member& member : node.members) names.push_back(member.key);
  return names;
}

PolicyValues ReadValues(const Section& section, std::string_view key) {
  PolicyValues values;
  const JsonNode* const node = section.Find(key, JsonNode::Kind::kObject);
  if (node == nullptr) return values;
  std::vector<std::string_view> const names = NamesOf(*node);
  Section const own(*node, section.file(), section.Full(key), names);
  for (const std::string_view name : names) {
    const JsonNode& value = own.Need(name, JsonNode::Kind::kText);
    if (value.text.empty()) own.Refuse(value, name, "names no archive", "name one, or write \"fail\"");
    values[std::string(name)] = {value.text, value.line};
  }
  return values;
}

void ReadArchives(const Section& whole, CheckPolicy& policy) {
  const JsonNode* const node = whole.Find("archives", JsonNode::Kind::kObject);
  if (node == nullptr) return;
  Section const section(*node, whole.file(), "archives", kArchiveKeys);
  policy.codes = ReadValues(section, "codes");
  policy.ids = ReadValues(section, "ids");
  if (const JsonNode* const none = section.Find("none", JsonNode::Kind::kText))
    policy.none = PolicyValue{none->text, none->line};
}

void CheckId(const Section& section, const JsonNode& id) {
  const CheckRule* const rule = FindCheckRule(id.text);
  if (rule == nullptr) {
    std::vector<std::string_view> names;
    for (const CheckRule& known : CheckRules()) names.push_back(known.id);
    std::string const meant = tablet::DidYouMean(id.text, names);
    section.Refuse(id, "id", fmt::format("there is no finding \"{}\"", id.text),
                   meant.empty() ? "docs/check.md lists all" : meant + " docs/check.md lists all");
  }
  if (rule->severity != Severity::kWarning) {
    section.Refuse(id, "id",
                   fmt::format("\"{}\" is {}", id.text, rule->severity == Severity::kError ? "an error" : "a note"),
                   "only warnings can be allowed");
  }
}

void ReadAllowances(const Section& whole, CheckPolicy& policy) {
  std::vector<const JsonNode*> const list = whole.List("allow", JsonNode::Kind::kObject);
  for (std::size_t i = 0; i < list.size(); ++i) {
    Section const section(*list[i], whole.file(), fmt::format("allow[{}]", i), kAllowKeys);
    const JsonNode& id = section.Need("id", JsonNode::Kind::kText);
    CheckId(section, id);
    const JsonNode& reason = section.Need("reason", JsonNode::Kind::kText);
    if (reason.text.find_first_not_of(" \t\n") == std::string::npos) {
      section.Refuse(reason, "reason", "is empty", "say why the warning may stay");
    }
    const JsonNode* const place = section.Find("place", JsonNode::Kind::kText);
    policy.allowances.push_back({id.text, reason.text, place == nullptr ? "" : place->text, id.line});
  }
}

std::optional<std::uint64_t> ReadBytes(const Section& whole, std::string_view key, int& line) {
  const JsonNode* const node = whole.Find(key, JsonNode::Kind::kInteger);
  if (node == nullptr) return std::nullopt;
  line = node->line;
  return static_cast<std::uint64_t>(whole.Number(key, 0, std::numeric_limits<std::int64_t>::max(), 0));
}

void ReadVersions(const Section& whole, CheckPolicy& policy) {
  const JsonNode* const node = whole.Find("versions", JsonNode::Kind::kObject);
  if (node == nullptr) return;
  std::vector<std::string_view> const archives = NamesOf(*node);
  Section const section(*node, whole.file(), "versions", archives);
  for (const std::string_view archive : archives) {
    for (auto& [file, version] : ReadValues(section, archive)) {
      policy.versions[std::string(archive)].push_back({file, version.text});
    }
  }
}

}  // namespace

CheckPolicy ReadPolicy(const std::filesystem::path& file) {
  JsonNode const tree = tablet::ReadJsonFile(file);
  Section const whole(tree, file.string(), "", kKeys);
  const JsonNode& schema = whole.Need("schema", JsonNode::Kind::kInteger);
  if (schema.integer != 1) whole.Refuse(schema, "schema", "is unknown", "this program reads schema 1");
  CheckPolicy policy;
  policy.file = file.string();
  ReadArchives(whole, policy);
  ReadAllowances(whole, policy);
  policy.free_bytes = ReadBytes(whole, "free_bytes", policy.free_line);
  policy.most_bytes = ReadBytes(whole, "max_deployment_bytes", policy.most_line);
  ReadVersions(whole, policy);
  return policy;
}

}  // namespace cli
