// The smallest hive file of Windows' registry, from which tests make others.
#pragma once

#include <cstdint>
#include <string>

namespace testing_support {

/// Bytes of the first page, before the cells.
inline constexpr std::size_t kHiveHead = 4096;

/// A header, and one bin with the root key, its security descriptor and free space.
std::string EmptyHive();

void PutHiveNumber(std::string& hive, std::size_t at, std::uint32_t number);
/// Makes the checksum of the header right again.
void SealHive(std::string& hive);

}  // namespace testing_support
