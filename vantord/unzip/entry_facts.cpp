#include "vantord/unzip/entry_facts.h"

namespace {

// "Version made by" in APPNOTE: the hosts whose attributes are DOS's. 0 MS-DOS, 7 Macintosh, 11 NTFS, 14 VFAT.
constexpr std::uint32_t kDosHosts = 0x4881;
constexpr std::uint32_t kLastDosHost = 14;
constexpr std::uint32_t kUnixOwnerWrite = 1u << 23;
constexpr std::uint32_t kUnixDirectory = 1u << 30;

constexpr std::uint32_t kBlockHeaderSize = 4;  ///< two bytes of tag, two of data size

bool HasDosAttributes(std::uint32_t host) { return host <= kLastDosHost && ((kDosHosts >> host) & 1) != 0; }

std::int32_t SignedU32(const BYTE* bytes) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
                                   static_cast<std::uint32_t>(bytes[2]) << 16 |
                                   static_cast<std::uint32_t>(bytes[3]) << 24);
}

FILETIME FileTimeFromUnix(std::int32_t seconds) {
  constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600;
  constexpr std::int64_t kTicksPerSecond = 10000000;
  auto const ticks = static_cast<std::uint64_t>((seconds + kSecondsFrom1601To1970) * kTicksPerSecond);
  return {static_cast<DWORD>(ticks & 0xFFFFFFFF), static_cast<DWORD>(ticks >> 32)};
}

/// Reads the values of the extended timestamp block at `position`.
void ReadTimestampBlock(const BYTE* extra, std::uint32_t size, std::uint32_t position, FILETIME& write,
                        FILETIME& access, FILETIME& creation) {
  BYTE const flags = extra[position + kBlockHeaderSize];
  std::uint32_t at = position + kBlockHeaderSize + 1;
  FILETIME* const inOrder[] = {&write, &access, &creation};
  for (std::uint32_t bit = 0; bit < 3; ++bit) {
    if ((flags >> bit & 1) == 0) continue;
    if (at + 4 > size) return;  // an incomplete value counts as missing, and so do those after it
    *inOrder[bit] = FileTimeFromUnix(SignedU32(extra + at));
    at += 4;
  }
}

}  // namespace

DWORD EntryAttributes(std::uint32_t versionMadeBy, std::uint32_t externalAttributes) {
  std::uint32_t const e = externalAttributes;
  if (HasDosAttributes(versionMadeBy >> 8)) {
    return e & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_DIRECTORY |
                FILE_ATTRIBUTE_ARCHIVE);
  }
  // Deliberate: For every other host the upper half is taken as a Unix mode: the archive bit is set, and the file is
  // read-only without the owner's write bit, even if the host stores no attributes. Expected: plain files for hosts
  // without attributes.
  // Test: EntryFactsTest.OtherHostsAreReadOnlyWithoutTheOwnersWriteBit
  DWORD attributes = FILE_ATTRIBUTE_ARCHIVE;
  if ((e & kUnixOwnerWrite) == 0) attributes |= FILE_ATTRIBUTE_READONLY;
  if ((e & kUnixDirectory) != 0) attributes |= FILE_ATTRIBUTE_DIRECTORY;
  return attributes;
}

FILETIME FileTimeFromDos(std::uint32_t dosDateTime) {
  std::uint32_t const d = dosDateTime;
  SYSTEMTIME time = {};
  time.wYear = static_cast<WORD>((d >> 25) + 1980);
  time.wMonth = static_cast<WORD>((d >> 21) & 15);
  time.wDay = static_cast<WORD>((d >> 16) & 31);
  time.wHour = static_cast<WORD>((d >> 11) & 31);
  time.wMinute = static_cast<WORD>((d >> 5) & 63);
  time.wSecond = static_cast<WORD>((d & 31) * 2);
  // Zero if the fields are not a date, as in an archive without times; a zero time leaves the file's own.
  FILETIME local = {};
  FILETIME utc = {};
  // Deliberate: The local time is converted with today's bias. Expected: the bias of the date itself.
  // Test: EntryFactsTest.ADosTimeIsLocalTime
  if (::SystemTimeToFileTime(&time, &local)) ::LocalFileTimeToFileTime(&local, &utc);
  return utc;
}

void ReadExtendedTimestamps(const BYTE* extra, std::uint32_t size, FILETIME& write, FILETIME& access,
                            FILETIME& creation) {
  std::uint32_t position = 0;
  while (position + kBlockHeaderSize < size) {
    if (extra[position] == 'U' && extra[position + 1] == 'T') {
      ReadTimestampBlock(extra, size, position, write, access, creation);
      return;
    }
    // Deliberate: Only the low byte of the block's size is used, so a block of 256 bytes or more misleads the search.
    // Expected: all 16 bits.
    // Test: EntryFactsTest.ABlockOf256BytesThrowsTheWalkOff
    position += kBlockHeaderSize + extra[position + 2];
  }
}
