// GUID, laid out as Windows lays it out.
#pragma once

#include <minwindef.h>

#include <cstring>

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using LPGUID = GUID*;
using LPCGUID = const GUID*;
using REFGUID = const GUID&;

static_assert(sizeof(GUID) == 16);

inline bool IsEqualGUID(REFGUID left, REFGUID right) { return std::memcmp(&left, &right, sizeof(GUID)) == 0; }
