#include "sim/tablet/drive/file_content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <span>

#include "sim/tablet/drive/drive_node.h"

namespace tablet {

namespace {

constexpr std::size_t kPiece = std::size_t{256} * 1024;

/// Bytes until the buffer is full or the file ends; -1 with errno set.
ssize_t ReadPiece(const Descriptor& file, std::span<std::uint8_t> out) {
  std::size_t done = 0;
  while (done < out.size()) {
    ssize_t const count = ::read(file.get(), out.data() + done, out.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(done);
}

}  // namespace

Descriptor OpenHost(const std::string& host, int flags) {
  Descriptor file(::open(host.c_str(), flags | O_CLOEXEC | O_NOATIME));
  if (!file.valid() && errno == EPERM) file = Descriptor(::open(host.c_str(), flags | O_CLOEXEC));
  return file;
}

Descriptor OpenContent(const FileContent& content) {
  Descriptor file = OpenHost(content.host, O_RDONLY);
  struct stat status {};
  if (!file.valid()) return file;
  bool const same = ::fstat(file.get(), &status) == 0 &&
                    static_cast<std::uint64_t>(status.st_size) == content.host_size &&
                    ToTicks(status.st_mtim) == content.host_written;
  if (same) return file;
  file = Descriptor();
  errno = ESTALE;
  return file;
}

bool ReadWhole(const Descriptor& file, std::uint64_t size, std::vector<std::uint8_t>& out) {
  if (!file.valid()) return false;
  out.resize(static_cast<std::size_t>(size));
  std::uint8_t more = 0;
  return ReadPiece(file, out) == static_cast<ssize_t>(size) && ReadPiece(file, {&more, 1}) == 0;
}

std::optional<std::uint32_t> SumOfHost(const Descriptor& file, std::uint64_t size) {
  if (!file.valid()) return std::nullopt;
  std::vector<std::uint8_t> piece(static_cast<std::size_t>(std::min<std::uint64_t>(size, kPiece)) + 1);
  uLong sum = 0;
  for (;;) {
    ssize_t const count = ReadPiece(file, piece);
    if (count < 0 || static_cast<std::uint64_t>(count) > size) return std::nullopt;
    sum = ::crc32(sum, piece.data(), static_cast<uInt>(count));
    size -= static_cast<std::uint64_t>(count);
    if (static_cast<std::size_t>(count) < piece.size()) break;
  }
  if (size != 0) return std::nullopt;
  return static_cast<std::uint32_t>(sum);
}

std::uint32_t SumOfBytes(const std::vector<std::uint8_t>& bytes) {
  return static_cast<std::uint32_t>(::crc32_z(0, bytes.data(), bytes.size()));
}

}  // namespace tablet
