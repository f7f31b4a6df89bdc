#include "cli/archive/landed_file.h"

#include <fmt/format.h>

#include <cstddef>
#include <ctime>
#include <vector>

#include "cli/boot/changes.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/pe_version.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

std::uint32_t U32(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) number = number << 8 | bytes[at + i];
  return number;
}

/// The file version of the fixed record; null for a file without a version block.
ordered_json VersionOf(const tablet::Drive& drive, std::u16string_view path) {
  constexpr std::uint32_t kSignature = 0xFEEF04BD;
  constexpr std::size_t kFixed = tablet::kVersionValueOffset;
  std::vector<std::uint8_t> block;
  bool const found =
      drive.VersionResource(path, block) == tablet::kSuccess && block.size() >= tablet::kLeastVersionResource;
  if (!found || U32(block, kFixed) != kSignature) return nullptr;
  std::uint32_t const high = U32(block, kFixed + 8);
  std::uint32_t const low = U32(block, kFixed + 12);
  return fmt::format("{}.{}.{}.{}", high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF);
}

/// UTC.
std::string TimeText(tablet::FileTicks ticks) {
  auto const seconds =
      static_cast<std::time_t>(static_cast<std::int64_t>(ticks / tablet::kTicksPerSecond) -
                               static_cast<std::int64_t>(tablet::kUnixEpoch / tablet::kTicksPerSecond));
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                     parts.tm_hour, parts.tm_min, parts.tm_sec);
}

}  // namespace

ordered_json DescribeFile(const tablet::Drive& drive, const std::string& path) {
  std::u16string const wide = tablet::ToUtf16(path);
  if (!drive.Exists(wide)) return nullptr;
  tablet::FileFacts const facts = drive.Facts(wide);
  if ((facts.attributes & tablet::kAttributeDirectory) != 0) return nullptr;
  return {{"attributes", AttributeLetters(facts.attributes)},
          {"written", TimeText(facts.times.write)},
          {"sum", fmt::format("{:08x}", drive.Sum(wide))},
          {"version", VersionOf(drive, wide)}};
}

}  // namespace cli
