// SHA-256 of files.
#pragma once

#include <filesystem>
#include <string>

namespace cli {

/// 64 hexadecimal digits. Throws InputError for a file that cannot be read.
std::string Sha256Of(const std::filesystem::path& file);

}  // namespace cli
