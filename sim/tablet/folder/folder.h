// A tablet as a folder of the host: tablet.json, registry/*.reg, C/, efi/ and, where needed, attributes.txt.
// docs/tablet.md describes it.
#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

#include "sim/tablet/description/description.h"
#include "sim/tablet/machine/tablet.h"
#include "sim/tablet/registry/registry.h"

namespace tablet {

/// What runs have changed in the registry; read after all other files, whatever their names.
inline constexpr std::string_view kSavedRegistryFile = "zz-saved.reg";

/// Checks that the folder is a tablet and reads its tablet.json. Throws InputError.
Description ReadTabletFolder(const std::filesystem::path& folder);

/// What a tablet's registry files give: read in order of name, kSavedRegistryFile last. Throws InputError.
void ReadRegistryFolder(const std::filesystem::path& folder, Registry& registry, bool with_saved = true);

/// Fills the registry and the firmware of a tablet that was just powered on.
void LoadState(const std::filesystem::path& folder, Tablet& machine);

/// Copies files and folders with their data, times and extended attributes, sharing blocks where the host's file system
/// can. `to` must not exist. Throws InputError for what is neither file, folder nor symbolic link, and for failures.
void CopyTree(const std::filesystem::path& from, const std::filesystem::path& to);

/// The drive of a tablet as a run needs it: C/ and attributes.txt copied into `work`, an existing empty folder.
void CopyDrive(const std::filesystem::path& folder, const std::filesystem::path& work);

/// Makes `work`, which holds the drive of `machine`, a whole tablet: what `original` has besides the drive, with the
/// registry and the firmware as they are now. The given registry files stay as they are; kSavedRegistryFile holds what
/// differs from them.
void CompleteFolder(const std::filesystem::path& original, Tablet& machine, const std::filesystem::path& work);

/// Puts the state of `machine`, whose drive is in `work`, into `folder`, part by part: each is written aside and
/// then takes the place of the old one, which goes to `work`. `work` must be on the same file system.
void ReplaceState(const std::filesystem::path& folder, Tablet& machine, const std::filesystem::path& work);

}  // namespace tablet
