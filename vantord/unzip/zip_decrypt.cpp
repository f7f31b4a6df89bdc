#include "vantord/unzip/zip_decrypt.h"

#include <array>

namespace {

/// The table of APPNOTE's CRC-32. zlib's own table is not part of its documented interface.
constexpr std::array<std::uint32_t, 256> MakeCrc32Table() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t crc = i;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    table[i] = crc;
  }
  return table;
}
constexpr std::array<std::uint32_t, 256> kCrc32Table = MakeCrc32Table();

std::uint32_t Crc32Step(std::uint32_t crc, BYTE byte) { return kCrc32Table[(crc ^ byte) & 0xff] ^ (crc >> 8); }

}  // namespace

void InitKeys(ZipKeys& keys, const char* password) {
  keys = {0x12345678, 0x23456789, 0x34567890};
  if (password == nullptr) return;
  for (; *password != 0; ++password) UpdateKeys(keys, static_cast<BYTE>(*password));
}

void UpdateKeys(ZipKeys& keys, BYTE plain) {
  keys.key0 = Crc32Step(keys.key0, plain);
  keys.key1 = (keys.key1 + (keys.key0 & 0xff)) * 134775813u + 1u;
  keys.key2 = Crc32Step(keys.key2, static_cast<BYTE>(keys.key1 >> 24));
}

void Decrypt(ZipKeys& keys, BYTE* data, std::uint32_t size) {
  for (std::uint32_t i = 0; i < size; ++i) {
    // 32 bits wide: the product of two 16-bit numbers would overflow a signed int.
    std::uint32_t const t = (keys.key2 & 0xffff) | 2u;
    data[i] = static_cast<BYTE>(data[i] ^ ((t * (t ^ 1u)) >> 8));
    UpdateKeys(keys, data[i]);
  }
}
