// zlib's crc32 for ARM64: by the processor's own instructions where it has them. Windows does not presuppose them.
#include <windows.h>
#include <zlib.h>

// Both are made of zlib's crc32.c; the names are given by cmake/Zlib.cmake.
uLong crc32_by_tables(uLong crc, const Bytef* data, uInt size);
uLong z_crc32(uLong crc, const Bytef* data, uInt size);

uLong crc32(uLong crc, const Bytef* data, uInt size) {
  if (IsProcessorFeaturePresent(PF_ARM_V8_CRC32_INSTRUCTIONS_AVAILABLE)) return z_crc32(crc, data, size);
  return crc32_by_tables(crc, data, size);
}
