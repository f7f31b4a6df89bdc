#include "sim/tablet/folder/folder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <stdio.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/registry/reg_text.h"

namespace tablet {

namespace {

namespace fs = std::filesystem;

constexpr const char* kDescription = "tablet.json";
constexpr const char* kRegistry = "registry";
constexpr const char* kDrive = "C";
constexpr const char* kFirmware = "efi";
constexpr const char* kSideFile = "attributes.txt";

std::vector<fs::path> RegistryFiles(const fs::path& folder, bool with_saved) {
  std::vector<fs::path> files;
  fs::path const registry = folder / kRegistry;
  if (!fs::is_directory(registry)) return files;
  bool saved = false;
  for (const fs::directory_entry& entry : fs::directory_iterator(registry)) {
    if (entry.path().filename() == kSavedRegistryFile) {
      saved = true;
    } else if (entry.path().extension() == ".reg") {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  if (saved && with_saved) files.push_back(registry / kSavedRegistryFile);
  return files;
}

void WriteText(const fs::path& file, const std::string& text) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (!out) throw InputError(file.string(), "cannot be written", "check the folder's rights and space");
}

/// What the given registry files lack of the registry as it is now; empty when nothing.
std::string SavedRegistry(const fs::path& original, const Registry& now) {
  Registry given;
  ReadRegistryFolder(original, given, false);
  std::vector<RegistryChange> const changes = Registry::Compare(given, now);
  return changes.empty() ? std::string{} : WriteRegChanges(changes);
}

void Rename(const fs::path& from, const fs::path& to) {
  std::error_code failure;
  fs::rename(from, to, failure);
  if (failure) throw InputError(to.string(), "cannot be replaced: " + failure.message(), "check the folder's rights");
}

/// Exchanges the two. `to` exists at every moment.
void Exchange(const fs::path& from, const fs::path& to) {
  if (!fs::exists(to)) return Rename(from, to);
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0) return;
  // Not every file system can. The old one comes back when the new one cannot take its place.
  fs::path const aside = from.string() + ".before";
  Rename(to, aside);
  try {
    Rename(from, to);
  } catch (const InputError&) {
    Rename(aside, to);
    throw;
  }
}

}  // namespace

Description ReadTabletFolder(const fs::path& folder) {
  const std::string hint = fmt::format("\"vantord-tablet init {}\" makes a tablet", folder.string());
  if (!fs::exists(folder)) throw InputError(folder.string(), "there is no such folder", hint);
  if (!fs::is_directory(folder)) throw InputError(folder.string(), "is a file, not a tablet's folder", "name a folder");
  if (!fs::exists(folder / kDescription)) {
    throw InputError(folder.string(), "is no tablet: it has no tablet.json", hint + ", docs/tablet.md describes one");
  }
  Description description = ReadDescription(folder / kDescription);
  if (!fs::is_directory(folder / kDrive)) {
    throw InputError(folder.string(), "is no tablet: it has no folder C", "add the folder that is drive C:");
  }
  return description;
}

void ReadRegistryFolder(const fs::path& folder, Registry& registry, bool with_saved) {
  std::vector<fs::path> const files = RegistryFiles(folder, with_saved);
  // An export of an offline hive has numbered control sets and says which is the current one. Whether any file does is
  // known only when all have been read.
  Registry trial;
  for (const fs::path& file : files) ReadRegFile(file, trial);
  if (auto const current = trial.GetDword(u"SYSTEM\\Select", u"Current")) {
    std::u16string const control_set = ToUtf16(fmt::format("ControlSet{:03}", *current));
    if (!trial.HasKey(u"SYSTEM\\" + control_set)) {
      throw InputError(
          (folder / kRegistry).string(),
          fmt::format("SYSTEM\\Select says that {} is current, but it does not exist", ToUtf8(control_set)),
          "export that control set too, or remove SYSTEM\\Select");
    }
    registry.ServeControlSet(control_set);
  }
  for (const fs::path& file : files) ReadRegFile(file, registry);
}

void LoadState(const fs::path& folder, Tablet& machine) {
  ReadRegistryFolder(folder, machine.registry());
  machine.firmware().Load(folder / kFirmware);
}

void CopyDrive(const fs::path& folder, const fs::path& work) {
  CopyTree(folder / kDrive, work / kDrive);
  if (fs::exists(folder / kSideFile)) CopyTree(folder / kSideFile, work / kSideFile);
}

void CompleteFolder(const fs::path& original, Tablet& machine, const fs::path& work) {
  machine.drive().SaveSideFile();
  for (const fs::directory_entry& entry : fs::directory_iterator(original)) {
    fs::path const name = entry.path().filename();
    if (name == kDrive || name == kSideFile || name == kFirmware) continue;
    CopyTree(entry.path(), work / name);
  }
  fs::create_directories(work / kRegistry);
  fs::path const saved = work / kRegistry / kSavedRegistryFile;
  fs::remove(saved);
  std::string const changes = SavedRegistry(original, machine.registry());
  if (!changes.empty()) WriteText(saved, changes);
  machine.firmware().Save(work / kFirmware);
}

void ReplaceState(const fs::path& folder, Tablet& machine, const fs::path& work) {
  machine.drive().SaveSideFile();
  std::string const changes = SavedRegistry(folder, machine.registry());
  machine.firmware().Save(work / kFirmware);
  WriteText(work / kSavedRegistryFile, changes);

  Exchange(work / kDrive, folder / kDrive);
  if (fs::exists(work / kSideFile)) Rename(work / kSideFile, folder / kSideFile);
  if (fs::exists(work / kFirmware)) Exchange(work / kFirmware, folder / kFirmware);
  fs::path const saved = folder / kRegistry / kSavedRegistryFile;
  if (changes.empty()) {
    fs::remove(saved);
  } else {
    fs::create_directories(folder / kRegistry);
    Rename(work / kSavedRegistryFile, saved);
  }
}

}  // namespace tablet
