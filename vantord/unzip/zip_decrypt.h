// The traditional encryption of APPNOTE ("Traditional PKWARE Encryption"), reading side.
#pragma once

#include <windows.h>

#include <cstdint>

/// Bytes before an encrypted entry's data: eleven random ones and the check byte.
inline constexpr std::uint32_t ZIP_ENCRYPTION_HEADER_SIZE = 12;

struct ZipKeys {
  std::uint32_t key0;
  std::uint32_t key1;
  std::uint32_t key2;
};

/// Sets the start values and mixes the password's bytes in. A null password leaves the start values.
void InitKeys(ZipKeys& keys, const char* password);

/// Mixes one plain byte in.
void UpdateKeys(ZipKeys& keys, BYTE plain);

/// Decrypts `size` bytes in place.
void Decrypt(ZipKeys& keys, BYTE* data, std::uint32_t size);
