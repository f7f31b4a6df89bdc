#include "kit/result/zip_file.h"

#include <zlib.h>

#include <stdexcept>
#include <utility>

namespace kit {

namespace {

constexpr std::uint32_t kLocalHeader = 0x04034b50;
constexpr std::uint32_t kCentralHeader = 0x02014b50;
constexpr std::uint32_t kEnd = 0x06054b50;
constexpr std::uint16_t kVersion = 20;  // 2.0: deflate
constexpr std::uint16_t kDeflated = 8;
constexpr std::uint16_t kNoTime = 0;
constexpr std::uint16_t kFirstDay = 0x21;  // January 1, 1980
constexpr int kRawWindowBits = -15;
constexpr int kMemoryLevel = 8;

void Put16(std::string& out, std::uint32_t value) {
  out.push_back(static_cast<char>(value & 0xFF));
  out.push_back(static_cast<char>(value >> 8 & 0xFF));
}

void Put32(std::string& out, std::uint32_t value) {
  Put16(out, value & 0xFFFF);
  Put16(out, value >> 16);
}

std::string Deflated(std::string_view data) {
  z_stream stream = {};
  if (::deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, kRawWindowBits, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::runtime_error("zlib cannot start");
  }
  std::string out(::deflateBound(&stream, static_cast<uLong>(data.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  int const code = ::deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  ::deflateEnd(&stream);
  if (code != Z_STREAM_END) throw std::runtime_error("zlib cannot compress");
  return out;
}

}  // namespace

void ZipFile::Add(std::string_view name, std::string_view data) {
  std::string const packed = Deflated(data);
  auto const crc = static_cast<std::uint32_t>(
      ::crc32(0, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size())));
  auto const offset = static_cast<std::uint32_t>(bytes_.size());
  // What the two headers of an entry have in common.
  std::string facts;
  Put16(facts, kVersion);
  Put16(facts, 0);
  Put16(facts, kDeflated);
  Put16(facts, kNoTime);
  Put16(facts, kFirstDay);
  Put32(facts, crc);
  Put32(facts, static_cast<std::uint32_t>(packed.size()));
  Put32(facts, static_cast<std::uint32_t>(data.size()));
  Put16(facts, static_cast<std::uint32_t>(name.size()));
  Put16(facts, 0);  // no extra field

  Put32(bytes_, kLocalHeader);
  bytes_ += facts;
  bytes_ += name;
  bytes_ += packed;

  Put32(directory_, kCentralHeader);
  Put16(directory_, kVersion);
  directory_ += facts;
  Put16(directory_, 0);  // no comment
  Put16(directory_, 0);  // first disk
  Put16(directory_, 0);  // internal attributes
  Put32(directory_, 0);  // external attributes
  Put32(directory_, offset);
  directory_ += name;
  ++entries_;
}

std::string ZipFile::Finish() {
  auto const offset = static_cast<std::uint32_t>(bytes_.size());
  auto const size = static_cast<std::uint32_t>(directory_.size());
  bytes_ += directory_;
  Put32(bytes_, kEnd);
  Put16(bytes_, 0);
  Put16(bytes_, 0);
  Put16(bytes_, entries_);
  Put16(bytes_, entries_);
  Put32(bytes_, size);
  Put32(bytes_, offset);
  Put16(bytes_, 0);
  return std::move(bytes_);
}

}  // namespace kit
