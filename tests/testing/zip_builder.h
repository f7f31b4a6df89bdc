// Writes zip archives byte by byte, well-formed or lying: every field of every record can be changed before it is
// written. By itself it writes what APPNOTE says.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

using Bytes = std::vector<std::uint8_t>;

/// The bytes of a text.
Bytes ToBytes(std::string_view text);
/// `size` bytes that deflate well (a short pattern) or hardly at all; the same ones every time.
Bytes Compressible(std::size_t size);
Bytes Incompressible(std::size_t size);

/// A date and time as DOS keeps it; seconds are even.
constexpr std::uint32_t DosTime(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                                unsigned second) {
  return (year - 1980) << 25 | month << 21 | day << 16 | hour << 11 | minute << 5 | second / 2;
}

/// One block of an extra field.
Bytes ExtraBlock(std::uint16_t tag, const Bytes& data);
/// The extended timestamp block: `flags` says which of the times (Unix seconds) follow.
Bytes TimestampBlock(std::uint8_t flags, const std::vector<std::int32_t>& times);
inline constexpr std::uint16_t kTimestampTag = 0x5455;

struct LocalHeader {
  std::uint32_t signature = 0x04034b50;
  std::uint16_t version_needed = 20;
  std::uint16_t flags = 0;
  std::uint16_t method = 0;
  std::uint32_t dos_date_time = 0;
  std::uint32_t crc32 = 0;
  std::uint32_t compressed_size = 0;
  std::uint32_t uncompressed_size = 0;
  std::uint16_t name_length = 0;
  std::uint16_t extra_length = 0;
  Bytes name;
  Bytes extra;
};

struct CentralHeader {
  std::uint32_t signature = 0x02014b50;
  std::uint16_t version_made_by = 0;  ///< 0: MS-DOS
  std::uint16_t version_needed = 20;
  std::uint16_t flags = 0;
  std::uint16_t method = 0;
  std::uint32_t dos_date_time = 0;
  std::uint32_t crc32 = 0;
  std::uint32_t compressed_size = 0;
  std::uint32_t uncompressed_size = 0;
  std::uint16_t name_length = 0;
  std::uint16_t extra_length = 0;
  std::uint16_t comment_length = 0;
  std::uint16_t disk_number_start = 0;
  std::uint16_t internal_attributes = 0;
  std::uint32_t external_attributes = 0;
  std::uint32_t local_header_offset = 0;
  Bytes name;
  Bytes extra;
  Bytes comment;
};

struct EndRecord {
  std::uint32_t signature = 0x06054b50;
  std::uint16_t disk = 0;
  std::uint16_t directory_disk = 0;
  std::uint16_t entries_on_disk = 0;
  std::uint16_t entries = 0;
  std::uint32_t directory_size = 0;
  std::uint32_t directory_offset = 0;
  std::uint16_t comment_length = 0;
  Bytes comment;
};

struct ZipItem {
  std::string name;  ///< as stored: UTF-8, "/" between folders
  Bytes content;
  std::uint16_t method = 8;  ///< 0 stored, 8 deflated; any other stores the content under that number
  std::uint32_t dos_date_time = DosTime(2018, 8, 16, 13, 25, 36);
  std::uint16_t version_made_by = 0;
  std::uint32_t external_attributes = 0x20;
  Bytes local_extra;
  Bytes central_extra;
  Bytes comment;
  bool data_descriptor = false;         ///< flag bit 3: zeros in the local header, the values after the data
  std::optional<std::string> password;  ///< traditional encryption
  std::optional<Bytes> data;            ///< replaces the compressed bytes and their size

  std::function<void(LocalHeader&)> edit_local;      ///< last look before the local header is written
  std::function<void(CentralHeader&)> edit_central;  ///< last look before the central header is written

  /// Changes both headers in the same way, so that they agree.
  template <typename Edit>
  void EditBoth(Edit edit) {
    edit_local = edit;
    edit_central = edit;
  }
};

class ZipBuilder {
 public:
  Bytes prefix;   ///< ahead of the archive proper; offsets do not count it
  Bytes comment;  ///< of the archive
  std::function<void(EndRecord&)> edit_end;

  /// Adds a file. The answer stays valid and may be changed until Build.
  ZipItem& Add(std::string name, Bytes content = {}, std::uint16_t method = 8);
  /// Adds a folder, with a name that ends in "/" and the directory attribute.
  ZipItem& AddFolder(std::string name);

  Bytes Build() const;

 private:
  std::deque<ZipItem> items_;
};

/// Raw deflate, as entries have it.
Bytes Deflate(const Bytes& content);

}  // namespace testing_support

using testing_support::Compressible;
using testing_support::ToBytes;
using testing_support::ZipBuilder;
using testing_support::ZipItem;
