// Drive C: of an imported tablet: what the service reads, starts or replaces.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/import/volume.h"

namespace cli {

struct DriveFacts {
  std::size_t files = 0;
  std::uint64_t bytes = 0;
  bool has_archives = false;    ///< the archives' folder is there
  bool has_service = false;     ///< the service's executable is there
  bool has_attributes = false;  ///< the volume keeps DOS attributes
};

/// Copies from the volume to the folder C of `tablet`, with DOS attributes and times. Throws InputError.
DriveFacts ImportDrive(Volume& volume, const std::filesystem::path& tablet);

/// Names of the files in an archive, as paths below the folder it is extracted to; none for what is not an archive.
std::vector<std::u16string> FilesInArchive(const std::filesystem::path& archive);

}  // namespace cli
