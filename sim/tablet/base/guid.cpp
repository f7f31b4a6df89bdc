#include "sim/tablet/base/guid.h"

#include <fmt/format.h>

namespace tablet {

namespace {

/// Where the bytes of the text go in memory: the first three fields are little-endian.
constexpr std::array<std::size_t, 16> kMemoryOrder{3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string Guid::ToString() const {
  std::string text = "{";
  for (std::size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += fmt::format("{:02X}", bytes[kMemoryOrder[i]]);
  }
  return text + "}";
}

std::optional<Guid> Guid::Parse(std::string_view text) {
  if (text.size() == 38 && text.front() == '{' && text.back() == '}') text = text.substr(1, 36);
  if (text.size() != 36) return std::nullopt;
  Guid guid;
  std::size_t byte = 0;
  for (std::size_t i = 0; i < text.size();) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (text[i++] != '-') return std::nullopt;
      continue;
    }
    int const high = HexDigit(text[i]);
    int const low = HexDigit(text[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    guid.bytes[kMemoryOrder[byte++]] = static_cast<std::uint8_t>(high * 16 + low);
    i += 2;
  }
  return guid;
}

}  // namespace tablet
