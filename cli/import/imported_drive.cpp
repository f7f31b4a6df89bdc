#include "cli/import/imported_drive.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <string_view>

#include "cli/base/zip_file.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/dos_attributes.h"
#include "sim/tablet/drive/drive.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

constexpr std::u16string_view kSystem32 = u"Windows\\System32";
constexpr std::u16string_view kArchives = u"Windows\\System32\\modem_core";
constexpr std::u16string_view kService = u"Windows\\System32\\Vantord.exe";

// Files, and folders with all that is in them.
constexpr std::array<std::u16string_view, 8> kWanted{
    kArchives,
    kService,
    u"Windows\\System32\\PeltService.exe",
    u"Windows\\System32\\qcdsp1v2850.mbn",
    u"Windows\\System32\\qcdsp2850.mbn",
    u"Windows\\ToastGenerator",
    u"Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps",
    u"MfgDiag\\Dlls\\RILRouter.dll",
};
// Of these the folders only: what is in them grows with each crash and is never read.
constexpr std::array<std::u16string_view, 1> kFoldersOnly{u"Users\\Public\\Documents"};

class DriveCopy {
 public:
  DriveCopy(Volume& volume, const fs::path& tablet) : volume_(volume), tablet_(tablet), drive_(tablet / "C") {}

  DriveFacts Run() {
    fs::create_directory(drive_);
    std::vector<std::u16string> wanted(kWanted.begin(), kWanted.end());
    wanted.insert(wanted.end(), kFoldersOnly.begin(), kFoldersOnly.end());
    volume_.Fetch(wanted);
    for (std::u16string_view const path : kWanted) CopyPath(path, true);
    for (std::u16string_view const path : kFoldersOnly) CopyPath(path, false);
    facts_.has_archives = volume_.Find(kArchives).has_value();
    facts_.has_service = volume_.Find(kService).has_value();
    CopyDeployed();
    KeepAttributes();
    for (auto folder = folders_.rbegin(); folder != folders_.rend(); ++folder) CopyTimes(*folder);
    return facts_;
  }

 private:
  /// What the archives hold may be deployed already.
  void CopyDeployed() {
    std::vector<std::u16string> paths;
    std::optional<Names> const archives = volume_.Find(kArchives);
    if (!archives) return;
    for (const std::string& name : volume_.NamesIn(*archives)) {
      Names file = *archives;
      file.push_back(name);
      for (const std::u16string& inside : FilesInArchive(volume_.HostPath(file)))
        paths.push_back(std::u16string(kSystem32) + u'\\' + inside);
    }
    volume_.Fetch(paths);
    for (const std::u16string& path : paths) CopyPath(path, true);
  }

  void CopyPath(std::u16string_view path, bool with_files) {
    std::optional<Names> const names = volume_.Find(path);
    if (!names) return;
    for (std::size_t count = 1; count < names->size(); ++count)
      MakeFolder(Names(names->begin(), names->begin() + static_cast<std::ptrdiff_t>(count)));
    CopyAll(*names, with_files);
  }

  void CopyAll(const Names& names, bool with_files) {
    fs::path const host = volume_.HostPath(names);
    if (fs::is_directory(host)) {
      MakeFolder(names);
      for (const std::string& name : volume_.NamesIn(names)) {
        Names child = names;
        child.push_back(name);
        volume_.Find(PathOf(child));  // refuses links
        CopyAll(child, with_files);
      }
    } else if (!fs::is_regular_file(host)) {
      throw tablet::InputError(volume_.Shown(names), "is neither a file nor a folder", "remove it from the source");
    } else if (with_files && done_.insert(PathOf(names)).second) {
      fs::copy_file(host, Target(names));
      fs::permissions(Target(names), fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::add);
      CopyTimes(names);
      Note(names, tablet::kAttributeArchive);
      ++facts_.files;
      facts_.bytes += fs::file_size(Target(names));
    }
  }

  void MakeFolder(const Names& names) {
    if (!fs::create_directory(Target(names))) return;
    folders_.push_back(names);
    Note(names, tablet::kAttributeDirectory);
  }

  void Note(const Names& names, std::uint32_t usual) {
    std::optional<std::uint32_t> const attributes = volume_.Attributes(names);
    if (!attributes) return;
    facts_.has_attributes = true;
    if (*attributes != usual) entries_.push_back({u"C:\\" + PathOf(names), *attributes, {}});
  }

  void KeepAttributes() {
    if (entries_.empty()) return;
    if (!tablet::KeepsExtendedAttributes(drive_)) {
      tablet::WriteSideFile(tablet_ / "attributes.txt", entries_);
      return;
    }
    for (const tablet::SideFileEntry& entry : entries_) {
      std::string path = tablet::ToUtf8(entry.path.substr(3));
      std::replace(path.begin(), path.end(), '\\', '/');
      if (!tablet::WriteAttributes(drive_ / path, entry.attributes)) {
        throw tablet::InputError((drive_ / path).string(), "its attributes cannot be stored", "check the space");
      }
    }
  }

  void CopyTimes(const Names& names) {
    struct stat facts {};
    if (::stat(volume_.HostPath(names).c_str(), &facts) != 0) return;
    std::array<timespec, 2> const times{facts.st_atim, facts.st_mtim};
    ::utimensat(AT_FDCWD, Target(names).c_str(), times.data(), 0);
  }

  fs::path Target(const Names& names) const {
    fs::path target = drive_;
    for (const std::string& name : names) target /= name;
    return target;
  }

  Volume& volume_;
  fs::path tablet_;
  fs::path drive_;
  DriveFacts facts_;
  std::set<std::u16string> done_;
  std::vector<Names> folders_;
  std::vector<tablet::SideFileEntry> entries_;
};

}  // namespace

DriveFacts ImportDrive(Volume& volume, const fs::path& tablet) { return DriveCopy(volume, tablet).Run(); }

std::vector<std::u16string> FilesInArchive(const fs::path& file) {
  std::vector<std::u16string> names;
  ZipReader const reader = OpenZip(file);
  if (!reader) return names;
  archive_entry* entry = nullptr;
  while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
    const char* raw = archive_entry_pathname_utf8(entry);
    if (raw == nullptr) raw = archive_entry_pathname(entry);  // no UTF-8: as it is
    std::string name = raw != nullptr ? raw : "";
    std::replace(name.begin(), name.end(), '/', '\\');
    bool const inside = !name.empty() && name.front() != '\\' && name.back() != '\\' &&
                        ("\\" + name + "\\").find("\\..\\") == std::string::npos && name.find(':') == std::string::npos;
    if (inside) names.push_back(tablet::ToUtf16(name));
  }
  return names;
}

}  // namespace cli
