// The lower bound of extraction: floor pieces|whole ARCHIVE TARGET. Reads no headers: the data are located by the
// archive's index, and the CRC-32 is compared with it. Sets no attributes and no times.
//
// pieces: zlib alone, 16 KiB in and 16 KiB out, with plain reads and writes: the service's method without anything
// around it. whole: each entry in one piece through libdeflate, the limit of any other method.
#include <fcntl.h>
#include <libdeflate.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "bench/archives.h"

namespace {

using bench::IndexEntry;

constexpr std::size_t kPiece = 16384;

void Check(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

int Create(const std::string& path) {
  int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  Check(file >= 0, "cannot create " + path);
  return file;
}

void Write(int file, const void* data, std::size_t size) {
  Check(::write(file, data, size) == static_cast<ssize_t>(size), "cannot write");
}

/// One entry through zlib, piece by piece. Returns its CRC-32.
std::uint32_t ExtractInPieces(int archive, const IndexEntry& entry, int file) {
  static std::array<std::uint8_t, kPiece> in;
  static std::array<std::uint8_t, kPiece> out;
  z_stream stream{};
  if (entry.method != 0) Check(inflateInit2(&stream, -MAX_WBITS) == Z_OK, "zlib has no memory");
  std::uint32_t crc = 0;
  std::uint64_t at = entry.offset;
  std::uint64_t const end = entry.offset + entry.compressed;
  std::uint32_t left = entry.uncompressed;
  while (left != 0) {
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(std::min<std::size_t>(left, kPiece));
    std::uint32_t const wanted = stream.avail_out;
    const std::uint8_t* produced = out.data();
    while (stream.avail_out != 0) {
      if (stream.avail_in == 0) {
        std::size_t const size = std::min<std::uint64_t>(end - at, kPiece);
        Check(::pread(archive, in.data(), size, static_cast<off_t>(at)) == static_cast<ssize_t>(size), "cannot read");
        at += size;
        stream.next_in = in.data();
        stream.avail_in = static_cast<uInt>(size);
      }
      if (entry.method == 0) {
        // Stored data is written from the input buffer.
        produced = in.data();
        stream.avail_in = stream.avail_out = 0;
      } else {
        int const code = inflate(&stream, Z_SYNC_FLUSH);
        Check(code == Z_OK || code == Z_STREAM_END, "bad data in " + entry.path);
      }
    }
    crc = static_cast<std::uint32_t>(::crc32(crc, produced, wanted));
    Write(file, produced, wanted);
    left -= wanted;
  }
  if (entry.method != 0) inflateEnd(&stream);
  return crc;
}

/// One entry in one piece. Returns its CRC-32.
std::uint32_t ExtractWhole(int archive, const IndexEntry& entry, int file) {
  static libdeflate_decompressor* const decoder = libdeflate_alloc_decompressor();
  static std::vector<std::uint8_t> in;
  static std::vector<std::uint8_t> out;
  in.resize(std::max<std::size_t>(in.size(), entry.compressed));
  out.resize(std::max<std::size_t>(out.size(), entry.uncompressed));
  ssize_t const read = ::pread(archive, in.data(), entry.compressed, static_cast<off_t>(entry.offset));
  Check(read == static_cast<ssize_t>(entry.compressed), "cannot read");
  const std::uint8_t* content = in.data();
  if (entry.method != 0) {
    auto const code =
        libdeflate_deflate_decompress(decoder, in.data(), entry.compressed, out.data(), entry.uncompressed, nullptr);
    Check(code == LIBDEFLATE_SUCCESS, "bad data in " + entry.path);
    content = out.data();
  }
  Write(file, content, entry.uncompressed);
  return libdeflate_crc32(0, content, entry.uncompressed);
}

void Extract(bool whole, const std::string& archive_path, const std::string& target) {
  int const archive = ::open(archive_path.c_str(), O_RDONLY | O_CLOEXEC);
  Check(archive >= 0, "cannot open " + archive_path);
  std::string folder;
  for (const IndexEntry& entry : bench::ReadIndex(archive_path)) {
    std::string const path = target + "/" + entry.path;
    std::string const parent = path.substr(0, path.rfind('/'));
    if (parent != folder) ::mkdir(parent.c_str(), 0777);
    folder = parent;
    int const file = Create(path);
    std::uint32_t const crc = whole ? ExtractWhole(archive, entry, file) : ExtractInPieces(archive, entry, file);
    ::close(file);
    Check(crc == entry.crc32, "wrong CRC-32 of " + entry.path);
  }
  ::close(archive);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    std::fputs("usage: floor pieces|whole ARCHIVE TARGET\n", stderr);
    return 2;
  }
  try {
    ::mkdir(arguments[3], 0777);
    Extract(std::string_view(arguments[1]) == "whole", arguments[2], arguments[3]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "floor: %s\n", error.what());
    return 1;
  }
  return 0;
}
