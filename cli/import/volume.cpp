#include "cli/import/volume.h"

#include <algorithm>
#include <utility>

#include "cli/import/host_attributes.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace fs = std::filesystem;

Volume::Volume(fs::path root, std::string shown) : root_(std::move(root)), shown_(std::move(shown)) {}

void Volume::Fetch(const std::vector<std::u16string>& /*paths*/) {}

std::optional<std::vector<std::string>> Volume::Find(std::u16string_view path) const {
  std::vector<std::string> names;
  fs::path host = root_;
  while (!path.empty()) {
    std::u16string_view const wanted = path.substr(0, path.find(u'\\'));
    path.remove_prefix(std::min(path.size(), wanted.size() + 1));
    Names const& here = Look(host, Shown(names));
    auto const name = here.find(tablet::FoldCase(wanted));
    if (name == here.end()) return std::nullopt;
    host /= name->second;
    names.push_back(name->second);
    // ntfs-3g shows junctions as links, and what it cannot read itself, as links that lead nowhere.
    if (fs::is_symlink(host)) {
      throw tablet::InputError(Shown(names), "is a link to " + fs::read_symlink(host).string(),
                               "put what it stands for in its place; files that Windows has compressed itself come out "
                               "of \"wimlib-imagex capture\" or \"compact /u\" as files");
    }
  }
  return names;
}

std::vector<std::string> Volume::NamesIn(const std::vector<std::string>& folder) const {
  std::vector<std::string> names;
  for (auto const& [folded, name] : Look(HostPath(folder), Shown(folder))) names.push_back(name);
  return names;
}

fs::path Volume::HostPath(const std::vector<std::string>& names) const {
  fs::path host = root_;
  for (const std::string& name : names) host /= name;
  return host;
}

std::string Volume::Shown(const std::vector<std::string>& names) const {
  std::string text = shown_;
  for (const std::string& name : names) text += '/' + name;
  return text;
}

std::optional<std::uint32_t> Volume::Attributes(const std::vector<std::string>& names) const {
  auto const known = known_attributes_.find(tablet::FoldCase(PathOf(names)));
  if (known != known_attributes_.end()) return known->second;
  return HostAttributes(HostPath(names));
}

const Volume::Names& Volume::Look(const fs::path& folder, const std::string& shown) const {
  auto const seen = seen_.find(folder);
  if (seen != seen_.end()) return seen->second;
  Names names;
  if (fs::is_directory(folder)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
      std::string const name = entry.path().filename().string();
      auto const [other, added] = names.emplace(tablet::FoldCase(tablet::ToUtf16(name)), name);
      if (added) continue;
      throw tablet::InputError(shown, "\"" + other->second + "\" and \"" + name + "\" differ in case only",
                               "rename one of them");
    }
  }
  return seen_.emplace(folder, std::move(names)).first->second;
}

std::u16string PathOf(const std::vector<std::string>& names) {
  std::u16string path;
  for (const std::string& name : names) path += (path.empty() ? u"" : u"\\") + tablet::ToUtf16(name);
  return path;
}

}  // namespace cli
