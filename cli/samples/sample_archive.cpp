#include "cli/samples/sample_archive.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace cli {

namespace {

/// A small generator of our own, so that samples are the same everywhere and are made faster than they are compressed.
class Noise {
 public:
  explicit Noise(const std::string& seed) {
    for (char const c : seed) state_ = (state_ ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
    if (state_ == 0) state_ = 1;
  }
  std::uint64_t Next() {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return state_ * 0x2545F4914F6CDD1DULL;
  }

 private:
  std::uint64_t state_ = 0xCBF29CE484222325ULL;
};

constexpr std::size_t kBlock = 4096;

void FillCode(std::span<std::uint8_t> block, Noise& noise) {
  for (std::size_t at = 0; at < block.size(); at += 8) {
    std::uint64_t const word = noise.Next();
    std::memcpy(&block[at], &word, std::min<std::size_t>(8, block.size() - at));
  }
}

void FillTable(std::span<std::uint8_t> block, Noise& noise) {
  std::uint32_t address = 0x88000000U + static_cast<std::uint32_t>(noise.Next() & 0xFFFF00);
  for (std::size_t at = 0; at < block.size(); at += 4) {
    address += 0x20;
    std::memcpy(&block[at], &address, std::min<std::size_t>(4, block.size() - at));
  }
}

struct WriterCloser {
  void operator()(archive* writer) const { archive_write_free(writer); }
};
struct EntryCloser {
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

la_ssize_t Append(archive*, void* sink, const void* data, std::size_t size) {
  auto* const out = static_cast<std::vector<std::uint8_t>*>(sink);
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  out->insert(out->end(), bytes, bytes + size);
  return static_cast<la_ssize_t>(size);
}

void Check(archive* writer, int code) {
  if (code != ARCHIVE_OK) throw std::runtime_error(std::string("the archiver failed: ") + archive_error_string(writer));
}

void AddEntry(archive* writer, const ArchiveEntry& wanted) {
  bool const folder = wanted.name.ends_with('/');
  std::unique_ptr<archive_entry, EntryCloser> const entry(archive_entry_new());
  archive_entry_set_pathname(entry.get(), wanted.name.c_str());
  archive_entry_set_filetype(entry.get(), folder ? AE_IFDIR : AE_IFREG);
  archive_entry_set_perm(entry.get(), folder ? 0755 : wanted.read_only ? 0444 : 0644);
  archive_entry_set_size(entry.get(), folder ? 0 : static_cast<la_int64_t>(wanted.size));
  // Write, access and creation: three different times show which one went where.
  archive_entry_set_mtime(entry.get(), wanted.written_at, 0);
  archive_entry_set_atime(entry.get(), wanted.written_at + 3600, 0);
  archive_entry_set_ctime(entry.get(), wanted.written_at - 3600, 0);
  if (wanted.stored) {
    Check(writer, archive_write_zip_set_compression_store(writer));
  } else {
    Check(writer, archive_write_zip_set_compression_deflate(writer));
  }
  Check(writer, archive_write_header(writer, entry.get()));
  if (!folder) {
    std::vector<std::uint8_t> const content = FirmwareContent(wanted.name, wanted.size);
    if (archive_write_data(writer, content.data(), content.size()) < 0) Check(writer, ARCHIVE_FATAL);
  }
  Check(writer, archive_write_finish_entry(writer));
}

}  // namespace

std::vector<std::uint8_t> FirmwareContent(const std::string& name, std::uint64_t size) {
  std::vector<std::uint8_t> content(size, 0);
  Noise noise(name);
  for (std::size_t at = 0; at < size; at += kBlock) {
    auto const block = std::span(content).subspan(at, std::min<std::size_t>(kBlock, size - at));
    switch (noise.Next() % 8) {
      case 0:
      case 1:
        std::fill(block.begin(), block.end(), std::uint8_t{0xFF});
        break;
      case 2:
        break;
      case 3:
      case 4:
        FillTable(block, noise);
        break;
      default:
        FillCode(block, noise);
    }
  }
  static constexpr std::array<std::uint8_t, 8> kImageHeader{0x7F, 'E', 'L', 'F', 1, 1, 1, 0};
  std::copy_n(kImageHeader.begin(), std::min<std::size_t>(kImageHeader.size(), size), content.begin());
  return content;
}

std::vector<std::uint8_t> MakeArchive(std::span<const ArchiveEntry> entries) {
  std::vector<std::uint8_t> bytes;
  std::unique_ptr<archive, WriterCloser> const writer(archive_write_new());
  Check(writer.get(), archive_write_set_format_zip(writer.get()));
  Check(writer.get(), archive_write_set_options(writer.get(), "zip:compression-level=1"));
  Check(writer.get(), archive_write_set_bytes_in_last_block(writer.get(), 1));
  Check(writer.get(), archive_write_open(writer.get(), &bytes, nullptr, Append, nullptr));
  for (const ArchiveEntry& entry : entries) AddEntry(writer.get(), entry);
  Check(writer.get(), archive_write_close(writer.get()));
  return bytes;
}

}  // namespace cli
