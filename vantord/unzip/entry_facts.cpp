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

/// The values of an extended timestamp block, whose tag stands at `position`.
void ReadTimestampBlock(const BYTE* extra, std::uint32_t size, std::uint32_t position, FILETIME& write,
                        FILETIME& access, FILETIME& creation) {
  BYTE const flags = extra[position + kBlockHeaderSize];
  std::uint32_t at = position + kBlockHeaderSize + 1;
  FILETIME* const inOrder[] = {&write, &access, &creation};
  for (std::uint32_t bit = 0; bit < 3; ++bit) {
    if ((flags >> bit & 1) == 0) continue;
    if (at + 4 > size) return;  // a value that is not wholly there is absent, and so are those behind it
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
  // Kept on purpose: everything else has Unix's mode in its upper half, carries the archive bit and is read-only
  // without the owner's write bit, also where a host stores no attributes at all; one would expect those to be plain
  // files. Pinned by EntryFactsTest.OtherHostsAreReadOnlyWithoutTheOwnersWriteBit.
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
  // Zero where the fields make no date, as in an archive without times: setting a zero time leaves the file's own.
  FILETIME local = {};
  FILETIME utc = {};
  // Kept on purpose: local time by the bias of today; one would expect that of the date itself. Pinned by
  // EntryFactsTest.ADosTimeIsLocalTime.
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
    // Kept on purpose: the low byte of the block's size only; one would expect all 16 bits. A block of 256 bytes or
    // more throws the walk off. Pinned by EntryFactsTest.ABlockOf256BytesThrowsTheWalkOff.
    position += kBlockHeaderSize + extra[position + 2];
  }
}
