// What the service made of an entry: the file on the drive.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "sim/tablet/drive/drive.h"

namespace cli {

/// Attributes, time of writing, checksum and version of a file of the drive: {"attributes": "RA", "written":
/// "2026-03-02 08:00:00", "sum": "0a1b2c3d", "version": "1.0.25.0" or null}; null for what is not a file.
nlohmann::ordered_json DescribeFile(const tablet::Drive& drive, const std::string& path);

}  // namespace cli
