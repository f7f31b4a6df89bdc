// The state of a Drive. For the drive's own sources only.
#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "sim/tablet/drive/drive.h"
#include "sim/tablet/drive/drive_node.h"
#include "sim/tablet/drive/drive_path.h"

namespace tablet {

/// Where a path leads, until something is removed from the drive.
struct DrivePlace {
  DrivePlace() = default;
  DrivePlace(const DrivePlace&) = delete;
  DrivePlace& operator=(const DrivePlace&) = delete;

  DriveNode* node = nullptr;    ///< null: the last part is not there
  DriveNode* folder = nullptr;  ///< that holds the last part; null for the root
  std::u16string_view name;     ///< the last part as the caller wrote it: in the caller's path, or in `parsed`
  bool trailing_separator = false;
  DrivePath parsed;  ///< the path, where it had to be taken apart
};

class Drive::Implementation {
 public:
  Implementation(std::filesystem::path root, std::filesystem::path side_file, const Clock& clock);

  /// Follows a path. kPathNotFound when a folder on the way is missing or is a file; a missing last part is not an
  /// error.
  WinError Find(std::u16string_view path, std::u16string_view current_directory, DrivePlace& out) const;
  /// The same for out.parsed.
  WinError Follow(DrivePlace& out) const;
  /// The node at a path, or null.
  DriveNode* Lookup(std::u16string_view path, std::u16string_view current_directory) const;
  /// Paths may lead elsewhere from now on: a folder was removed, or the current directory is another one.
  void ForgetFolders() const { known_ = {}; }

  /// A new child of `folder`, in memory only.
  static std::shared_ptr<DriveNode> MakeNode(DriveNode& folder, std::u16string_view name, bool is_folder);
  /// Links a child whose host file was made, and gives it and its folder their times.
  void Adopt(DriveNode& folder, const std::shared_ptr<DriveNode>& child, std::uint32_t attributes) const;
  /// Gives the host all times that it does not have yet.
  void CatchUp() const;

  const Clock& clock;
  std::filesystem::path side_file;
  std::shared_ptr<DriveHost> host = std::make_shared<DriveHost>();
  std::shared_ptr<DriveNode> root;
  std::vector<std::shared_ptr<OpenFile>> locks;                 ///< what other processes hold
  std::map<std::u16string, std::uint32_t> version_block_sizes;  ///< overridden; by full path in upper case

 private:
  /// A folder that a path led to: the same folders are asked for again and again, with the same words.
  struct KnownFolder {
    std::u16string text;  ///< the path as the caller wrote it; "": none
    DriveNode* node = nullptr;
    DriveNode* folder = nullptr;
    std::size_t length = 0;  ///< characters of its full path
  };
  const KnownFolder* Recall(std::u16string_view text) const;
  bool FindByKnown(std::u16string_view path, DrivePlace& out) const;
  void Remember(std::u16string_view path, const DrivePlace& place, std::size_t length) const;

  mutable std::array<KnownFolder, 16> known_;  ///< by length of the text, so that a folder and its own folder both stay
};

/// Windows' code for an errno of the host.
WinError FromHostError(int error);

/// The rights that an access mask asks for, as share mode bits.
std::uint32_t RightsOf(std::uint32_t access);

/// Makes the handle's object on a node whose host file exists and whose sharing was checked. `file` is that file,
/// open for reading and writing, if it is open already. `on_read` must outlive the object.
WinError OpenNode(DriveNode& node, const Opener& opener, Descriptor file, const Clock& clock,
                  const std::function<void(const std::u16string&, std::uint64_t, std::uint64_t)>& on_read,
                  std::shared_ptr<OpenFile>& out);

}  // namespace tablet
