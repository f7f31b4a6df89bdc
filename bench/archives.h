// The archives that the measurements extract, made from a seed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

/// A small, fast and reproducible source of numbers (SplitMix64).
class Numbers {
 public:
  explicit Numbers(std::uint64_t seed) : m_state(seed) {}
  std::uint64_t Next();
  /// 0 to `limit` - 1.
  std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>((Next() >> 32) * limit >> 32); }
  /// 0 to `limit` - 1, small ones much more often than large ones.
  std::uint32_t Skewed(std::uint32_t limit);

 private:
  std::uint64_t m_state;
};

/// The contents of an archive.
struct ArchivePlan {
  std::uint64_t seed = 1;
  std::uint32_t files = 1;
  std::uint32_t folders = 1;  ///< the files are spread evenly over them
  std::uint64_t least = 0;    ///< bytes of a file, at least and at most
  std::uint64_t most = 0;
  bool stored = false;
};

/// Writes the archive and FILE.index with one line an entry, in order: offset of the data, compressed and uncompressed
/// size, method, CRC-32, path. Sizes are in bytes. Throws std::runtime_error if the disk is full.
void WriteArchive(const std::filesystem::path& archive, const ArchivePlan& plan);

/// A line of that index.
struct IndexEntry {
  std::uint64_t offset = 0;
  std::uint32_t compressed = 0;
  std::uint32_t uncompressed = 0;
  std::uint32_t method = 0;
  std::uint32_t crc32 = 0;
  std::string path;
};
std::vector<IndexEntry> ReadIndex(const std::filesystem::path& archive);

}  // namespace bench
