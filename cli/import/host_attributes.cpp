#include "cli/import/host_attributes.h"

#include <sys/xattr.h>

#include <array>
#include <charconv>
#include <string>

#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

/// Extended attributes are not always listed: each is asked for by its name.
std::optional<std::string> Extended(const std::filesystem::path& file, const char* name) {
  std::array<char, 1024> buffer;
  ssize_t const size = ::lgetxattr(file.c_str(), name, buffer.data(), buffer.size());
  if (size < 0) return std::nullopt;
  return std::string(buffer.data(), static_cast<std::size_t>(size));
}

std::uint32_t LittleAt(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t number = 0;
  for (std::size_t i = count; i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
  return number;
}

std::uint32_t Big(std::string_view bytes) {
  std::uint32_t number = 0;
  for (char const byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

}  // namespace

std::optional<std::uint32_t> ParseDosAttrib(std::string_view value) {
  std::string_view const text = value.substr(0, value.find('\0'));
  if (text.starts_with("0x")) {
    std::uint32_t number = 0;
    auto const [end, error] = std::from_chars(text.data() + 2, text.data() + text.size(), number, 16);
    if (error == std::errc() && end == text.data() + text.size()) return number;
    return std::nullopt;
  }
  if (!text.empty()) return std::nullopt;
  // The record: the text's zero, its version twice at even places, then by fours which fields are valid, and the first.
  constexpr std::size_t kVersion = 2, kLevel = 4, kValid = 8, kAttributes = 12;
  if (value.size() < kAttributes + 4) return std::nullopt;
  std::uint32_t const version = LittleAt(value, kVersion, 2);
  bool const known = version >= 3 && version <= 5 && LittleAt(value, kLevel, 2) == version;
  if (!known || (LittleAt(value, kValid, 4) & 1) == 0) return std::nullopt;
  return LittleAt(value, kAttributes, 4);
}

std::optional<std::uint32_t> HostAttributes(const std::filesystem::path& file) {
  if (std::optional<std::string> const samba = Extended(file, "user.DOSATTRIB")) {
    std::optional<std::uint32_t> const attributes = ParseDosAttrib(*samba);
    if (!attributes) {
      throw tablet::InputError(file.string(), "user.DOSATTRIB is of no known form",
                               "set it to a number in the form 0x22 or remove it");
    }
    return attributes;
  }
  // The first has one order of bytes on every host.
  std::optional<std::string> const big = Extended(file, "system.ntfs_attrib_be");
  if (big && big->size() == 4) return Big(*big);
  std::optional<std::string> const ntfs = Extended(file, "system.ntfs_attrib");
  if (ntfs && ntfs->size() == 4) return LittleAt(*ntfs, 0, 4);
  std::optional<std::string> const dos = Extended(file, "system.dos_attrib");
  if (dos && dos->size() == 1) return LittleAt(*dos, 0, 1);
  return std::nullopt;
}

}  // namespace cli
