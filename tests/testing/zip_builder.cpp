#include "tests/testing/zip_builder.h"

#include <zlib.h>

#include <array>
#include <random>
#include <stdexcept>

namespace testing_support {

namespace {

void Append(Bytes& out, const Bytes& more) { out.insert(out.end(), more.begin(), more.end()); }

void Put16(Bytes& out, std::uint16_t value) {
  out.push_back(static_cast<std::uint8_t>(value & 0xff));
  out.push_back(static_cast<std::uint8_t>(value >> 8));
}

void Put32(Bytes& out, std::uint32_t value) {
  Put16(out, static_cast<std::uint16_t>(value & 0xffff));
  Put16(out, static_cast<std::uint16_t>(value >> 16));
}

std::uint32_t CrcOf(const Bytes& content) {
  return static_cast<std::uint32_t>(::crc32(0, content.data(), static_cast<uInt>(content.size())));
}

/// APPNOTE's traditional encryption, the writing side; made bit by bit, to share nothing with the reader under test.
class Encryptor {
 public:
  explicit Encryptor(std::string_view password) {
    for (char c : password) Mix(static_cast<std::uint8_t>(c));
  }
  std::uint8_t operator()(std::uint8_t plain) {
    std::uint64_t const t = (key_[2] & 0xffff) | 2;
    auto const stream = static_cast<std::uint8_t>((t * (t ^ 1)) >> 8);
    Mix(plain);
    return plain ^ stream;
  }

 private:
  static std::uint32_t Crc(std::uint32_t crc, std::uint8_t byte) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    return crc;
  }
  void Mix(std::uint8_t plain) {
    key_[0] = Crc(key_[0], plain);
    key_[1] = static_cast<std::uint32_t>((key_[1] + std::uint64_t{key_[0] & 0xff}) * 134775813 + 1);
    key_[2] = Crc(key_[2], static_cast<std::uint8_t>(key_[1] >> 24));
  }
  std::array<std::uint32_t, 3> key_{0x12345678, 0x23456789, 0x34567890};
};

Bytes Encrypted(const Bytes& data, const std::string& password, std::uint8_t check_byte) {
  Encryptor encrypt(password);
  Bytes out;
  for (std::uint8_t random = 1; random < 12; ++random) out.push_back(encrypt(static_cast<std::uint8_t>(random * 37)));
  out.push_back(encrypt(check_byte));
  for (std::uint8_t byte : data) out.push_back(encrypt(byte));
  return out;
}

void Write(Bytes& out, const LocalHeader& header) {
  Put32(out, header.signature);
  Put16(out, header.version_needed);
  Put16(out, header.flags);
  Put16(out, header.method);
  Put32(out, header.dos_date_time);
  Put32(out, header.crc32);
  Put32(out, header.compressed_size);
  Put32(out, header.uncompressed_size);
  Put16(out, header.name_length);
  Put16(out, header.extra_length);
  Append(out, header.name);
  Append(out, header.extra);
}

void Write(Bytes& out, const CentralHeader& header) {
  Put32(out, header.signature);
  Put16(out, header.version_made_by);
  Put16(out, header.version_needed);
  Put16(out, header.flags);
  Put16(out, header.method);
  Put32(out, header.dos_date_time);
  Put32(out, header.crc32);
  Put32(out, header.compressed_size);
  Put32(out, header.uncompressed_size);
  Put16(out, header.name_length);
  Put16(out, header.extra_length);
  Put16(out, header.comment_length);
  Put16(out, header.disk_number_start);
  Put16(out, header.internal_attributes);
  Put32(out, header.external_attributes);
  Put32(out, header.local_header_offset);
  Append(out, header.name);
  Append(out, header.extra);
  Append(out, header.comment);
}

void Write(Bytes& out, const EndRecord& record) {
  Put32(out, record.signature);
  Put16(out, record.disk);
  Put16(out, record.directory_disk);
  Put16(out, record.entries_on_disk);
  Put16(out, record.entries);
  Put32(out, record.directory_size);
  Put32(out, record.directory_offset);
  Put16(out, record.comment_length);
  Append(out, record.comment);
}

/// The entry's bytes as they follow its local header.
Bytes DataOf(const ZipItem& item) {
  if (item.data) return *item.data;
  Bytes data = item.method == 8 ? Deflate(item.content) : item.content;
  if (!item.password) return data;
  std::uint32_t const source = item.data_descriptor ? item.dos_date_time << 16 : CrcOf(item.content);
  return Encrypted(data, *item.password, static_cast<std::uint8_t>(source >> 24));
}

std::uint16_t FlagsOf(const ZipItem& item) {
  return static_cast<std::uint16_t>((item.password ? 1 : 0) | (item.data_descriptor ? 8 : 0));
}

CentralHeader CentralOf(const ZipItem& item, std::size_t data_size, std::size_t offset) {
  CentralHeader header;
  header.version_made_by = item.version_made_by;
  header.flags = FlagsOf(item);
  header.method = item.method;
  header.dos_date_time = item.dos_date_time;
  header.crc32 = CrcOf(item.content);
  header.compressed_size = static_cast<std::uint32_t>(data_size);
  header.uncompressed_size = static_cast<std::uint32_t>(item.content.size());
  header.name = ToBytes(item.name);
  header.extra = item.central_extra;
  header.comment = item.comment;
  header.name_length = static_cast<std::uint16_t>(header.name.size());
  header.extra_length = static_cast<std::uint16_t>(header.extra.size());
  header.comment_length = static_cast<std::uint16_t>(header.comment.size());
  header.external_attributes = item.external_attributes;
  header.local_header_offset = static_cast<std::uint32_t>(offset);
  return header;
}

LocalHeader LocalOf(const ZipItem& item, const CentralHeader& central) {
  LocalHeader header;
  header.flags = central.flags;
  header.method = central.method;
  header.dos_date_time = central.dos_date_time;
  header.name = central.name;
  header.name_length = central.name_length;
  header.extra = item.local_extra;
  header.extra_length = static_cast<std::uint16_t>(header.extra.size());
  if (item.data_descriptor) return header;
  header.crc32 = central.crc32;
  header.compressed_size = central.compressed_size;
  header.uncompressed_size = central.uncompressed_size;
  return header;
}

}  // namespace

Bytes ToBytes(std::string_view text) { return {text.begin(), text.end()}; }

Bytes Compressible(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>("modem image "[i % 12] + i / 5000);
  return bytes;
}

Bytes Incompressible(std::size_t size) {
  std::mt19937 random(static_cast<std::uint32_t>(size));
  Bytes bytes(size);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

Bytes ExtraBlock(std::uint16_t tag, const Bytes& data) {
  Bytes block;
  Put16(block, tag);
  Put16(block, static_cast<std::uint16_t>(data.size()));
  Append(block, data);
  return block;
}

Bytes TimestampBlock(std::uint8_t flags, const std::vector<std::int32_t>& times) {
  Bytes data{flags};
  for (std::int32_t time : times) Put32(data, static_cast<std::uint32_t>(time));
  return ExtraBlock(kTimestampTag, data);
}

Bytes Deflate(const Bytes& content) {
  z_stream stream = {};
  if (deflateInit2(&stream, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) throw std::runtime_error("deflate");
  Bytes out(deflateBound(&stream, content.size()));
  Bytes in = content;
  stream.next_in = in.data();
  stream.avail_in = static_cast<uInt>(in.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  int const code = deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (code != Z_STREAM_END) throw std::runtime_error("deflate");
  return out;
}

ZipItem& ZipBuilder::Add(std::string name, Bytes content, std::uint16_t method) {
  ZipItem& item = items_.emplace_back();
  item.name = std::move(name);
  item.content = std::move(content);
  item.method = method;
  return item;
}

ZipItem& ZipBuilder::AddFolder(std::string name) {
  ZipItem& item = Add(std::move(name), {}, 0);
  item.external_attributes = 0x10;
  return item;
}

Bytes ZipBuilder::Build() const {
  Bytes out;
  Bytes directory;
  for (const ZipItem& item : items_) {
    Bytes const data = DataOf(item);
    CentralHeader central = CentralOf(item, data.size(), out.size());
    LocalHeader local = LocalOf(item, central);
    if (item.edit_local) item.edit_local(local);
    Write(out, local);
    Append(out, data);
    if (item.data_descriptor) {
      Put32(out, 0x08074b50);
      Put32(out, central.crc32);
      Put32(out, central.compressed_size);
      Put32(out, central.uncompressed_size);
    }
    if (item.edit_central) item.edit_central(central);
    Write(directory, central);
  }
  EndRecord end;
  end.entries = end.entries_on_disk = static_cast<std::uint16_t>(items_.size());
  end.directory_size = static_cast<std::uint32_t>(directory.size());
  end.directory_offset = static_cast<std::uint32_t>(out.size());
  end.comment = comment;
  end.comment_length = static_cast<std::uint16_t>(comment.size());
  if (edit_end) edit_end(end);
  Append(out, directory);
  Write(out, end);
  out.insert(out.begin(), prefix.begin(), prefix.end());
  return out;
}

}  // namespace testing_support
