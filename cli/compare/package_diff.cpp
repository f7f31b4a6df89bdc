#include "cli/compare/package_diff.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "cli/archive/lint.h"
#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/table.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

using nlohmann::ordered_json;
using Style = Console::Style;

/// One archive, as lint finds it.
class Package {
 public:
  explicit Package(const std::filesystem::path& file)
      : found_(Lint({.archive = file, .tablet = {}, .with_files = true})) {
    for (const ordered_json& entry : found_["entries"]) entries_[KeyOf(entry)] = &entry;
  }

  /// By the place where an entry lands, in upper case; by its name where it lands nowhere. Of several, the last.
  const std::map<std::u16string, const ordered_json*>& entries() const { return entries_; }
  const ordered_json* Find(const std::u16string& key) const {
    auto const entry = entries_.find(key);
    return entry == entries_.end() ? nullptr : entry->second;
  }
  const ordered_json& found() const { return found_; }
  /// For the document.
  ordered_json Summary() const {
    ordered_json warnings = ordered_json::array();
    for (const ordered_json& warning : found_["warnings"]) warnings.push_back(warning["text"]);
    return {{"archive", found_["archive"]},
            {"verdict", found_["verdict"]},
            {"reason", found_["reason"]},
            {"entries", found_["entries"].size()},
            {"unpacked_bytes", found_["unpacked_bytes"]},
            {"warnings", std::move(warnings)}};
  }

 private:
  static std::u16string KeyOf(const ordered_json& entry) {
    const ordered_json& place = entry["lands"].is_string() ? entry["lands"] : entry["name"];
    return tablet::FoldCase(tablet::ToUtf16(place.get<std::string>()));
  }

  ordered_json found_;
  std::map<std::u16string, const ordered_json*> entries_;
};

/// What of an entry is compared, by its name in the document.
constexpr std::array<std::string_view, 7> kCompared{"folder",  "bytes",      "sum",    "version",
                                                    "written", "attributes", "verdict"};

ordered_json FactsOf(const ordered_json* entry) {
  if (entry == nullptr) return nullptr;
  const ordered_json& file = (*entry)["file"];
  ordered_json facts{{"name", (*entry)["name"]},
                     {"lands", (*entry)["lands"]},
                     {"verdict", (*entry)["verdict"]},
                     {"folder", (*entry)["folder"]},
                     {"bytes", (*entry)["bytes"]}};
  for (const char* const key : {"attributes", "written", "sum", "version"}) {
    facts[key] = file.is_null() ? ordered_json() : file[key];
  }
  return facts;
}

struct EntryChange {
  std::string place;
  ordered_json before;
  ordered_json after;
  std::vector<std::string> what;  ///< of kCompared, where there are both
};

std::vector<EntryChange> Compare(const Package& a, const Package& b) {
  std::set<std::u16string> keys;
  for (const Package* const package : {&a, &b}) {
    for (auto const& [key, entry] : package->entries()) keys.insert(key);
  }
  std::vector<EntryChange> changes;
  for (const std::u16string& key : keys) {
    EntryChange change{.place = {}, .before = FactsOf(a.Find(key)), .after = FactsOf(b.Find(key)), .what = {}};
    const ordered_json& named = change.after.is_null() ? change.before : change.after;
    change.place = named["lands"].is_string() ? named["lands"] : named["name"];
    if (!change.before.is_null() && !change.after.is_null()) {
      for (std::string_view const what : kCompared) {
        if (change.before[what] != change.after[what]) change.what.emplace_back(what);
      }
      if (change.what.empty()) continue;
    }
    changes.push_back(std::move(change));
  }
  return changes;
}

/// The files that an update leaves on a tablet: the service removes nothing.
std::vector<std::string> LeftBehind(const std::vector<EntryChange>& changes) {
  std::vector<std::string> left;
  for (const EntryChange& change : changes) {
    bool const gone = change.after.is_null() || change.after["verdict"] != "accepted";
    bool const was =
        !change.before.is_null() && change.before["verdict"] == "accepted" && change.before["folder"] == false;
    if (gone && was && change.before["lands"].is_string()) left.push_back(change.before["lands"]);
  }
  return left;
}

std::string ValueText(const ordered_json& value) {
  if (value.is_null()) return "none";
  if (value.is_string()) return value.get_ref<const std::string&>().empty() ? "none" : value.get<std::string>();
  return value.dump();
}

std::string Describe(const EntryChange& change) {
  auto const shown = [](const ordered_json& facts) {
    std::string text = facts["folder"].get<bool>() ? "folder" : Counted(facts["bytes"].get<std::uint64_t>(), "byte");
    if (!facts["version"].is_null()) text += ", version " + ValueText(facts["version"]);
    if (facts["verdict"] != "accepted") text += ", " + ValueText(facts["verdict"]);
    return text;
  };
  if (change.before.is_null()) return fmt::format("added    {}: {}", change.place, shown(change.after));
  if (change.after.is_null()) return fmt::format("removed  {}: {}", change.place, shown(change.before));
  std::string text;
  for (const std::string& what : change.what) {
    std::string const name = what == "sum" ? "content" : what == "bytes" ? "size" : what;
    text += fmt::format("{}{} {} -> {}", text.empty() ? "" : ", ", name, ValueText(change.before[what]),
                        ValueText(change.after[what]));
  }
  return fmt::format("changed  {}: {}", change.place, text);
}

std::string Entries(std::size_t count) { return count == 1 ? "1 entry" : fmt::format("{} entries", count); }

void PrintPackage(Table& table, std::string_view heading, const ordered_json& package) {
  bool const deploys = package["verdict"] == "deploys";
  table.Row(heading,
            fmt::format("{}: {}, {} unpacked; {}: {}", ValueText(package["archive"]),
                        Entries(package["entries"].get<std::size_t>()),
                        HumanBytes(package["unpacked_bytes"].get<std::uint64_t>()), ValueText(package["verdict"]),
                        ValueText(package["reason"])),
            deploys ? Style::kPlain : Style::kBad);
  for (const ordered_json& warning : package["warnings"]) table.More("warning: " + ValueText(warning), Style::kBad);
}

}  // namespace

int DiffPackages(const DiffOptions& options, Console& console) {
  Package const a(options.before);
  Package const b(options.after);
  std::vector<EntryChange> const changes = Compare(a, b);
  std::vector<std::string> const left = LeftBehind(changes);
  int const code = changes.empty() ? kDone : kNotAsExpected;
  if (options.json) {
    ordered_json list = ordered_json::array();
    for (const EntryChange& change : changes) {
      list.push_back({{"before", change.before}, {"after", change.after}, {"changed", change.what}});
    }
    PrintJson(console, {{"schema", 1},
                        {"exit_code", code},
                        {"equal", changes.empty()},
                        {"a", a.Summary()},
                        {"b", b.Summary()},
                        {"entries", std::move(list)},
                        {"left_behind", left}});
    return code;
  }
  Table table(console);
  PrintPackage(table, "Before", a.Summary());
  PrintPackage(table, "After", b.Summary());
  Paragraph(table, "Entries", changes, "the same", [](const EntryChange& change) { return Describe(change); });
  Paragraph(table, "Left", left, "nothing: an update leaves no file of the old package behind",
            [](const std::string& path) { return path + " stays on a tablet that had the old package"; });
  return code;
}

}  // namespace cli
