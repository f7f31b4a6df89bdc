// DOS attributes as file systems of the host hand them out: ntfs-3g, the kernel's ntfs3, Samba and Wine.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

namespace cli {

/// Nothing where the file system keeps none. Throws InputError for user.DOSATTRIB of an unknown form.
std::optional<std::uint32_t> HostAttributes(const std::filesystem::path& file);

/// The value of user.DOSATTRIB: "0x22", with or without a zero, or Samba's record, which may begin with that text.
/// Nothing for other forms.
std::optional<std::uint32_t> ParseDosAttrib(std::string_view value);

}  // namespace cli
