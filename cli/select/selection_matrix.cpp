#include "cli/select/selection_matrix.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "cli/base/exit_code.h"
#include "cli/base/service_facts.h"
#include "cli/base/table.h"
#include "cli/boot/changes.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

using nlohmann::ordered_json;
using Style = Console::Style;

using service_facts::kServiceKey;
constexpr std::u16string_view kCscMapKey = service_facts::kWideCscMap;
constexpr std::u16string_view kIdMapKey = service_facts::kWideImageIdMap;
constexpr std::u16string_view kArchivesPattern = service_facts::kWideArchives;
constexpr std::u16string_view kImageIdValue = u"ModemImageID";

tablet::FirmwareKey SalesCodeKey() { return {u"SALES_CODE", *tablet::Guid::Parse(service_facts::kSalesCodeVendor)}; }
tablet::FirmwareKey ImageIdKey() { return {u"ModemImageID", *tablet::Guid::Parse(service_facts::kImageIdVendor)}; }

/// The bytes of a code in firmware. An empty one is a byte of 0: a variable without data cannot be read.
std::vector<std::uint8_t> BytesOf(const std::u16string& name) {
  std::string const text = tablet::ToUtf8(name);
  if (text.empty()) return {0};
  return {text.begin(), text.end()};
}

void Forget(tablet::Tablet& machine) {
  machine.firmware().Remove(SalesCodeKey());
  machine.firmware().Remove(ImageIdKey());
  machine.registry().RemoveValue(kServiceKey, kImageIdValue);
}

/// Whether the choice was made by this very entry.
bool IsBy(const Decision& decision, Origin map, const std::u16string& name) {
  const Source* const decider = decision.Decider();
  return decider != nullptr && decider->origin == map && tablet::EqualIgnoringCase(tablet::ToUtf16(decider->key), name);
}

/// What the first place that was asked and gave nothing says.
std::string WhyNot(const Decision& decision, Origin map) {
  for (const Source& source : decision.sources) {
    if (source.origin != map && source.asked && source.error != 0 && source.origin != Origin::kDefault &&
        source.found) {
      return source.remark;
    }
  }
  const Source& asked = decision.sources[static_cast<std::size_t>(map)];
  if (asked.asked) return fmt::format("looked up as \"{}\"", asked.key);
  return "no tablet asks for it";
}

void Complete(MatrixRow& row, const Decision& decision, Origin map, const std::u16string& name,
              const tablet::Drive& drive) {
  row.reachable = IsBy(decision, map, name);
  row.cut = row.reachable && decision.cut;
  row.archive = decision.name;
  row.path = decision.path;
  row.file = FindArchive(drive, decision.path);
  if (!row.reachable) row.remark = "never used: " + WhyNot(decision, map);
}

MatrixRow RowOfCode(const std::filesystem::path& folder, const std::u16string& name, const tablet::Drive& drive) {
  MatrixRow row;
  row.name = tablet::ToUtf8(name);
  Decision const decision = Decide(folder, [&](tablet::Tablet& machine) { BecomeTabletOf(row, machine); });
  Complete(row, decision, Origin::kCscMap, name, drive);
  return row;
}

MatrixRow RowOfId(const std::filesystem::path& folder, const std::u16string& name, const tablet::Drive& drive) {
  MatrixRow row;
  row.origin = Origin::kRegistryId;
  row.name = tablet::ToUtf8(name);
  Decision const by_registry = Decide(folder, [&](tablet::Tablet& machine) { BecomeTabletOf(row, machine); });
  Complete(row, by_registry, Origin::kIdMap, name, drive);
  if (row.reachable) return row;
  row.by_firmware = true;
  Decision const by_firmware = Decide(folder, [&](tablet::Tablet& machine) { BecomeTabletOf(row, machine); });
  row.by_firmware = IsBy(by_firmware, Origin::kIdMap, name);
  if (!row.by_firmware) return row;
  Complete(row, by_firmware, Origin::kIdMap, name, drive);
  row.remark = "by an ID in firmware only";
  return row;
}

std::vector<std::string> Unnamed(const SelectionMatrix& matrix, const tablet::Drive& drive) {
  std::set<std::u16string> named;
  for (const MatrixRow& row : matrix.rows) named.insert(tablet::FoldCase(tablet::ToUtf16(row.archive)));
  std::vector<tablet::FileFacts> files;
  std::vector<std::string> unnamed;
  if (drive.Find(kArchivesPattern, files) != tablet::kSuccess) return unnamed;
  for (const tablet::FileFacts& file : files) {
    bool const folder = (file.attributes & tablet::kAttributeDirectory) != 0;
    if (!folder && !named.contains(tablet::FoldCase(file.name))) unnamed.push_back(tablet::ToUtf8(file.name));
  }
  return unnamed;
}

std::string_view WordOf(Origin origin) {
  if (origin == Origin::kSalesCode) return "sales code";
  return origin == Origin::kRegistryId ? "image ID" : "neither";
}

}  // namespace

void BecomeTabletOf(const MatrixRow& row, tablet::Tablet& machine) {
  Forget(machine);
  std::u16string const name = tablet::ToUtf16(row.name);
  if (row.origin == Origin::kSalesCode) machine.firmware().Put(SalesCodeKey(), BytesOf(name));
  if (row.origin != Origin::kRegistryId) return;
  if (row.by_firmware) {
    machine.firmware().Put(ImageIdKey(), BytesOf(name));
  } else {
    machine.registry().PutText(kServiceKey, kImageIdValue, name);
  }
}

SelectionMatrix MakeMatrix(const std::filesystem::path& folder, const tablet::Drive& drive, const MoreNames& more) {
  tablet::Registry registry;
  tablet::ReadRegistryFolder(folder, registry);
  SelectionMatrix matrix;
  auto const add = [&](MatrixRow (*make)(const std::filesystem::path&, const std::u16string&, const tablet::Drive&),
                       std::u16string_view map, const std::vector<std::string>& names_beside) {
    std::vector<std::u16string> names = registry.ValueNames(map);
    for (const std::string& name : names_beside) {
      std::u16string const wide = tablet::ToUtf16(name);
      bool const known = std::ranges::any_of(names, [&](auto& one) { return tablet::EqualIgnoringCase(one, wide); });
      if (!known) names.push_back(wide);
    }
    for (const std::u16string& name : names) {
      MatrixRow row = make(folder, name, drive);
      if (auto const value = registry.Get(map, name)) row.entry = ShowValue(*value);
      if (row.cut) row.remark = fmt::format("cut to \"{}\": names have 9 characters at most", row.archive);
      matrix.rows.push_back(std::move(row));
    }
  };
  add(RowOfCode, kCscMapKey, more.codes);
  add(RowOfId, kIdMapKey, more.ids);
  MatrixRow rest;
  rest.origin = Origin::kDefault;
  Decision const decision = Decide(folder, Forget);
  rest.archive = decision.name;
  rest.path = decision.path;
  rest.file = FindArchive(drive, decision.path);
  rest.reachable = decision.Decider() != nullptr && decision.Decider()->origin == Origin::kDefault;
  matrix.rows.push_back(std::move(rest));
  matrix.unnamed = Unnamed(matrix, drive);
  return matrix;
}

void Print(Console& console, const std::string& tablet, const SelectionMatrix& matrix) {
  Table table(console);
  table.Row("Tablet", tablet);
  console.Line("");
  console.Line(console.Styled(Style::kStrong, fmt::format("{:<10}  {:<12}  {:<16}  {:<10}  {}", "a tablet's", "is",
                                                          "the map has", "it gets", "which is")));
  for (const MatrixRow& row : matrix.rows) {
    std::string const presence = row.file.present  ? fmt::format("there, {}", HumanBytes(row.file.bytes))
                                 : row.file.folder ? "a folder"
                                                   : "missing";
    std::string line = fmt::format("{:<10}  {:<12}  {:<16}  {:<10}  {}", WordOf(row.origin), row.name, row.entry,
                                   row.archive, presence);
    if (!row.remark.empty()) line += "; " + row.remark;
    Style const style = !row.reachable ? Style::kDim : row.file.present ? Style::kPlain : Style::kBad;
    console.Line(console.Styled(style, line));
  }
  if (matrix.unnamed.empty()) return;
  console.Line("");
  Paragraph(table, "Unused", matrix.unnamed, "", [](const auto& name) { return name + ": nothing leads to it"; });
}

ordered_json ToJson(const std::string& tablet, const SelectionMatrix& matrix) {
  ordered_json rows = ordered_json::array();
  for (const MatrixRow& row : matrix.rows) {
    std::string_view const by = row.origin == Origin::kRegistryId ? "image_id" : IdOf(row.origin);
    ordered_json out{{"by", by}, {"name", nullptr}, {"entry", nullptr}};
    if (row.origin != Origin::kDefault) {
      out["name"] = row.name;
      out["entry"] = row.entry;
    }
    out["archive"] = row.archive;
    out["present"] = row.file.present;
    out["bytes"] = row.file.bytes;
    out["cut"] = row.cut;
    out["reachable"] = row.reachable;
    out["remark"] = row.remark;
    rows.push_back(std::move(out));
  }
  return {
      {"schema", 1}, {"exit_code", kDone}, {"tablet", tablet}, {"matrix", std::move(rows)}, {"unused", matrix.unnamed}};
}

}  // namespace cli
