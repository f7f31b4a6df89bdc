// One file or folder of drive C:, as the drive holds it in memory. For the drive's own sources only.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "sim/tablet/drive/dos_attributes.h"
#include "sim/tablet/drive/drive.h"
#include "sim/tablet/drive/file_content.h"

namespace tablet {

// What an opener may do, and what it lets others do: the bits of CreateFileW's share mode.
inline constexpr std::uint32_t kMayRead = 1;
inline constexpr std::uint32_t kMayWrite = 2;
inline constexpr std::uint32_t kMayDelete = 4;
inline constexpr std::uint32_t kMayAll = kMayRead | kMayWrite | kMayDelete;

struct Opener {
  std::uint32_t rights = 0;
  std::uint32_t share = 0;
  Opener* next = nullptr;  ///< the next one of the same file
};

struct DriveNode;

/// Facts about the host that all nodes of a drive share.
struct DriveHost {
  bool keeps_attributes = true;  ///< false from the first extended attribute on that the host did not take
  bool in_memory = false;        ///< the drive has left the host's folder, which no longer follows any change
  std::string changed_file;      ///< in memory: a file of the host that was not as it was when it was to be read
  bool has_side_file = false;    ///< it may have what the host does not know about a file
  std::optional<std::uint64_t> free_bytes;  ///< what files may still grow by; nothing: as far as the host goes
  bool is_behind = false;                   ///< there may be nodes whose times it does not have yet
};

/// Where the contents of a folder are. Folders stay where they were made.
struct FolderPlace {
  std::u16string path;  ///< ends with a separator: "C:\", "C:\a\"
  std::string host;     ///< of the host, likewise
  std::shared_ptr<DriveHost> drive;
};

/// By names, without regard to case.
struct NodeNameHash {
  using is_transparent = void;
  std::size_t operator()(std::u16string_view name) const;
  std::size_t operator()(const std::shared_ptr<DriveNode>& node) const;
};
struct NodeNameEqual {
  using is_transparent = void;
  bool operator()(const std::shared_ptr<DriveNode>& left, const std::shared_ptr<DriveNode>& right) const;
  bool operator()(std::u16string_view name, const std::shared_ptr<DriveNode>& node) const;
};

/// Memory is authoritative; the host's folder is updated from it. Data and attributes are updated at once, times when
/// the file is closed by all, since each write moves them, and those of folders on demand (CatchUpBelow). A
/// drive in memory updates nothing.
struct DriveNode : std::enable_shared_from_this<DriveNode> {
  std::u16string name;  ///< as first written; "" for the root. While it is a child, it must not change
  std::shared_ptr<const FolderPlace> in;   ///< the folder it is in; of the root its own contents'
  std::shared_ptr<const FolderPlace> own;  ///< of a folder: its contents'
  bool folder = false;
  std::uint32_t attributes = 0;
  FileTimes times;
  bool creation_known = false;  ///< kept on its own, not made up from the time of writing
  std::uint64_t size = 0;
  std::uint64_t version = 0;             ///< rises with every change of the data
  std::shared_ptr<FileContent> content;  ///< of a file of a drive in memory
  Opener* openers = nullptr;             ///< of those who have it open, who keep them
  std::unordered_set<std::shared_ptr<DriveNode>, NodeNameHash, NodeNameEqual> children;

  // What the host has of it; empty: nothing of its own.
  std::optional<std::uint32_t> host_attributes;
  std::optional<FileTicks> host_creation;

  // What happened since the drive was made.
  bool created = false;
  std::u16string moved_from;  ///< its first path; empty: it has not moved
  bool written = false;
  bool facts_changed = false;
  std::optional<std::uint32_t> first_attributes;  ///< before they changed; empty: they have not
  bool is_behind = false;                         ///< the host does not have its times yet

  std::u16string Path() const { return in->path + name; }  ///< full, "C:\..."
  std::string Host() const;                                ///< path of the host's file
  DriveHost& drive() const { return *in->drive; }
  FileFacts Facts() const { return {name, attributes, times, size}; }
  DriveNode* Child(std::u16string_view child_name) const;
  /// In the order in which Windows lists them.
  std::vector<DriveNode*> ChildrenInOrder() const;

  /// Keeps the directory bit as it is and drops the normal bit; the host follows.
  void SetAttributes(std::uint32_t new_attributes);
  /// The same by something that counts as a change.
  void ChangeAttributes(std::uint32_t new_attributes);
  void SetCreation(FileTicks creation);
  /// The times have changed; the host has them after the next CatchUp.
  void SyncTimes();
  /// Gives the host the times of this node and of all below it.
  void CatchUpBelow();
  /// Gives the host's file the node's times. `file` is that file if it is open.
  void CatchUp(const Descriptor& file = {});

  /// Makes a node without contents a folder.
  void BecomeFolder();

  /// The drive leaves the host's folder: the file's bytes stay there until something changes them.
  void LeaveHost();
  /// Opens the host's file that holds the content. Not valid, and noted in the drive, if that fails.
  [[nodiscard]] Descriptor OpenHostContent() const;
  /// All of a file's bytes. False if they cannot be read.
  [[nodiscard]] bool ReadAll(std::vector<std::uint8_t>& out) const;
  /// Of a drive in memory: its bytes, no longer shared with other nodes; forgets their sum. Null if they cannot be
  /// read.
  [[nodiscard]] std::vector<std::uint8_t>* Writable();

  // What the host, or memory, holds of it. Each returns 0 or the host's error.
  int MakeEmptyFile(Descriptor* file = nullptr);  ///< makes the file, or empties it, and leaves it open when asked to
  int MakeFolder() const;
  int Rename(const std::string& to) const;
  int ReplaceData(std::span<const std::uint8_t> with);

  /// Something was made or removed in this folder.
  void TouchFolder(FileTicks now);

  /// Whether someone with these rights, letting others do `share`, may open it beside those who have it open.
  bool SharesWith(const Opener& opener) const;
};

FileTicks ToTicks(const timespec& time);

/// The bits of an attribute word that the drive keeps.
inline constexpr std::uint32_t kKeptAttributes = 0x1 | 0x2 | 0x4 | 0x20 | 0x100 | 0x1000 | 0x2000;

/// Reads one host's file or folder, by its name and the place of its folder. `kept` is the side file's knowledge of it,
/// null when it has none; an extended attribute wins over it. Throws InputError when the file cannot be read or is
/// neither a file nor a folder.
std::shared_ptr<DriveNode> LoadNode(std::shared_ptr<const FolderPlace> in, std::u16string name, const KeptFacts* kept);

}  // namespace tablet
