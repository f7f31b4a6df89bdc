#include "cli/check/rules/registry_places.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

constexpr std::u16string_view kHive = u"HKEY_LOCAL_MACHINE\\";
constexpr std::u16string_view kControlSet = u"SYSTEM\\CONTROLSET";
constexpr std::size_t kSetDigits = 3;
constexpr std::u16string_view kCurrentSet = u"SYSTEM\\CURRENTCONTROLSET";

/// In upper case, with the current control set in place of a numbered one.
std::u16string Plain(std::u16string_view key) {
  std::u16string plain = tablet::FoldCase(key);
  if (plain.starts_with(kControlSet) && plain.size() >= kControlSet.size() + kSetDigits) {
    plain.replace(0, kControlSet.size() + kSetDigits, kCurrentSet);
  }
  return plain;
}

std::u16string Named(std::u16string_view key, std::u16string_view value) {
  return Plain(key) + u'\n' + tablet::FoldCase(value);
}

/// A file's text as UTF-8; UTF-16 is known by its byte order mark.
std::string TextOfFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string const bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (!bytes.starts_with("\xFF\xFE")) return bytes;
  std::u16string wide((bytes.size() - 2) / 2, u'\0');
  std::copy_n(bytes.begin() + 2, wide.size() * 2, reinterpret_cast<char*>(wide.data()));
  return tablet::ToUtf8(wide);
}

/// The name in front of "=", without its quotes, and what follows it; false for a line that sets no value.
bool SplitValue(const std::string& line, std::string& name, std::string& rest) {
  std::size_t at = 1;
  name.clear();
  if (line.starts_with('"')) {
    for (; at < line.size() && line[at] != '"'; ++at) {
      if (line[at] == '\\' && at + 1 < line.size()) ++at;
      name += line[at];
    }
    ++at;
  } else if (!line.starts_with('@')) {
    return false;
  }
  at = line.find('=', at);
  if (at == std::string::npos) return false;
  rest = line.substr(at + 1);
  return true;
}

template <typename Places>
void RemoveBelow(Places& places, const std::u16string& key) {
  std::erase_if(places, [&](const auto& one) {
    return one.first.starts_with(key) &&
           (one.first.size() == key.size() || one.first[key.size()] == u'\\' || one.first[key.size()] == u'\n');
  });
}

const tablet::JsonNode::Member* MemberOf(const tablet::JsonNode& node, std::string_view name) {
  auto const found = std::ranges::find(node.members, name, &tablet::JsonNode::Member::key);
  return found == node.members.end() ? nullptr : &*found;
}

}  // namespace

TabletPlaces::TabletPlaces(const fs::path& folder)
    : folder_(folder), description_(tablet::ReadJsonFile(folder / "tablet.json")) {
  if (!fs::is_directory(folder / "registry")) return;
  std::set<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder / "registry")) {
    if (entry.path().extension() == ".reg") files.insert(entry.path());
  }
  fs::path const saved = folder / "registry" / tablet::kSavedRegistryFile;
  bool const has_saved = files.erase(saved) != 0;
  for (const fs::path& file : files) ReadRegistryFile(file);
  if (has_saved) ReadRegistryFile(saved);
}

void TabletPlaces::ReadRegistryFile(const fs::path& file) {
  std::string const text = TextOfFile(file);
  std::u16string key;
  FindingPlace place{file.string(), 0, {}};
  for (std::size_t begin = 0; begin < text.size();) {
    std::size_t const end = std::min(text.find('\n', begin), text.size());
    ++place.line;
    ReadLine(text.substr(begin, end - begin), place, key);
    begin = end + 1;
  }
}

void TabletPlaces::ReadLine(const std::string& line, const FindingPlace& place, std::u16string& key) {
  std::size_t const close = line.rfind(']');
  if (line.starts_with('[') && close != std::string::npos) {
    bool const removes = line.starts_with("[-");
    std::u16string const path = tablet::ToUtf16(line.substr(removes ? 2 : 1, close - (removes ? 2 : 1)));
    if (path.size() <= kHive.size()) return;
    key = Plain(std::u16string_view(path).substr(kHive.size()));
    if (removes) {
      RemoveBelow(values_, key);
      RemoveBelow(keys_, key);
    } else {
      keys_.try_emplace(key, place);
    }
    return;
  }
  std::string name;
  std::string rest;
  if (!SplitValue(line, name, rest)) return;
  std::u16string const id = Named(key, tablet::ToUtf16(name));
  if (rest.starts_with('-')) {
    values_.erase(id);
  } else {
    values_[id] = place;
  }
}

FindingPlace TabletPlaces::OfValue(std::u16string_view key, std::u16string_view value) const {
  if (auto const found = values_.find(Named(key, value)); found != values_.end()) return found->second;
  if (auto const found = keys_.find(Plain(key)); found != keys_.end()) return found->second;
  return OfFile("registry");
}

FindingPlace TabletPlaces::OfSetting(std::string_view key) const {
  FindingPlace place = OfFile("tablet.json");
  const tablet::JsonNode* node = &description_;
  for (std::size_t begin = 0; begin <= key.size();) {
    std::size_t const end = std::min(key.find('.', begin), key.size());
    const auto* const member = MemberOf(*node, key.substr(begin, end - begin));
    if (member == nullptr) break;
    place.line = member->line;
    node = &member->value;
    begin = end + 1;
  }
  return place;
}

FindingPlace TabletPlaces::OfVariable(std::string_view name, const tablet::Guid& vendor) const {
  fs::path const efi = folder_ / "efi";
  std::string guid = vendor.ToString();
  std::erase_if(guid, [](char c) { return c == '{' || c == '}'; });
  std::u16string const wanted = tablet::ToUtf16(std::string(name) + "-" + guid);
  if (fs::is_directory(efi)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(efi)) {
      if (!tablet::EqualIgnoringCase(tablet::ToUtf16(entry.path().filename().string()), wanted)) continue;
      return {entry.path().string(), 0, {}};
    }
  }
  return OfFile("efi");
}

}  // namespace cli
