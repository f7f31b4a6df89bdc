// The first page of a hive file and of its logs: whether the file is whole and up to date.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace cli {

inline constexpr std::size_t kHivePage = 4096;

/// Throws InputError, which names `shown`, unless these are the first bytes (a page, or the whole file) of a hive file
/// of `file_bytes` that is not cut off.
void CheckHiveHead(std::span<const std::uint8_t> head, std::uint64_t file_bytes, const std::string& shown);

/// What says that changes are missing from the file: its sequence numbers, its checksum, newer entries of its logs.
/// Empty for a file that is up to date.
std::string PendingChanges(std::span<const std::uint8_t> head, const std::vector<std::filesystem::path>& logs);

}  // namespace cli
