// The files of a Windows that is not running, wherever they come from.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// A folder that is drive C:. Paths are below the drive ("Windows\System32"), names in any case.
class Volume {
 public:
  /// `shown` takes the place of `root` in messages.
  Volume(std::filesystem::path root, std::string shown);
  virtual ~Volume() = default;
  Volume(const Volume&) = delete;
  Volume& operator=(const Volume&) = delete;

  /// Call before Find for files, or folders with all that is in them, that may not be in the folder yet.
  virtual void Fetch(const std::vector<std::u16string>& paths);
  /// Files that are on the volume and whose content is not at hand: why the tablet is without them, one line for each.
  virtual std::vector<std::string> LeftOut() const { return {}; }

  /// The names of a path as they are on the volume, from the root; nothing for what does not exist. Throws InputError
  /// for links, and for names that differ in case only.
  std::optional<std::vector<std::string>> Find(std::u16string_view path) const;
  /// The names in a folder, in order.
  std::vector<std::string> NamesIn(const std::vector<std::string>& folder) const;
  std::filesystem::path HostPath(const std::vector<std::string>& names) const;
  /// A path as the user knows it.
  std::string Shown(const std::vector<std::string>& names) const;
  std::optional<std::uint32_t> Attributes(const std::vector<std::string>& names) const;

 protected:
  /// Names in folders are remembered; call when files have come into the folder.
  void Forget() { seen_.clear(); }

  /// DOS attributes that are known otherwise than from the host's files; by path as above, in upper case.
  std::map<std::u16string, std::uint32_t> known_attributes_;

 private:
  using Names = std::map<std::u16string, std::string>;  ///< by name in upper case
  const Names& Look(const std::filesystem::path& folder, const std::string& shown) const;

  std::filesystem::path root_;
  std::string shown_;
  mutable std::map<std::filesystem::path, Names> seen_;
};

/// "Windows\a" from {"Windows", "a"}.
std::u16string PathOf(const std::vector<std::string>& names);

}  // namespace cli
