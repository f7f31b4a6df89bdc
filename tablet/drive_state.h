// What is behind a Drive. For the drive's own sources only.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "tablet/drive.h"
#include "tablet/drive_node.h"
#include "tablet/drive_path.h"

namespace tablet {

/// Where a path leads.
struct DrivePlace {
  std::shared_ptr<DriveNode> node;    ///< null: the last part is not there
  std::shared_ptr<DriveNode> folder;  ///< that holds the last part; null for the root
  std::u16string name;                ///< the last part as the caller wrote it
  bool trailing_separator = false;
};

class Drive::Implementation {
 public:
  Implementation(std::filesystem::path root, std::filesystem::path side_file, const Clock& clock);

  /// Follows a path. kPathNotFound when a folder on the way is missing or is a file; a missing last part is no error.
  WinError Find(std::u16string_view path, std::u16string_view current_directory, DrivePlace& out) const;
  WinError Find(const DrivePath& path, DrivePlace& out) const;
  /// The node behind a path, or null.
  std::shared_ptr<DriveNode> Lookup(std::u16string_view path, std::u16string_view current_directory) const;

  /// A new child of `folder`, in memory only.
  std::shared_ptr<DriveNode> MakeNode(DriveNode& folder, std::u16string_view name, bool is_folder) const;
  /// Links a child whose host file was made, and gives it and its folder their times.
  void Adopt(DriveNode& folder, const std::shared_ptr<DriveNode>& child, std::uint32_t attributes) const;

  const Clock& clock;
  std::filesystem::path side_file;
  std::shared_ptr<DriveHost> host = std::make_shared<DriveHost>();
  std::shared_ptr<DriveNode> root;
  std::vector<std::shared_ptr<OpenFile>> locks;                 ///< what other processes hold
  std::map<std::u16string, std::uint32_t> version_block_sizes;  ///< overridden; by full path in upper case
};

/// Windows' code for what the host answered in errno.
WinError FromHostError(int error);

/// The rights that an access mask asks for, as share mode bits.
std::uint32_t RightsOf(std::uint32_t access);

/// Makes the handle's object on a node whose host file exists and whose sharing was checked. `descriptor` is that file,
/// open for reading and writing, and is taken over; -1: not open yet. `on_read` must outlive the object.
WinError OpenNode(std::shared_ptr<DriveNode> node, const Opener& opener, int descriptor, const Clock& clock,
                  const std::function<void(const std::u16string&, std::uint64_t, std::uint64_t)>& on_read,
                  std::shared_ptr<OpenFile>& out);

}  // namespace tablet
