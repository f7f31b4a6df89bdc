// An entry's attributes and times, converted to Windows' forms.
#pragma once

#include <windows.h>

#include <cstdint>

/// FILE_ATTRIBUTE_* bits from the central header's "version made by" and "external file attributes".
[[nodiscard]] DWORD EntryAttributes(std::uint32_t versionMadeBy, std::uint32_t externalAttributes);

/// Converts a DOS date and time from local time to UTC. Returns zero if it is not a date.
[[nodiscard]] FILETIME FileTimeFromDos(std::uint32_t dosDateTime);

/// Reads the extended timestamps of a local extra field of `size` bytes. Times that are missing there stay unchanged.
void ReadExtendedTimestamps(const BYTE* extra, std::uint32_t size, FILETIME& write, FILETIME& access,
                            FILETIME& creation);
