// Hive files for tests: an empty one, filled with what a registry holds.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "sim/tablet/registry/registry.h"

namespace testing_support {

/// Writes the keys below a top key of the registry ("SYSTEM") as the hive file of it.
void WriteHive(const std::filesystem::path& file, const tablet::Registry& registry, std::u16string_view hive);

/// Makes a folder the drive of a Windows that is not running: the drive of a tablet's folder, and its registry as the
/// hives SYSTEM, with the control set of this number, and SOFTWARE.
void MakeWindowsVolume(const std::filesystem::path& tablet, const std::filesystem::path& volume, int control_set = 1);

std::string ReadBytes(const std::filesystem::path& file);
void WriteBytes(const std::filesystem::path& file, const std::string& bytes);

}  // namespace testing_support
