// Drive C: over a folder of the host. Names are compared without regard to case and kept as first written; attributes
// and creation times are DOS's, beside the host's files, never mode bits.
//
// The drive owns the folder while the tablet runs: it keeps a map of names per folder and does not see foreign changes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/base/win_error.h"
#include "sim/tablet/kernel/clock.h"
#include "sim/tablet/kernel/handles.h"

namespace tablet {

struct DriveNode;

inline constexpr std::uint32_t kAttributeReadOnly = 0x1;
inline constexpr std::uint32_t kAttributeHidden = 0x2;
inline constexpr std::uint32_t kAttributeSystem = 0x4;
inline constexpr std::uint32_t kAttributeDirectory = 0x10;
inline constexpr std::uint32_t kAttributeArchive = 0x20;
inline constexpr std::uint32_t kAttributeNormal = 0x80;

struct FileTimes {
  FileTicks creation = 0;
  FileTicks access = 0;
  FileTicks write = 0;
  bool operator==(const FileTimes&) const = default;
};

struct FileFacts {
  std::u16string name;  ///< the last part, in the case it was made with
  std::uint32_t attributes = 0;
  FileTimes times;
  std::uint64_t size = 0;  ///< bytes; 0 for folders
};

/// CreateFileW's numbers, unchanged.
struct OpenRequest {
  std::uint32_t access = 0;
  std::uint32_t share = 0;
  std::uint32_t disposition = 0;
  std::uint32_t flags_and_attributes = 0;
};

/// An open file. It has a position of its own. The calls of the Windows API use it, on the thread that calls.
class OpenFile : public Object {
 public:
  std::string_view kind() const override { return "file"; }
  OpenFile* AsFile() override { return this; }
  virtual WinError Read(std::span<std::uint8_t> out, std::uint32_t& read) = 0;  ///< 0 bytes at the end of the file
  /// Reads one byte where that takes no more than to look; false, with nothing done, where it takes more. Archives are
  /// read byte by byte in places.
  virtual bool TakeByte(std::uint8_t& out) = 0;
  virtual WinError Write(std::span<const std::uint8_t> data, std::uint32_t& written) = 0;
  /// `origin`: 0 start, 1 current position, 2 end. kNegativeSeek leaves the position alone.
  virtual WinError Seek(std::int64_t distance, std::uint32_t origin, std::uint64_t& position) = 0;
  /// A field of 0 leaves that time alone.
  virtual WinError SetTimes(const FileTimes& times) = 0;
  virtual std::uint64_t size() const = 0;
  virtual std::uint64_t position() const = 0;
  virtual std::u16string path() const = 0;  ///< full, "C:\..."
};

/// What a run did to one path.
struct FileChange {
  std::u16string path;        ///< full, "C:\..."
  std::u16string moved_from;  ///< where it was when the drive was made; empty: it has not moved
  bool created = false;
  bool written = false;                 ///< its data
  bool attributes = false;              ///< attributes or times
  std::uint32_t attributes_before = 0;  ///< meaningless for what was created
  std::uint32_t attributes_now = 0;
  bool folder = false;
  std::uint64_t bytes = 0;  ///< size now
};

class Drive {
 public:
  /// `root` is the folder that is C:\. `side_file`, a text file outside of it, carries attributes and creation times
  /// for what was copied by tools that drop extended attributes: lines of "0xATTRIBUTES<TAB>CREATION<TAB>PATH", where
  /// CREATION is FILETIME ticks in decimal or "-". An extended attribute on the file itself wins.
  /// Throws InputError for names in one folder that differ only in case and for a malformed side file.
  Drive(std::filesystem::path root, std::filesystem::path side_file, const Clock& clock);
  ~Drive();
  Drive(const Drive&) = delete;
  Drive& operator=(const Drive&) = delete;

  // The Windows side. Paths as callers give them: with drive letter or relative to the current directory, with either
  // separator, doubled separators, any case. Each returns a Windows error code.

  WinError Open(std::u16string_view path, const OpenRequest& request, std::shared_ptr<OpenFile>& out, bool& existed);
  WinError Attributes(std::u16string_view path, std::uint32_t& attributes) const;
  WinError SetAttributes(std::u16string_view path, std::uint32_t attributes);
  WinError MakeDirectory(std::u16string_view path);
  /// Gives a file another name or another folder; data, attributes and times go with it. kAlreadyExists when the name
  /// is taken, kSharingViolation if it is open and not shared for deletion. Folders are not moved here.
  WinError Move(std::u16string_view from, std::u16string_view to);
  /// What a pattern ("c:\folder\*") matches, "." and ".." first where Windows lists them, then in order of name
  /// ignoring case. kFileNotFound when nothing matches, kPathNotFound when the folder is missing, kDirectory when it is
  /// a file.
  WinError Find(std::u16string_view pattern, std::vector<FileFacts>& out) const;
  /// The raw version resource of an executable (the RT_VERSION data of its .rsrc section). kResourceDataNotFound when
  /// it has no resources, kResourceTypeNotFound when none of them is a version.
  WinError VersionResource(std::u16string_view path, std::vector<std::uint8_t>& out) const;
  /// Whether a file begins as an executable of Windows does.
  bool IsExecutable(std::u16string_view path) const;
  const std::u16string& current_directory() const { return current_directory_; }  ///< "C:\Windows\System32"

  // The machine's side.

  void SetCurrentDirectory(std::u16string path);
  bool Exists(std::u16string_view path) const;
  FileFacts Facts(std::u16string_view path) const;  ///< throws std::out_of_range when the path does not exist
  std::vector<std::uint8_t> Contents(std::u16string_view path) const;
  /// CRC-32 of a file's bytes. A drive in memory computes it once for all its copies, until the file changes.
  std::uint32_t Sum(std::u16string_view path) const;
  /// Makes or replaces a file, with its folders; not counted as a change.
  void Put(std::u16string_view path, std::span<const std::uint8_t> data, std::uint32_t attributes = kAttributeArchive);
  void PutFolder(std::u16string_view path, std::uint32_t attributes = kAttributeDirectory);
  void Remove(std::u16string_view path);
  /// Where a path is on the host, whose folder is up to date from then on until the next change.
  std::filesystem::path HostPath(std::u16string_view path) const;
  /// Leaves the host's folder: what happens to the drive from then on is lost with it, and a copy of the process has a
  /// drive of its own. A file's bytes are still read from the folder until the drive changes them. No file may be open.
  void KeepInMemory();
  /// In memory: a file of the host that changed under the drive before it was read, or could not be read. Reading it
  /// failed. Empty: none.
  const std::string& changed_file() const;
  bool in_memory() const;
  /// All of a drive in memory as it is now, for another drive to begin with.
  std::shared_ptr<DriveNode> Copy() const;
  /// Takes the place of everything on this drive, which is in memory from then on. Nothing of it counts as changed.
  void Become(std::shared_ptr<DriveNode> copy);

  /// From now on the files of the drive may grow by this much; names and folders cost nothing. What a file is cut by
  /// comes free again.
  void LimitSpace(std::uint64_t bytes);
  /// What is left of it; nothing without a limit.
  std::optional<std::uint64_t> FreeBytes() const;
  /// Opens a file as another process does that does not share it, until the drive is destroyed. False if it is not a
  /// file.
  bool Lock(std::u16string_view path);

  /// Makes the call for the size of a file's version block return this many bytes, whatever the file holds: sizes that
  /// no resource gives can then be tried. The file need not exist.
  void OverrideVersionBlockSize(std::u16string_view path, std::uint32_t bytes);
  std::optional<std::uint32_t> OverriddenVersionBlockSize(std::u16string_view path) const;

  /// What changed since the drive was made, ordered by path.
  std::vector<FileChange> Changes() const;
  /// Brings the host's folder up to date, and writes the side file where the host's file system has no extended
  /// attributes or the tablet has a side file.
  void SaveSideFile() const;

  /// Told of every open of an existing file for reading, and after each read of it (position and size in bytes).
  std::function<void(const std::u16string& path)> on_open;
  std::function<void(const std::u16string& path, std::uint64_t position, std::uint64_t size)> on_read;

 private:
  class Implementation;
  std::unique_ptr<Implementation> state_;
  std::u16string current_directory_ = u"C:\\Windows\\System32";
};

}  // namespace tablet
