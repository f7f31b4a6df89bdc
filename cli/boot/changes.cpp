#include "cli/boot/changes.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "cli/base/console.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

using ChangeKind = tablet::RegistryChange::Kind;

std::string ValueName(const tablet::RegistryChange& change) {
  return change.value.empty() ? "(default)" : '"' + tablet::ToUtf8(change.value) + '"';
}

std::string_view NameOfChange(ChangeKind kind) {
  switch (kind) {
    case ChangeKind::kKeyAdded:
      return "key added";
    case ChangeKind::kKeyRemoved:
      return "key removed";
    case ChangeKind::kValueAdded:
      return "value added";
    case ChangeKind::kValueChanged:
      return "value changed";
    case ChangeKind::kValueRemoved:
      return "value removed";
  }
  return "changed";
}

}  // namespace

std::string ShowBytes(const std::vector<std::uint8_t>& data) {
  std::string text(data.begin(), data.end());
  while (!text.empty() && text.back() == '\0') text.pop_back();
  bool const plain = std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
  if (plain) return '"' + text + '"';
  std::string bytes;
  for (std::uint8_t const byte : data) bytes += fmt::format("{}{:02x}", bytes.empty() ? "" : " ", byte);
  return bytes;
}

std::string ShowValue(const tablet::RegistryValue& value) {
  if (value.type == tablet::kTypeText && value.data.size() % 2 == 0) {
    return '"' + tablet::ToUtf8(tablet::TextOf(value)) + '"';
  }
  if (value.type == tablet::kTypeDword && value.data.size() == 4) {
    return fmt::format("dword:{:08x}", value.data[0] | value.data[1] << 8 | value.data[2] << 16 |
                                           static_cast<std::uint32_t>(value.data[3]) << 24);
  }
  std::string text = value.type == tablet::kTypeBinary ? "hex:" : fmt::format("hex({:x}):", value.type);
  for (std::size_t i = 0; i < value.data.size(); ++i) text += fmt::format("{}{:02x}", i == 0 ? "" : ",", value.data[i]);
  return text;
}

std::vector<FirmwareChange> CompareFirmware(const tablet::Firmware::Variables& before,
                                            const tablet::Firmware::Variables& after) {
  std::set<tablet::FirmwareKey> keys;
  for (auto const& [key, variable] : before) keys.insert(key);
  for (auto const& [key, variable] : after) keys.insert(key);
  std::vector<FirmwareChange> changes;
  for (const tablet::FirmwareKey& key : keys) {
    auto const was = before.find(key);
    auto const is = after.find(key);
    if (was != before.end() && is != after.end() && was->second == is->second) continue;
    changes.push_back({tablet::ToUtf8(key.name) + "-" + key.vendor.ToString(),
                       was == before.end() ? "" : ShowBytes(was->second.data),
                       is == after.end() ? "" : ShowBytes(is->second.data)});
  }
  return changes;
}

Changes ChangesOf(TabletRun& run) {
  Changes changes;
  changes.files = run.FileChanges();
  changes.registry = tablet::Registry::Compare(run.registry_before(), run.machine().registry());
  changes.firmware = CompareFirmware(run.firmware_before(), run.machine().firmware().variables());
  for (const tablet::FileChange& file : changes.files) {
    if (file.folder) {
      changes.folders_made += file.created ? 1 : 0;
    } else if (file.created || file.written) {
      ++changes.files_written;
      changes.bytes_written += file.bytes;
    }
    if (!file.created && !file.written && file.attributes) ++changes.attributes_changed;
  }
  return changes;
}

std::vector<std::string> Describe(const std::vector<tablet::RegistryChange>& changes) {
  std::vector<std::string> lines;
  std::u16string key;
  for (const tablet::RegistryChange& change : changes) {
    std::string const name = tablet::ToUtf8(change.key);
    if (change.kind == ChangeKind::kKeyAdded || change.kind == ChangeKind::kKeyRemoved) {
      lines.push_back(fmt::format("[{}] is {}", name, change.kind == ChangeKind::kKeyAdded ? "new" : "gone"));
      key = change.key;
      continue;
    }
    if (change.key != key) lines.push_back(fmt::format("[{}]", name));
    key = change.key;
    std::string line = "  " + ValueName(change);
    if (change.after) line += " = " + ShowValue(*change.after);
    if (change.kind == ChangeKind::kValueAdded) line += " is new";
    if (change.kind == ChangeKind::kValueRemoved) line += " is gone";
    if (change.before) line += ", was " + ShowValue(*change.before);
    lines.push_back(std::move(line));
  }
  return lines;
}

std::string Describe(const FirmwareChange& change) {
  if (change.before.empty()) return fmt::format("{} = {} is new", change.name, change.after);
  if (change.after.empty()) return fmt::format("{} is gone, was {}", change.name, change.before);
  return fmt::format("{} = {}, was {}", change.name, change.after, change.before);
}

std::string AttributeLetters(std::uint32_t attributes) {
  std::string letters;
  for (auto const& [bit, letter] :
       {std::pair{tablet::kAttributeReadOnly, 'R'}, std::pair{tablet::kAttributeHidden, 'H'},
        std::pair{tablet::kAttributeSystem, 'S'}, std::pair{tablet::kAttributeArchive, 'A'}}) {
    if ((attributes & bit) != 0) letters += letter;
  }
  return letters;
}

std::string Describe(const tablet::FileChange& change, const tablet::Drive& drive) {
  bool const moved = !change.moved_from.empty();
  std::string const what = change.created ? "new" : change.written ? "written" : moved ? "moved" : "attributes";
  std::string const path = tablet::ToUtf8(change.path);
  if (!drive.Exists(change.path)) return fmt::format("{} is gone", path);
  std::uint32_t const attributes = drive.Facts(change.path).attributes;
  std::string const letters = AttributeLetters(attributes);
  std::string size = change.folder ? "folder" : fmt::format("{}", change.bytes);
  if (!change.created && !change.written) size.clear();
  std::string line = fmt::format("{:<10}  {:>9}  {:<4}  {}", what, size, letters, path);
  if (moved) line += ", was " + tablet::ToUtf8(change.moved_from);
  return line;
}

nlohmann::ordered_json ToJson(const std::vector<tablet::RegistryChange>& changes) {
  using nlohmann::ordered_json;
  ordered_json registry = ordered_json::array();
  for (const tablet::RegistryChange& change : changes) {
    ordered_json entry{{"change", NameOfChange(change.kind)}, {"key", tablet::ToUtf8(change.key)}};
    if (change.before || change.after) entry["value"] = tablet::ToUtf8(change.value);
    if (change.before) entry["before"] = ShowValue(*change.before);
    if (change.after) entry["after"] = ShowValue(*change.after);
    registry.push_back(std::move(entry));
  }
  return registry;
}

nlohmann::ordered_json ToJson(const std::vector<FirmwareChange>& changes) {
  using nlohmann::ordered_json;
  ordered_json firmware = ordered_json::array();
  for (const FirmwareChange& change : changes) {
    ordered_json entry{{"variable", change.name}};
    if (!change.before.empty()) entry["before"] = change.before;
    if (!change.after.empty()) entry["after"] = change.after;
    firmware.push_back(std::move(entry));
  }
  return firmware;
}

nlohmann::ordered_json ToJson(const Changes& changes) {
  using nlohmann::ordered_json;
  ordered_json files = ordered_json::array();
  for (const tablet::FileChange& file : changes.files) {
    files.push_back({{"path", tablet::ToUtf8(file.path)},
                     {"folder", file.folder},
                     {"created", file.created},
                     {"written", file.written},
                     {"attributes_changed", file.attributes},
                     {"attributes_before", nullptr},
                     {"attributes_after", AttributeLetters(file.attributes_now)},
                     {"bytes", file.bytes}});
    if (!file.created) files.back()["attributes_before"] = AttributeLetters(file.attributes_before);
    if (!file.moved_from.empty()) files.back()["moved_from"] = tablet::ToUtf8(file.moved_from);
  }
  return {{"files_written", changes.files_written}, {"bytes_written", changes.bytes_written},
          {"folders_made", changes.folders_made},   {"files", std::move(files)},
          {"registry", ToJson(changes.registry)},   {"firmware", ToJson(changes.firmware)}};
}

}  // namespace cli
