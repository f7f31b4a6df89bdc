// Writing the identifiers out of a staged tablet.
#include <algorithm>
#include <map>
#include <set>

#include "cli/base/output_file.h"
#include "cli/boot/call_text.h"
#include "cli/bundle/bundle.h"
#include "cli/bundle/redaction.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/devices/firmware.h"
#include "sim/tablet/drive/dos_attributes.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/registry/reg_text.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

/// The firmware variables that the service asks for. They decide which archive a tablet gets and stay as they are.
bool IsTheServicesOwn(std::u16string_view name) { return name == u"SALES_CODE" || name == u"ModemImageID"; }

/// A path as it is compared: one kind of separators, none doubled, in upper case.
std::u16string Comparable(const std::string& path) {
  std::u16string out;
  for (char16_t const c : tablet::FoldCase(tablet::ToUtf16(path))) {
    char16_t const separator = c == u'/' ? u'\\' : c;
    if (separator == u'\\' && !out.empty() && out.back() == u'\\') continue;
    out += separator;
  }
  return out;
}

/// The files that a run may have read: those it opened, started, or asked for their versions.
std::set<std::u16string> OpenedPaths(const std::string& events) {
  std::set<std::u16string> paths;
  for (const std::string& line : Lines(events)) {
    auto const event = nlohmann::json::parse(line, nullptr, false);
    std::string const call = event.value("kind", "") == "call" ? event.value("name", "") : "";
    if (call == "CreateFileW" || call == "CreateProcessAsUserW" || call.starts_with("GetFileVersionInfo"))
      paths.insert(Comparable(FirstQuoted(event.value("args", ""))));
  }
  return paths;
}

}  // namespace

nlohmann::ordered_json Redaction::RedactedJson(const nlohmann::ordered_json& value) const {
  if (value.is_string()) return Redacted(value.get<std::string>());
  if (!value.is_structured()) return value;
  nlohmann::ordered_json out = value;
  for (auto& item : out) item = RedactedJson(item);
  return out;
}

void Redaction::CopyKey(const tablet::Registry& from, tablet::Registry& to, const std::u16string& key) const {
  std::u16string const new_key = tablet::ToUtf16(Redacted(tablet::ToUtf8(key)));
  if (!key.empty()) to.MakeKey(new_key);
  for (const std::u16string& name : from.ValueNames(key)) {
    tablet::RegistryValue value = *from.Get(key, name);
    value.data = RedactedBytes(std::move(value.data));
    to.Put(new_key, tablet::ToUtf16(Redacted(tablet::ToUtf8(name))), std::move(value));
  }
  for (const std::u16string& child : from.SubKeyNames(key))
    CopyKey(from, to, key.empty() ? child : key + u"\\" + child);
}

void Redaction::RedactRegistry(const fs::path& tablet) const {
  tablet::Registry before;
  tablet::Registry after;
  tablet::ReadRegistryFolder(tablet, before);
  CopyKey(before, after, u"");
  // One file in place of all: comments and what later files overwrite may hold anything.
  fs::remove_all(tablet / "registry");
  fs::create_directory(tablet / "registry");
  WriteOutput(tablet / "registry" / "00-tablet.reg", tablet::WriteRegText(after));
}

void Redaction::RedactFirmware(const fs::path& folder) const {
  if (!fs::is_directory(folder)) return;
  tablet::Firmware firmware;
  firmware.Load(folder);
  for (auto const& [key, variable] : tablet::Firmware::Variables(firmware.variables())) {
    if (!IsTheServicesOwn(key.name)) firmware.Put(key, std::vector<std::uint8_t>(variable.data.size()));
  }
  firmware.Save(folder);
}

void Redaction::RedactDrive(const fs::path& tablet, const std::string& events) const {
  std::set<std::u16string> const opened = OpenedPaths(events);
  std::vector<fs::path> paths;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tablet / "C")) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  // Backwards: what is in a folder comes before it.
  for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
    if (fs::is_regular_file(*path)) {
      std::string text = ReadTextFile(*path);
      std::string const windows_path = "C:\\" + fs::relative(*path, tablet / "C").string();
      bool const used = opened.count(Comparable(windows_path)) != 0;
      WriteOutput(*path, used ? Redacted(std::move(text)) : std::string(text.size(), '\0'));
    }
    fs::path const new_name = path->parent_path() / Redacted(path->filename().string());
    if (new_name != *path) fs::rename(*path, new_name);
  }
}

void Redaction::Apply(const fs::path& tablet, const std::string& events) const {
  fs::path const description = tablet / "tablet.json";
  auto document = RedactedJson(nlohmann::ordered_json::parse(ReadTextFile(description)));
  if (document.contains("name")) document["name"] = "a tablet";
  WriteOutput(description, document.dump(2) + "\n");
  RedactRegistry(tablet);
  RedactFirmware(tablet / "efi");
  nlohmann::ordered_json times = DriveTimes(tablet);
  RedactDrive(tablet, events);
  fs::path const side_file = tablet / "attributes.txt";
  if (fs::exists(side_file)) WriteOutput(side_file, Redacted(ReadTextFile(side_file)));
  for (auto& time : times) time[0] = Redacted(time[0].get<std::string>());
  SetDriveTimes(tablet, times);
}

}  // namespace cli
