// GUIDs as the tablet's parts hold them.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tablet {

/// The 16 bytes in the memory order of Windows' GUID structure (first three fields little-endian).
struct Guid {
  std::array<std::uint8_t, 16> bytes{};
  auto operator<=>(const Guid&) const = default;

  /// Braced, upper case, 38 characters.
  std::string ToString() const;
  /// Takes 32 hex digits with hyphens, in either case, with or without braces.
  static std::optional<Guid> Parse(std::string_view text);
};

}  // namespace tablet
