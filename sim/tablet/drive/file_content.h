// The bytes of a file of a drive in memory. For the drive's own sources only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/tablet/base/descriptor.h"
#include "sim/tablet/kernel/clock.h"

namespace tablet {

/// Shared by all copies of a drive until one of them changes it; see DriveNode::Writable.
struct FileContent {
  std::string host;  ///< the host's file that still holds the bytes; empty: `bytes` does
  FileTicks host_written = 0;
  std::uint64_t host_size = 0;
  std::vector<std::uint8_t> bytes;
  std::optional<std::uint32_t> sum;  ///< known after the first request
};

/// Opens a host's file or folder (`flags`: those of open) and leaves its time of access alone where the host allows it.
/// Not valid, with errno set, if that fails.
[[nodiscard]] Descriptor OpenHost(const std::string& host, int flags);
/// The same for a content on the host. ESTALE if the file is no longer the one that the drive was loaded from.
[[nodiscard]] Descriptor OpenContent(const FileContent& content);

/// Reads `size` bytes of a host's file at once. False if it cannot be read or has another size.
[[nodiscard]] bool ReadWhole(const Descriptor& file, std::uint64_t size, std::vector<std::uint8_t>& out);
/// CRC-32 of `size` bytes of a host's file, read piece by piece. Nothing under the same conditions.
[[nodiscard]] std::optional<std::uint32_t> SumOfHost(const Descriptor& file, std::uint64_t size);
[[nodiscard]] std::uint32_t SumOfBytes(const std::vector<std::uint8_t>& bytes);

}  // namespace tablet
