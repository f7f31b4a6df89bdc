// Reads a host's folder into the drive's memory.
#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_state.h"

namespace tablet {

namespace {

struct FolderCloser {
  void operator()(DIR* stream) const { ::closedir(stream); }
};

/// The names in a host's folder, in byte order. Leaves the folder's time of access alone where the host allows it, so
/// that looking at a tablet does not change it.
std::vector<std::string> NamesIn(const std::filesystem::path& folder) {
  Descriptor file = OpenHost(folder.string(), O_RDONLY | O_DIRECTORY);
  if (!file.valid()) throw InputError(folder.string(), std::strerror(errno), "make it readable or remove it");
  std::unique_ptr<DIR, FolderCloser> const stream(::fdopendir(file.get()));
  if (stream == nullptr) throw InputError(folder.string(), std::strerror(errno), "make it readable or remove it");
  static_cast<void>(file.Release());  // the stream's now
  std::vector<std::string> names;
  while (const dirent* const entry = ::readdir(stream.get())) {
    std::string_view const name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

void LoadChildren(DriveNode& folder, const std::map<std::u16string, KeptFacts>& side_entries) {
  for (const std::string& host_name : NamesIn(folder.Host())) {
    std::string const host = folder.own->host + host_name;
    std::u16string const name = ToUtf16(host_name);
    if (!IsValidName(name) || ToUtf8(name) != host_name) {
      throw InputError(host, "Windows has no such names", "rename it");
    }
    if (auto const other = folder.Child(name)) {
      throw InputError(host, "differs from \"" + ToUtf8(other->name) + "\" in case only", "rename one of them");
    }
    auto const side_entry = side_entries.find(FoldCase(folder.own->path + name));
    const KeptFacts* const kept = side_entry == side_entries.end() ? nullptr : &side_entry->second;
    std::shared_ptr<DriveNode> const node = LoadNode(folder.own, name, kept);
    folder.children.insert(node);
    if (node->folder) LoadChildren(*node, side_entries);
  }
}

}  // namespace

Drive::Implementation::Implementation(std::filesystem::path root_folder, std::filesystem::path side,
                                      const Clock& tablet_clock)
    : clock(tablet_clock), side_file(std::move(side)) {
  std::error_code failed;
  std::filesystem::create_directories(root_folder, failed);
  if (failed) throw InputError(root_folder.string(), failed.message(), "make it a folder that can be written");
  host->keeps_attributes = KeepsExtendedAttributes(root_folder);
  host->has_side_file = std::filesystem::exists(side_file);
  auto const contents = std::make_shared<FolderPlace>(FolderPlace{u"C:\\", root_folder.string() + '/', host});
  root = LoadNode(contents, u"", nullptr);
  LoadChildren(*root, ReadSideFile(side_file));
}

}  // namespace tablet
