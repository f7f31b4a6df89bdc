// What an entry's headers say about the file: attributes and times, in Windows' terms.
#pragma once

#include <windows.h>

#include <cstdint>

/// FILE_ATTRIBUTE_* bits from the central header's "version made by" and "external file attributes".
[[nodiscard]] DWORD EntryAttributes(std::uint32_t versionMadeBy, std::uint32_t externalAttributes);

/// A DOS date and time, read as local time, in UTC. Zero when it is no date.
[[nodiscard]] FILETIME FileTimeFromDos(std::uint32_t dosDateTime);

/// Looks for the extended timestamps in a local extra field of `size` bytes. The times that are found replace the ones
/// given, the others stay.
void ReadExtendedTimestamps(const BYTE* extra, std::uint32_t size, FILETIME& write, FILETIME& access,
                            FILETIME& creation);
