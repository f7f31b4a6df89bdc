#include "cli/compare/diff_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <vector>

#include "cli/base/digest.h"
#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/own_drive.h"
#include "cli/base/table.h"
#include "cli/boot/changes.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

using nlohmann::ordered_json;
using Style = Console::Style;

constexpr std::uint32_t kShown =
    tablet::kAttributeReadOnly | tablet::kAttributeHidden | tablet::kAttributeSystem | tablet::kAttributeArchive;

/// A file or folder of one of the tablets.
struct Item {
  std::u16string path;
  bool folder = false;
  std::uint32_t attributes = 0;  ///< those that are shown
  std::uint64_t bytes = 0;
};

/// A tablet's folder, read.
class State {
 public:
  explicit State(const std::filesystem::path& folder)
      : description_(tablet::ReadTabletFolder(folder)), drive_(folder, description_) {
    tablet::ReadRegistryFolder(folder, registry_);
    firmware_.Load(folder / "efi");
    List(u"C:");
  }
  const std::string& name() const { return description_.name; }
  const tablet::Registry& registry() const { return registry_; }
  const tablet::Firmware& firmware() const { return firmware_; }
  const tablet::Drive& drive() const { return drive_.get(); }
  /// By path in upper case.
  const std::map<std::u16string, Item>& items() const { return items_; }

 private:
  void List(const std::u16string& folder) {
    std::vector<tablet::FileFacts> found;
    if (drive_.get().Find(folder + u"\\*", found) != tablet::kSuccess) return;
    for (const tablet::FileFacts& facts : found) {
      if (facts.name == u"." || facts.name == u"..") continue;
      Item item{folder + u"\\" + facts.name, (facts.attributes & tablet::kAttributeDirectory) != 0,
                facts.attributes & kShown, facts.size};
      if (item.folder) List(item.path);
      items_.emplace(tablet::FoldCase(item.path), std::move(item));
    }
  }

  tablet::Description description_;
  OwnDrive drive_;
  tablet::Registry registry_;
  tablet::Firmware firmware_;
  std::map<std::u16string, Item> items_;
};

/// A path that is not the same on both; null where one has none.
struct FileDifference {
  const Item* before = nullptr;
  const Item* after = nullptr;
  bool kind = false;  ///< a file here, a folder there
  bool content = false;
  bool attributes = false;
  bool letter_case = false;

  bool any() const { return before == nullptr || after == nullptr || kind || content || attributes || letter_case; }
};

FileDifference Compare(const Item* before, const Item* after, const State& a, const State& b) {
  FileDifference difference{before, after};
  if (before == nullptr || after == nullptr) return difference;
  difference.kind = before->folder != after->folder;
  difference.attributes = before->attributes != after->attributes;
  difference.letter_case =
      before->path.substr(before->path.rfind(u'\\')) != after->path.substr(after->path.rfind(u'\\'));
  if (difference.kind || before->folder) return difference;
  difference.content = before->bytes != after->bytes ||
                       Sha256Of(a.drive().HostPath(before->path)) != Sha256Of(b.drive().HostPath(after->path));
  return difference;
}

std::vector<FileDifference> CompareFiles(const State& a, const State& b) {
  std::set<std::u16string> paths;
  for (auto const& [path, item] : a.items()) paths.insert(path);
  for (auto const& [path, item] : b.items()) paths.insert(path);
  std::vector<FileDifference> differences;
  auto const find = [](const State& state, const std::u16string& path) {
    auto const found = state.items().find(path);
    return found == state.items().end() ? nullptr : &found->second;
  };
  for (const std::u16string& path : paths) {
    FileDifference difference = Compare(find(a, path), find(b, path), a, b);
    if (difference.any()) differences.push_back(difference);
  }
  return differences;
}

std::string Show(const Item& item) {
  return fmt::format("{:>10} {:<4}", item.folder ? "folder" : fmt::format("{}", item.bytes),
                     AttributeLetters(item.attributes));
}

std::string Describe(const FileDifference& difference) {
  const Item& named = difference.after != nullptr ? *difference.after : *difference.before;
  std::string const path = tablet::ToUtf8(named.path);
  if (difference.before == nullptr) return fmt::format("only after   {}  {}", Show(named), path);
  if (difference.after == nullptr) return fmt::format("only before  {}  {}", Show(named), path);
  std::string_view const what = difference.kind         ? "other kind"
                                : difference.content    ? "content"
                                : difference.attributes ? "attributes"
                                                        : "letter case";
  return fmt::format("{:<11}  {}  {}, before {}", what, Show(*difference.after), path, Show(*difference.before));
}

/// The lines of a text file; nothing for any other file, and for a large one.
std::optional<std::vector<std::string>> TextLines(const tablet::Drive& drive, const Item& item) {
  constexpr std::uint64_t kLongestText = 1 << 20;
  if (item.bytes > kLongestText) return std::nullopt;
  std::vector<std::uint8_t> const bytes = drive.Contents(item.path);
  std::vector<std::string> lines(1);
  for (std::uint8_t const byte : bytes) {
    if (byte < ' ' && byte != '\n' && byte != '\r' && byte != '\t') return std::nullopt;
    if (byte == '\n') lines.emplace_back();
    if (byte != '\n' && byte != '\r') lines.back() += static_cast<char>(byte);
  }
  return lines;
}

/// The lines between the first and the last difference of a text: those before with "-", those after with "+".
std::vector<std::string> TextDifference(const FileDifference& difference, const State& a, const State& b) {
  constexpr std::ptrdiff_t kMostLines = 10;
  std::vector<std::string> shown;
  if (!difference.content) return shown;
  auto const before = TextLines(a.drive(), *difference.before);
  auto const after = TextLines(b.drive(), *difference.after);
  if (!before || !after) return shown;
  auto const first = std::mismatch(before->begin(), before->end(), after->begin(), after->end());
  auto const last = std::mismatch(before->rbegin(), std::make_reverse_iterator(first.first), after->rbegin(),
                                  std::make_reverse_iterator(first.second));
  auto const add = [&](char mark, auto from, auto to) {
    for (auto line = from; line != to && line - from < kMostLines; ++line) {
      shown.push_back(fmt::format("    {} {}", mark, *line));
    }
    if (to - from > kMostLines) shown.push_back(fmt::format("    {} and {} more lines", mark, to - from - kMostLines));
  };
  add('-', first.first, last.first.base());
  add('+', first.second, last.second.base());
  return shown;
}

ordered_json ToJson(const Item* item) {
  if (item == nullptr) return nullptr;
  return {{"path", tablet::ToUtf8(item->path)},
          {"folder", item->folder},
          {"bytes", item->bytes},
          {"attributes", AttributeLetters(item->attributes)}};
}

ordered_json ToJson(const FileDifference& difference) {
  return {{"before", ToJson(difference.before)},
          {"after", ToJson(difference.after)},
          {"kind", difference.kind},
          {"content", difference.content},
          {"attributes", difference.attributes},
          {"letter_case", difference.letter_case}};
}

}  // namespace

int Diff(const DiffOptions& options, Console& console) {
  State const a(options.before);
  State const b(options.after);
  std::vector<FileDifference> const files = CompareFiles(a, b);
  std::vector<tablet::RegistryChange> const registry = tablet::Registry::Compare(a.registry(), b.registry());
  std::vector<FirmwareChange> const firmware = CompareFirmware(a.firmware().variables(), b.firmware().variables());
  bool const equal = files.empty() && registry.empty() && firmware.empty();
  int const code = equal ? kDone : kNotAsExpected;
  if (options.json) {
    ordered_json list = ordered_json::array();
    for (const FileDifference& difference : files) list.push_back(ToJson(difference));
    PrintJson(console, {{"schema", 1},
                        {"exit_code", code},
                        {"a", options.before.string()},
                        {"b", options.after.string()},
                        {"equal", equal},
                        {"files", std::move(list)},
                        {"registry", ToJson(registry)},
                        {"firmware", ToJson(firmware)}});
    return code;
  }
  Table table(console);
  table.Row("Before", fmt::format("{}  {}", options.before.string(), a.name()));
  table.Row("After", fmt::format("{}  {}", options.after.string(), b.name()));
  std::vector<std::string> lines;
  for (const FileDifference& difference : files) {
    lines.push_back(Describe(difference));
    std::ranges::move(TextDifference(difference, a, b), std::back_inserter(lines));
  }
  Paragraph(table, "Files", lines, "the same", [](const auto& line) { return line; });
  Paragraph(table, "Registry", Describe(registry), "the same", [](const auto& line) { return line; });
  Paragraph(table, "Variables", firmware, "the same", [](const auto& change) { return Describe(change); });
  return code;
}

}  // namespace cli
