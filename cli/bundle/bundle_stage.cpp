// The tablet's side of a bundle: what is packed, in a form that depends on no file system.
#include <algorithm>
#include <map>

#include "cli/bundle/bundle.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/dos_attributes.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* kSideFile = "attributes.txt";

/// "C:\Windows\a" for C/Windows/a.
std::u16string DrivePath(const fs::path& relative) {
  std::string text = "C:";
  for (const fs::path& part : relative) {
    if (part != "C") text += '\\' + part.string();
  }
  return tablet::ToUtf16(text.size() == 2 ? "C:\\" : text);
}

/// One file or folder, with its data and its time of writing; its other facts go to `entries`.
void StageOne(const fs::path& from, const fs::path& to, const fs::path& relative,
              const std::map<std::u16string, tablet::KeptFacts>& beside, std::vector<tablet::SideFileEntry>& entries) {
  bool const folder = fs::is_directory(from);
  if (fs::is_symlink(from) || (!folder && !fs::is_regular_file(from)))
    throw tablet::InputError(from.string(), "is neither file nor folder",
                             "put a copy of what it leads to in its place");
  if (folder) {
    fs::create_directory(to);
  } else {
    fs::copy_file(from, to);
  }
  std::u16string const path = DrivePath(relative);
  tablet::KeptFacts facts = tablet::ReadExtendedAttributes(from);
  if (auto const kept = beside.find(tablet::FoldCase(path)); kept != beside.end()) {
    if (!facts.attributes) facts.attributes = kept->second.attributes;
    if (!facts.creation) facts.creation = kept->second.creation;
  }
  if (!facts.attributes && !facts.creation) return;
  std::uint32_t const usual = folder ? tablet::kAttributeDirectory : tablet::kAttributeArchive;
  entries.push_back({path, facts.attributes.value_or(usual), facts.creation});
}

}  // namespace

void StageTablet(const fs::path& from, const fs::path& to) {
  tablet::ReadTabletFolder(from);
  fs::create_directory(to);
  fs::copy_file(from / "tablet.json", to / "tablet.json");
  for (const char* const part : {"registry", "efi"}) {
    if (fs::is_directory(from / part)) tablet::CopyTree(from / part, to / part);
  }
  std::vector<fs::path> paths{from / "C"};
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(from / "C")) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  auto const beside = tablet::ReadSideFile(from / kSideFile);
  std::vector<tablet::SideFileEntry> entries;
  for (const fs::path& path : paths)
    StageOne(path, to / fs::relative(path, from), fs::relative(path, from), beside, entries);
  if (!entries.empty()) tablet::WriteSideFile(to / kSideFile, entries);
  SetDriveTimes(to, DriveTimes(from));
}

}  // namespace cli
