#include <windows.h>
// windows.h comes first, as everywhere.
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
/// The service looks for an end record in so many bytes.
constexpr std::size_t kWindow = 1028;
/// The service seeks with signed 32-bit offsets.
constexpr std::uint64_t kReach = std::uint64_t{1} << 31;

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

SurveyedEntry ReadEntry(ZipArchiveReader* reader, std::string& name, bool with_data) {
  SurveyedEntry entry;
  entry.header_ok = reader->currentEntryOk;
  ZipCentralEntryInfo info;
  GetCurrentEntryInfo(reader, &info, nullptr, name.data(), kNameBytes);
  entry.raw_name.assign(name, 0, std::min<std::size_t>(info.nameLength, kNameBytes));
  entry.method = info.compressionMethod;
  entry.crc = info.crc32;
  entry.bytes = info.uncompressedSize;
  entry.packed_bytes = info.compressedSize;
  entry.encrypted = (info.flags & ZIP_FLAG_ENCRYPTED) != 0;
  entry.has_utf8_flag = (info.flags & kUtf8Flag) != 0;
  if (with_data) ReadData(reader, entry);
  return entry;
}

std::uint32_t U16(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]) | static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + 1]))
                                                     << 8;
}
std::uint32_t U32(const std::string& bytes, std::size_t at) { return U16(bytes, at) | U16(bytes, at + 2) << 16; }

bool IsZip64(const std::string& tail, std::size_t at) {
  constexpr std::size_t kLocatorSize = 20;
  if (at >= kLocatorSize && tail.compare(at - kLocatorSize, 4, "PK\6\7") == 0) return true;
  return U16(tail, at + 8) == 0xFFFF || U32(tail, at + 12) == 0xFFFFFFFF || U32(tail, at + 16) == 0xFFFFFFFF;
}

/// What is wrong with an end record at `at` of the file's last bytes, which begin at `start` of the file.
std::string TroubleOf(const std::string& tail, std::size_t at, std::uint64_t start, bool zip64) {
  std::size_t const after = tail.size() - at;
  if (zip64) return "it is a Zip64 archive, which the service does not know";
  if (after > kWindow) {
    return fmt::format(
        "its end record begins {} bytes before the end of the file, and the service reads the last {} bytes only: a "
        "comment may have 1006 bytes",
        after, kWindow);
  }
  if (start + tail.size() - kWindow >= kReach)
    return "it is larger than 2 GiB, which the service's offsets do not reach";
  if (U16(tail, at + 4) != 0 || U16(tail, at + 6) != 0) return "it is one of several disks of an archive";
  if (U16(tail, at + 8) != U16(tail, at + 10)) return "its end record gives two different numbers of entries";
  if (std::uint64_t{U32(tail, at + 12)} + U32(tail, at + 16) > start + at) {
    return "its central directory would reach into its end record: bytes are missing";
  }
  return "the service cannot use its end record";
}

}  // namespace

Survey ReadSurvey(const std::string& path, bool with_data) {
  std::u16string const wide = tablet::ToUtf16(path);
  Survey survey;
  std::unique_ptr<ZipArchiveReader> reader = OpenZipArchive(lufopen(wide.c_str()));
  std::unique_ptr<ZipHandle, ZipCloser> const front(OpenZipFile(wide.c_str()));
  survey.opened = reader != nullptr && front != nullptr;
  if (!survey.opened) return survey;
  survey.claimed = reader->numberOfEntries;
  std::string name(kNameBytes + 1, '\0');
  for (std::uint32_t index = 0; index < survey.claimed; ++index) {
    SurveyedEntry entry = ReadEntry(reader.get(), name, with_data);
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

EndRecord ReadEndRecord(const std::filesystem::path& file) {
  constexpr std::uint64_t kEndRecordSize = 22;
  constexpr std::uint64_t kLongestTail = 65535 + kEndRecordSize;
  EndRecord end;
  std::ifstream in(file, std::ios::binary);
  in.seekg(0, std::ios::end);
  auto const size = static_cast<std::uint64_t>(std::max<std::streamoff>(in.tellg(), 0));
  std::string tail(static_cast<std::size_t>(std::min(size, kLongestTail)), '\0');
  in.seekg(-static_cast<std::streamoff>(tail.size()), std::ios::end);
  in.read(tail.data(), static_cast<std::streamsize>(tail.size()));
  std::size_t const at = tail.rfind("PK\5\6");
  end.out_of_reach = at == std::string::npos && size >= kReach;
  if (size < kEndRecordSize) {
    end.trouble = fmt::format("it has {} bytes, too few for a zip archive", size);
  } else if (at == std::string::npos) {
    end.trouble = "it has no end record: it is cut off, or not a zip archive";
  } else if (at + kEndRecordSize > tail.size()) {
    end.cut_off = true;
    end.trouble = "its end record is cut off";
  } else {
    end.out_of_reach = size - tail.size() + at >= kReach;
    end.opens_empty = end.out_of_reach && size - kWindow < kReach;
    end.zip64 = IsZip64(tail, at);
    end.cut_off = at + kEndRecordSize + U16(tail, at + 20) > tail.size();
    end.trouble = TroubleOf(tail, at, size - tail.size(), end.zip64);
  }
  return end;
}

}  // namespace cli
