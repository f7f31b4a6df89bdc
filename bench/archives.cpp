#include "bench/archives.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace bench {

namespace {

constexpr std::uint32_t kDosTime = (2018u - 1980) << 25 | 8 << 21 | 16 << 16 | 13 << 11 | 25 << 5 | 36 / 2;
constexpr std::uint32_t kArchiveAttribute = 0x20;

using Bytes = std::vector<std::uint8_t>;

void Put16(Bytes& out, std::uint32_t value) {
  out.push_back(static_cast<std::uint8_t>(value));
  out.push_back(static_cast<std::uint8_t>(value >> 8));
}

void Put32(Bytes& out, std::uint32_t value) {
  Put16(out, value & 0xFFFF);
  Put16(out, value >> 16);
}

/// Makes bytes that deflate like program code: 32-bit words from a few hundred instruction patterns with registers and
/// offsets, repeated sequences, tables of addresses, and texts.
class CodeModel {
 public:
  explicit CodeModel(Numbers& numbers) : m_numbers(numbers) {
    for (std::uint32_t& pattern : m_patterns) pattern = static_cast<std::uint32_t>(numbers.Next());
    for (auto& idiom : m_idioms) {
      idiom.resize(3 + numbers.Below(14));
      for (std::uint32_t& word : idiom) word = Instruction();
    }
  }

  void Fill(Bytes& out, std::size_t size) {
    while (out.size() < size) {
      std::uint32_t const kind = m_numbers.Below(100);
      if (kind < 50) {
        for (std::uint32_t word : m_idioms[m_numbers.Skewed(m_idioms.size())]) Put32(out, word);
      } else if (kind < 98) {
        Put32(out, Instruction());
      } else if (kind == 98) {
        PutTable(out);
      } else {
        PutText(out);
      }
    }
    out.resize(size);
  }

 private:
  /// A pattern with random registers, and often an offset.
  std::uint32_t Instruction() {
    std::uint32_t const pattern = m_patterns[m_numbers.Skewed(m_patterns.size())];
    std::uint32_t word = pattern & 0xFF800000;
    word |= m_numbers.Skewed(32) | m_numbers.Skewed(32) << 5;
    if ((pattern & 3) == 0) return word | (m_numbers.Below(4096) << 10 & 0x7FFC00);
    return word | (m_numbers.Skewed(64) * 8) << 10;
  }

  void PutTable(Bytes& out) {
    std::uint32_t address = static_cast<std::uint32_t>(m_numbers.Next()) & 0x00FFFFFC;
    for (std::uint32_t left = 4 + m_numbers.Below(28); left != 0; --left) {
      Put32(out, address);
      address += 4 * (1 + m_numbers.Skewed(64));
    }
  }

  void PutText(Bytes& out) {
    static constexpr std::array<const char*, 12> kWords = {"modem ", "error ", "in ",  "state ", "timeout ", "band ",
                                                           "%d ",    "rf_",    "cal_", "nv_",    "failed ",  "task\n"};
    for (std::uint32_t left = 3 + m_numbers.Below(12); left != 0; --left) {
      for (const char* c = kWords[m_numbers.Below(kWords.size())]; *c != 0; ++c) {
        out.push_back(static_cast<std::uint8_t>(*c));
      }
    }
    while (out.size() % 4 != 0) out.push_back(0);
  }

  Numbers& m_numbers;
  std::array<std::uint32_t, 384> m_patterns;
  std::array<std::vector<std::uint32_t>, 2048> m_idioms;
};

Bytes Deflate(const Bytes& content) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("zlib has no memory");
  }
  Bytes out(deflateBound(&stream, content.size()));
  stream.next_in = const_cast<Bytef*>(content.data());
  stream.avail_in = static_cast<uInt>(content.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

/// The common part of local and central header, from "version needed" to the length of the name.
void PutCommonFields(Bytes& out, const IndexEntry& entry) {
  Put16(out, 20);
  Put16(out, 0);
  Put16(out, entry.method);
  Put32(out, kDosTime);
  Put32(out, entry.crc32);
  Put32(out, entry.compressed);
  Put32(out, entry.uncompressed);
  Put16(out, static_cast<std::uint32_t>(entry.path.size()));
}

Bytes LocalHeader(const IndexEntry& entry) {
  Bytes out;
  Put32(out, 0x04034b50);
  PutCommonFields(out, entry);
  Put16(out, 0);
  out.insert(out.end(), entry.path.begin(), entry.path.end());
  return out;
}

void PutCentralHeader(Bytes& out, const IndexEntry& entry, std::uint64_t local) {
  Put32(out, 0x02014b50);
  Put16(out, 20);
  PutCommonFields(out, entry);
  for (int i = 0; i < 4; ++i) Put16(out, 0);  // extra field, comment, disk, internal attributes
  Put32(out, kArchiveAttribute);
  Put32(out, static_cast<std::uint32_t>(local));
  out.insert(out.end(), entry.path.begin(), entry.path.end());
}

Bytes EndRecord(std::size_t entries, std::size_t directory_size, std::uint64_t directory) {
  Bytes out;
  Put32(out, 0x06054b50);
  Put32(out, 0);  // this disk and the directory's
  Put16(out, static_cast<std::uint32_t>(entries));
  Put16(out, static_cast<std::uint32_t>(entries));
  Put32(out, static_cast<std::uint32_t>(directory_size));
  Put32(out, static_cast<std::uint32_t>(directory));
  Put16(out, 0);
  return out;
}

void Append(std::ofstream& out, const Bytes& bytes) {
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

std::uint64_t Numbers::Next() {
  m_state += 0x9E3779B97F4A7C15;
  std::uint64_t mixed = m_state;
  mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
  mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
  return mixed ^ mixed >> 31;
}

std::uint32_t Numbers::Skewed(std::uint32_t limit) {
  std::uint64_t const a = Below(1u << 20);
  std::uint64_t const cubed = (a * a >> 20) * a >> 20;
  return static_cast<std::uint32_t>(cubed * limit >> 20);
}

void WriteArchive(const std::filesystem::path& archive, const ArchivePlan& plan) {
  Numbers numbers(plan.seed);
  CodeModel model(numbers);
  std::ofstream out(archive, std::ios::binary | std::ios::trunc);
  std::ofstream index(archive.string() + ".index", std::ios::trunc);
  Bytes directory;
  std::uint64_t at = 0;
  for (std::uint32_t i = 0; i < plan.files; ++i) {
    std::array<char, 64> path;
    std::snprintf(path.data(), path.size(), "folder%03u/part%05u.bin", i % plan.folders, i);
    Bytes content;
    model.Fill(content, plan.least + numbers.Below(static_cast<std::uint32_t>(plan.most - plan.least + 1)));
    Bytes const data = plan.stored ? content : Deflate(content);
    IndexEntry entry{.offset = 0,
                     .compressed = static_cast<std::uint32_t>(data.size()),
                     .uncompressed = static_cast<std::uint32_t>(content.size()),
                     .method = plan.stored ? 0u : 8u,
                     .crc32 = static_cast<std::uint32_t>(::crc32(0, content.data(), static_cast<uInt>(content.size()))),
                     .path = path.data()};
    Bytes const local = LocalHeader(entry);
    entry.offset = at + local.size();
    Append(out, local);
    Append(out, data);
    PutCentralHeader(directory, entry, at);
    index << entry.offset << ' ' << entry.compressed << ' ' << entry.uncompressed << ' ' << entry.method << ' '
          << entry.crc32 << ' ' << entry.path << '\n';
    at = entry.offset + data.size();
  }
  Append(out, directory);
  Append(out, EndRecord(plan.files, directory.size(), at));
  out.close();
  index.close();
  if (!out || !index) throw std::runtime_error(archive.string() + " cannot be written: is there room on the disk?");
}

std::vector<IndexEntry> ReadIndex(const std::filesystem::path& archive) {
  std::vector<IndexEntry> entries;
  std::ifstream in(archive.string() + ".index");
  IndexEntry entry;
  while (in >> entry.offset >> entry.compressed >> entry.uncompressed >> entry.method >> entry.crc32 >> entry.path) {
    entries.push_back(entry);
  }
  if (entries.empty()) throw std::runtime_error(archive.string() + ".index: no entries; make the archive anew");
  return entries;
}

}  // namespace bench
