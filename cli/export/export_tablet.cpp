#include "cli/export/export_tablet.h"

#include <fmt/format.h>

#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/base/table.h"
#include "cli/base/work_folder.h"
#include "cli/export/baseline.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;
using tablet::RegistryChange;

constexpr const char* kListFile = "files.txt";

/// The changes of one hive; those outside of both are in the third.
struct HiveChanges {
  const char* file;
  std::u16string_view hive;
  std::vector<RegistryChange> changes = {};
};

struct FileDelta {
  const char* change;  ///< "new", "changed", "attributes" or "gone"
  FileState state;     ///< as it is now, or was
};

/// The key with the number of its control set: an image has no other name for it.
std::u16string Offline(const std::u16string& key, int control_set) {
  constexpr std::u16string_view kLink = u"SYSTEM\\CurrentControlSet";
  std::u16string_view const start = std::u16string_view(key).substr(0, kLink.size());
  bool const linked =
      tablet::EqualIgnoringCase(start, kLink) && (key.size() == kLink.size() || key[kLink.size()] == u'\\');
  if (!linked) return key;
  return tablet::ToUtf16(fmt::format("SYSTEM\\ControlSet{:03}", control_set)) + key.substr(kLink.size());
}

std::array<HiveChanges, 3> CompareRegistries(const ExportOptions& options) {
  tablet::Registry before;
  tablet::Registry now;
  if (options.since) {
    tablet::ReadRegistryFolder(*options.since, before);
  } else {
    ReadBaselineRegistry(options.tablet, before);
  }
  tablet::ReadRegistryFolder(options.tablet, now);
  std::array<HiveChanges, 3> hives{HiveChanges{"system.reg", u"SYSTEM"}, HiveChanges{"software.reg", u"SOFTWARE"},
                                   HiveChanges{"other.reg", {}}};
  for (RegistryChange& change : tablet::Registry::Compare(before, now)) {
    change.key = Offline(change.key, options.control_set);
    std::u16string_view const hive = std::u16string_view(change.key).substr(0, change.key.find(u'\\'));
    for (HiveChanges& one : hives) {
      if (!one.hive.empty() && !tablet::EqualIgnoringCase(one.hive, hive)) continue;
      one.changes.push_back(std::move(change));
      break;
    }
  }
  return hives;
}

std::vector<FileDelta> CompareFiles(const FileStates& before, const FileStates& now) {
  std::vector<FileDelta> deltas;
  for (auto const& [path, state] : now) {
    auto const old = before.find(path);
    if (old == before.end() || old->second.folder != state.folder) {
      deltas.push_back({"new", state});
    } else if (old->second.bytes != state.bytes || old->second.digest != state.digest) {
      deltas.push_back({"changed", state});
    } else if (old->second.attributes != state.attributes) {
      deltas.push_back({"attributes", state});
    }
  }
  for (auto const& [path, state] : before) {
    if (!now.contains(path)) deltas.push_back({"gone", state});
  }
  return deltas;
}

std::string TextOf(const std::vector<FileDelta>& deltas) {
  std::string text =
      "# what happened, attributes (read-only, hidden, system, archive), bytes, SHA-256, path; by tabs\n";
  for (const FileDelta& delta : deltas) {
    const FileState& state = delta.state;
    text += fmt::format("{}\t{}\t{}\t{}\t{}\n", delta.change, LettersOf(state.attributes),
                        state.folder ? "folder" : fmt::format("{}", state.bytes), state.folder ? "-" : state.digest,
                        tablet::ToUtf8(state.path));
  }
  return text;
}

ordered_json ToJson(const FileDelta& delta) {
  const FileState& state = delta.state;
  return {{"change", delta.change}, {"path", tablet::ToUtf8(state.path)},
          {"folder", state.folder}, {"attributes", state.attributes == 0 ? "" : LettersOf(state.attributes)},
          {"bytes", state.bytes},   {"sha256", state.folder ? ordered_json(nullptr) : ordered_json(state.digest)}};
}

void WriteAll(const ExportOptions& options, const std::array<HiveChanges, 3>& hives,
              const std::vector<FileDelta>& files) {
  WorkFolder making = WorkFolder::Beside(options.out);
  for (const HiveChanges& hive : hives) {
    if (hive.changes.empty()) continue;
    std::string const text = tablet::WriteRegChanges(hive.changes);
    WriteOutput(making.path() / hive.file, options.utf16 ? tablet::ToExportForm(text) : text);
  }
  WriteOutput(making.path() / kListFile, TextOf(files));
  making.KeepAs(options.out);
}

}  // namespace

int ExportTablet(const ExportOptions& options, Console& console) {
  if (fs::exists(options.out) && !(fs::is_directory(options.out) && fs::is_empty(options.out)))
    throw tablet::InputError(options.out.string(), "exists already", "name a folder that does not exist or is empty");
  if (LiesWithin(options.out, options.tablet)) {
    throw tablet::InputError(options.out.string(), "is in the tablet's folder", "name a folder elsewhere");
  }
  tablet::ReadTabletFolder(options.tablet);
  std::array<HiveChanges, 3> const hives = CompareRegistries(options);
  std::vector<FileDelta> const files = CompareFiles(
      options.since ? FilesOf(*options.since) : ReadBaselineFiles(options.tablet), FilesOf(options.tablet));
  WriteAll(options, hives, files);
  if (options.json) {
    ordered_json registry = ordered_json::array();
    for (const HiveChanges& hive : hives) {
      if (!hive.changes.empty()) registry.push_back({{"file", hive.file}, {"changes", hive.changes.size()}});
    }
    ordered_json list = ordered_json::array();
    for (const FileDelta& delta : files) list.push_back(ToJson(delta));
    PrintJson(console, {{"schema", 1},
                        {"exit_code", kDone},
                        {"tablet", options.tablet.string()},
                        {"out", options.out.string()},
                        {"registry", std::move(registry)},
                        {"files", std::move(list)}});
    return kDone;
  }
  Table table(console);
  std::vector<std::string> lines;
  for (const HiveChanges& hive : hives) {
    if (!hive.changes.empty())
      lines.push_back(
          fmt::format("{}: {}", (options.out / hive.file).string(), Counted(hive.changes.size(), "change")));
  }
  Paragraph(table, "Registry", lines, "nothing has changed", [](const std::string& line) { return line; });
  table.Row("Files", files.empty()
                         ? "nothing has changed"
                         : fmt::format("{}: {}", (options.out / kListFile).string(), Counted(files.size(), "change")));
  return kDone;
}

}  // namespace cli
