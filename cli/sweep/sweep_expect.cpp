#include "cli/sweep/sweep_expect.h"

#include <archive.h>
#include <archive_entry.h>
#include <zlib.h>

#include <algorithm>

#include "cli/base/service_facts.h"
#include "cli/base/zip_file.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

constexpr std::u16string_view kTarget = u"C:\\Windows\\System32\\";
constexpr std::u16string_view kToastTarget = u"C:\\Windows\\ToastGenerator\\";
constexpr std::size_t kPiece = 65536;
constexpr std::u16string_view kStepUpName = u"..\\";
constexpr std::u16string_view kModemClass = service_facts::kModemClass;

/// Where an entry's file lies. A name that begins with a step up leads into the folder above the target.
std::u16string PlaceOf(std::u16string_view target, std::u16string_view name) {
  if (!name.starts_with(kStepUpName)) return std::u16string(target) + std::u16string(name);
  std::u16string_view const above = target.substr(0, target.rfind(u'\\', target.size() - 2) + 1);
  return std::u16string(above) + std::u16string(name.substr(kStepUpName.size()));
}

/// The size and the sum of an entry, read piece by piece; false if libarchive cannot read all of it.
bool ReadEntry(archive* reader, archive_entry* entry, ExpectedFile& out) {
  std::vector<std::uint8_t> piece(kPiece);
  uLong sum = 0;
  la_ssize_t count = 0;
  while ((count = archive_read_data(reader, piece.data(), piece.size())) > 0) {
    sum = ::crc32(sum, piece.data(), static_cast<uInt>(count));
    out.size += static_cast<std::size_t>(count);
  }
  out.sum = static_cast<std::uint32_t>(sum);
  return count == 0 && out.size == static_cast<std::size_t>(archive_entry_size(entry));
}

enum class Depth { kNames, kContents };

/// An archive's files below a target, as far as libarchive can read it. `complete`: it can read all of it.
std::vector<ExpectedFile> FilesOf(const std::filesystem::path& file, std::u16string_view target, Depth depth,
                                  bool& complete) {
  complete = false;
  std::vector<ExpectedFile> files;
  ZipReader const reader = OpenZip(file);
  if (!reader) return files;
  archive_entry* entry = nullptr;
  int status = ARCHIVE_OK;
  while ((status = archive_read_next_header(reader.get(), &entry)) == ARCHIVE_OK) {
    if (archive_entry_filetype(entry) == AE_IFDIR) continue;
    ExpectedFile expected;
    if (depth == Depth::kContents && !ReadEntry(reader.get(), entry, expected)) return files;
    std::u16string name = tablet::ToUtf16(archive_entry_pathname(entry));
    std::replace(name.begin(), name.end(), u'/', u'\\');
    expected.path = PlaceOf(target, name);
    files.push_back(std::move(expected));
  }
  complete = status == ARCHIVE_EOF;
  return files;
}

std::vector<ExpectedFile> NamesOf(const std::filesystem::path& file, std::u16string_view target) {
  bool complete = false;
  return FilesOf(file, target, Depth::kNames, complete);
}

/// Adds the files that do not lie below the target, with the folders on their way.
void AddAbove(const std::vector<ExpectedFile>& files, std::u16string_view target, std::set<std::u16string>& above) {
  std::u16string const below = tablet::FoldCase(target);
  for (const ExpectedFile& file : files) {
    std::u16string path = tablet::FoldCase(file.path);
    // Ends at the folder above the target, which the target lies in.
    for (; !below.starts_with(path); path.resize(path.rfind(u'\\'))) {
      if (!path.starts_with(below)) above.insert(path);
    }
  }
}

std::vector<tablet::FileFacts> FilesIn(tablet::Drive& drive, std::u16string_view folder) {
  std::vector<tablet::FileFacts> found;
  drive.Find(std::u16string(folder) + u"\\*", found);
  std::erase_if(found,
                [](const tablet::FileFacts& facts) { return (facts.attributes & tablet::kAttributeDirectory) != 0; });
  return found;
}

}  // namespace

const std::optional<std::vector<ExpectedFile>>& ExpectedArchive::Files() const {
  if (is_read_) return files_;
  is_read_ = true;
  bool complete = false;
  std::vector<ExpectedFile> files = FilesOf(file_, kTarget, Depth::kContents, complete);
  if (complete) files_ = std::move(files);
  return files_;
}

bool NeedsArchives(const Expectations& expected) {
  return std::ranges::any_of(expected.archives, [](const auto& entry) { return entry.second.is_read(); });
}

void ReadArchives(const Expectations& expected) {
  for (auto const& [path, archive] : expected.archives) static_cast<void>(archive.Files());
}

DeploymentMarks MarksOf(const tablet::Registry& registry) {
  DeploymentMarks marks{.request = registry.Get(service_facts::kParametersKey, u"Distribute"), .image_paths = {}};
  for (const std::u16string& instance : registry.SubKeyNames(kModemClass)) {
    std::u16string const key = std::u16string(kModemClass) + u'\\' + instance;
    for (auto const name : {u"AmssFwImagePath", u"AmssSwImagePath"}) {
      if (auto value = registry.Get(key, name)) marks.image_paths[instance + u'\\' + name] = std::move(*value);
    }
  }
  return marks;
}

Expectations ExpectationsOf(tablet::Tablet& machine) {
  tablet::Drive& drive = machine.drive();
  Expectations expected;
  std::u16string_view const folder = kModemArchiveFolder.substr(0, kModemArchiveFolder.size() - 1);
  for (const tablet::FileFacts& file : FilesIn(drive, folder)) {
    std::u16string const path = std::u16string(kModemArchiveFolder) + file.name;
    std::vector<ExpectedFile> const names = NamesOf(drive.HostPath(path), kTarget);
    AddAbove(names, kTarget, expected.above_target);
    expected.largest_archive = std::max(expected.largest_archive, file.size);
    expected.most_entries = std::max<std::uint64_t>(expected.most_entries, names.size());
    expected.archives.emplace(tablet::FoldCase(path), ExpectedArchive(drive.HostPath(path)));
  }
  for (const tablet::FileFacts& file : FilesIn(drive, kToastTarget.substr(0, kToastTarget.size() - 1))) {
    if (!tablet::FoldCase(file.name).ends_with(u".ZIP")) continue;
    AddAbove(NamesOf(drive.HostPath(std::u16string(kToastTarget) + file.name), kToastTarget), kToastTarget,
             expected.above_target);
  }
  for (const tablet::FileFacts& file : FilesIn(drive, kDumpFolder)) {
    expected.dumps[file.name] = drive.Sum(std::u16string(kDumpFolder) + u'\\' + file.name);
  }
  return expected;
}

bool IsComplete(const Expectations& expected, std::u16string_view archive, tablet::Drive& drive) {
  auto const known = expected.archives.find(tablet::FoldCase(archive));
  if (known == expected.archives.end() || !known->second.Files()) return false;
  return std::ranges::all_of(*known->second.Files(), [&](const ExpectedFile& file) {
    if (!drive.Exists(file.path) || drive.Facts(file.path).size != file.size) return false;
    return drive.Sum(file.path) == file.sum;
  });
}

std::vector<std::string> LostDumps(const Expectations& expected, tablet::Drive& drive) {
  std::vector<std::u16string> folders{std::u16string(kDumpFolder)};
  std::vector<tablet::FileFacts> found;
  if (!expected.dumps.empty()) drive.Find(std::u16string(kRetailLog) + u"\\CPCrash_*", found);
  for (const tablet::FileFacts& folder : found) folders.push_back(std::u16string(kRetailLog) + u'\\' + folder.name);
  std::vector<std::string> lost;
  for (auto const& [name, sum] : expected.dumps) {
    bool const kept = std::ranges::any_of(folders, [&, &dump = name, wanted = sum](const std::u16string& folder) {
      std::u16string const path = folder + u'\\' + dump;
      return drive.Exists(path) && drive.Sum(path) == wanted;
    });
    if (!kept) lost.push_back(tablet::ToUtf8(name));
  }
  return lost;
}

}  // namespace cli
