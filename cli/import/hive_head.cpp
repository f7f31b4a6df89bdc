#include "cli/import/hive_head.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>

#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

// Offsets in the first page, and of a log's entries.
constexpr std::size_t kPrimary = 4, kSecondary = 8, kBinsSize = 0x28, kChecksum = 508;
constexpr std::size_t kLogSector = 512, kEntrySize = 4, kEntrySequence = 12, kEntryHead = 40;

std::uint32_t NumberAt(std::span<const std::uint8_t> bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) number = number << 8 | bytes[at + i];
  return number;
}

std::uint32_t ChecksumOf(std::span<const std::uint8_t> head) {
  std::uint32_t sum = 0;
  for (std::size_t at = 0; at < kChecksum; at += 4) sum ^= NumberAt(head, at);
  return sum == 0 ? 1 : sum == 0xFFFFFFFF ? 0xFFFFFFFE : sum;  // neither of the two is ever stored
}

/// Whether a log has an entry with this sequence number or a later one. What is left of older entries has earlier ones.
bool HasEntryFrom(const std::filesystem::path& log, std::uint32_t first) {
  std::ifstream in(log, std::ios::binary);
  std::array<std::uint8_t, kEntryHead> head{};
  for (std::uint64_t at = kLogSector;; at += NumberAt(head, kEntrySize)) {
    in.seekg(static_cast<std::streamoff>(at));
    in.read(reinterpret_cast<char*>(head.data()), head.size());
    std::uint32_t const size = NumberAt(head, kEntrySize);
    bool const whole = in && std::memcmp(head.data(), "HvLE", 4) == 0 && size >= kLogSector && size % kLogSector == 0;
    if (!whole) return false;
    if (NumberAt(head, kEntrySequence) >= first) return true;
  }
}

}  // namespace

void CheckHiveHead(std::span<const std::uint8_t> head, std::uint64_t file_bytes, const std::string& shown) {
  if (head.size() < kHivePage || std::memcmp(head.data(), "regf", 4) != 0) {
    throw tablet::InputError(shown, "is not a registry hive", "copy the file again from the Windows volume");
  }
  std::uint64_t const needed = std::uint64_t{kHivePage} + NumberAt(head, kBinsSize);
  if (file_bytes < needed) {
    throw tablet::InputError(shown, fmt::format("is cut off: it has {} of {} bytes", file_bytes, needed),
                             "copy the file again from the Windows volume");
  }
}

std::string PendingChanges(std::span<const std::uint8_t> head, const std::vector<std::filesystem::path>& logs) {
  std::uint32_t const primary = NumberAt(head, kPrimary);
  std::uint32_t const secondary = NumberAt(head, kSecondary);
  bool const unequal = primary != secondary;
  bool const spoiled = ChecksumOf(head) != NumberAt(head, kChecksum);
  // An entry that has the number of a clean file is in the file.
  std::uint32_t const next = unequal || spoiled ? primary : primary + 1;
  std::string text;
  if (unequal) text = fmt::format("its sequence numbers are {} and {}", primary, secondary);
  if (spoiled) text += fmt::format("{}the checksum of its first page is wrong", text.empty() ? "" : ", ");
  for (const std::filesystem::path& log : logs) {
    if (!HasEntryFrom(log, next)) continue;
    text += fmt::format("{}{} has newer changes", text.empty() ? "" : ", ", log.filename().string());
  }
  return text;
}

}  // namespace cli
