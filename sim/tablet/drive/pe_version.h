// The version resource of Windows executables, after Microsoft's description of the PE format: read from any image,
// and written as the smallest image that has one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "sim/tablet/base/win_error.h"

namespace tablet {

/// Bytes of a version resource that holds nothing but the fixed record: its head with the key, and the record.
inline constexpr std::size_t kVersionValueOffset = 40;
inline constexpr std::size_t kFixedVersionSize = 52;
inline constexpr std::size_t kLeastVersionResource = kVersionValueOffset + kFixedVersionSize;

/// Whether these are the headers of a PE image, whatever it is made for.
bool IsImage(std::span<const std::uint8_t> file);

/// The data of the first RT_VERSION resource of a PE32 or PE32+ image. kResourceDataNotFound for what is not an image,
/// has no resources or is damaged; kResourceTypeNotFound when the resources hold no version.
WinError FindVersionResource(std::span<const std::uint8_t> image, std::vector<std::uint8_t>& out);

/// A PE32+ image (ARM64, console, no code) whose only content is a version resource with this file and product version.
/// The resource is `resource_bytes` long: zeroes follow the fixed record. At least kLeastVersionResource; 0 means that.
std::vector<std::uint8_t> MakeExecutableWithVersion(std::uint16_t major, std::uint16_t minor, std::uint16_t build,
                                                    std::uint16_t revision, std::size_t resource_bytes = 0);

}  // namespace tablet
