#include "unzip/zip_decrypt.h"

#include <zlib.h>

namespace {

std::uint32_t Crc32Step(std::uint32_t crc, BYTE byte) {
  return static_cast<std::uint32_t>(get_crc_table()[(crc ^ byte) & 0xff]) ^ (crc >> 8);
}

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
