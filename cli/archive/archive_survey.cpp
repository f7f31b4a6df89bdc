#include <windows.h>
// windows.h stands first, as everywhere.
#include "cli/archive/archive_survey.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>

#include "sim/tablet/base/text.h"
#include "vantord/unzip/unzip.h"
#include "vantord/unzip/zip_reader.h"

namespace cli {

namespace {

constexpr std::uint32_t kUtf8Flag = 0x800;
constexpr std::size_t kNameBytes = 65536;

struct ZipCloser {
  void operator()(ZipHandle* handle) const { CloseZipFile(handle); }
};

/// Takes the entry's bytes out, as far as they come, and looks at what the service does not: its checksum.
void ReadData(ZipArchiveReader* reader, SurveyedEntry& entry) {
  if (OpenCurrentEntry(reader, nullptr) != ZIP_OK) return;
  std::array<BYTE, 16384> out{};
  for (;;) {
    bool end = false;
    int const n = ReadCurrentEntry(reader, out.data(), static_cast<std::uint32_t>(out.size()), &end);
    if (n > 0) entry.delivered += static_cast<std::uint64_t>(n);
    entry.read_to_end = end;
    if (n <= 0 || end) break;
  }
  entry.crc_differs = CloseCurrentEntry(reader) == ZIP_CRC_MISMATCH;
}

SurveyedEntry ReadEntry(ZipArchiveReader* reader) {
  SurveyedEntry entry;
  entry.header_ok = reader->currentEntryOk;
  std::unique_ptr<char[]> const name(new char[kNameBytes + 1]());
  ZipCentralEntryInfo info;
  GetCurrentEntryInfo(reader, &info, nullptr, name.get(), kNameBytes);
  entry.raw_name.assign(name.get(), std::min<std::size_t>(info.nameLength, kNameBytes));
  entry.method = info.compressionMethod;
  entry.bytes = info.uncompressedSize;
  entry.packed_bytes = info.compressedSize;
  entry.encrypted = (info.flags & ZIP_FLAG_ENCRYPTED) != 0;
  entry.has_utf8_flag = (info.flags & kUtf8Flag) != 0;
  ReadData(reader, entry);
  return entry;
}

std::uint32_t U16(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]) | static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + 1]))
                                                     << 8;
}
std::uint32_t U32(const std::string& bytes, std::size_t at) { return U16(bytes, at) | U16(bytes, at + 2) << 16; }

/// What is wrong with an end record at `at` of the file's last bytes, which begin at `start` of the file.
std::string WhyBadEndRecord(const std::string& tail, std::size_t at, std::uint64_t start) {
  constexpr std::size_t kWindow = 1028;
  std::size_t const behind = tail.size() - at;
  if (behind > kWindow) {
    return fmt::format(
        "its end record stands {} bytes before the end of the file, and the service looks at the last {} bytes only: "
        "a comment may have 1006 bytes",
        behind, kWindow);
  }
  if (U16(tail, at + 4) != 0 || U16(tail, at + 6) != 0) return "it is one of several disks of an archive";
  std::uint32_t const entries = U16(tail, at + 8);
  std::uint32_t const size = U32(tail, at + 12);
  std::uint32_t const offset = U32(tail, at + 16);
  if (entries == 0xFFFF || size == 0xFFFFFFFF || offset == 0xFFFFFFFF) {
    return "it is a Zip64 archive, which the service does not know";
  }
  if (entries != U16(tail, at + 10)) return "its end record gives two different numbers of entries";
  if (std::uint64_t{size} + offset > start + at) {
    return "its central directory would reach into its end record: bytes are missing";
  }
  return "the service makes nothing of its end record";
}

}  // namespace

Survey ReadSurvey(const std::string& path) {
  std::u16string const wide = tablet::ToUtf16(path);
  Survey survey;
  std::unique_ptr<ZipArchiveReader> reader = OpenZipArchive(lufopen(wide.c_str()));
  std::unique_ptr<ZipHandle, ZipCloser> const front(OpenZipFile(wide.c_str()));
  survey.opened = reader != nullptr && front != nullptr;
  if (!survey.opened) return survey;
  survey.claimed = reader->numberOfEntries;
  for (std::uint32_t index = 0; index < survey.claimed; ++index) {
    SurveyedEntry entry = ReadEntry(reader.get());
    ZipEntry described = {};
    entry.described = GetZipEntry(front.get(), static_cast<INT>(index), described);
    entry.name = tablet::ToUtf8(described.name);
    entry.attributes = described.attributes;
    entry.folder = (described.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    survey.entries.push_back(std::move(entry));
    if (!reader->currentEntryOk) {
      survey.hangs = index + 1 < survey.claimed;
      break;
    }
    GoToNextEntry(reader.get());
  }
  CloseZipArchive(std::move(reader));
  return survey;
}

std::string WhyNoArchive(const std::filesystem::path& file) {
  constexpr std::uint64_t kEndRecordSize = 22;
  constexpr std::uint64_t kLongestTail = 65535 + kEndRecordSize;
  std::ifstream in(file, std::ios::binary);
  in.seekg(0, std::ios::end);
  auto const size = static_cast<std::uint64_t>(std::max<std::streamoff>(in.tellg(), 0));
  if (size < kEndRecordSize) return fmt::format("it has {} bytes, too few for a zip archive", size);
  std::string tail(static_cast<std::size_t>(std::min(size, kLongestTail)), '\0');
  in.seekg(-static_cast<std::streamoff>(tail.size()), std::ios::end);
  in.read(tail.data(), static_cast<std::streamsize>(tail.size()));
  std::size_t const at = tail.rfind(std::string("PK\5\6", 4));
  if (at == std::string::npos) return "it has no end record: it is cut off, or no zip archive at all";
  if (at + kEndRecordSize > tail.size()) return "its end record is cut off";
  return WhyBadEndRecord(tail, at, size - tail.size());
}

}  // namespace cli
