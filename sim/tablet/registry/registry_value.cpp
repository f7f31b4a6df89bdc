#include "sim/tablet/registry/registry.h"

namespace tablet {

RegistryValue TextValue(std::u16string_view text) {
  RegistryValue value{kTypeText, {}};
  for (char16_t const unit : text) {
    value.data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    value.data.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  value.data.insert(value.data.end(), 2, 0);
  return value;
}

RegistryValue DwordValue(std::uint32_t number) {
  RegistryValue value{kTypeDword, {}};
  for (int shift = 0; shift < 32; shift += 8) value.data.push_back(static_cast<std::uint8_t>(number >> shift));
  return value;
}

std::u16string TextOf(const RegistryValue& value) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < value.data.size(); i += 2) {
    char16_t const unit = static_cast<char16_t>(value.data[i] | (value.data[i + 1] << 8));
    if (unit == 0) break;
    text.push_back(unit);
  }
  return text;
}

}  // namespace tablet
