#include "sim/tablet/folder/folder_stamp.h"

#include <sys/stat.h>

namespace tablet {

namespace fs = std::filesystem;

FolderStamp::FolderStamp(const fs::path& folder) : folder_(folder), seen_(Look(folder)) {}

std::map<std::string, FolderStamp::Facts> FolderStamp::Look(const fs::path& folder) {
  std::map<std::string, Facts> facts;
  auto const add = [&](const fs::path& path) {
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) return;
    // A folder's own time changes with the names in it, which are seen themselves.
    bool const is_folder = S_ISDIR(found.st_mode);
    facts[path.lexically_relative(folder).string()] = {
        .size = is_folder ? 0 : static_cast<std::uint64_t>(found.st_size),
        .changed = is_folder ? 0 : found.st_mtim.tv_sec * 1'000'000'000 + found.st_mtim.tv_nsec};
  };
  for (const char* const name : {"tablet.json", "attributes.txt", "registry", "C", "efi"}) {
    add(folder / name);
    std::error_code ignored;
    for (fs::recursive_directory_iterator at(folder / name, ignored), end; at != end; at.increment(ignored)) {
      add(at->path());
    }
  }
  return facts;
}

std::optional<std::string> FolderStamp::Difference() const {
  std::map<std::string, Facts> const now = Look(folder_);
  for (auto const& [path, facts] : seen_) {
    auto const found = now.find(path);
    if (found == now.end() || found->second != facts) return path;
  }
  for (auto const& [path, facts] : now) {
    if (!seen_.contains(path)) return path;
  }
  return std::nullopt;
}

}  // namespace tablet
