#include "sim/tablet/drive/dos_attributes.h"

#include <fmt/format.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <string_view>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"

namespace tablet {

namespace {

constexpr const char* kAttributesName = "user.DOSATTRIB";
constexpr const char* kCreationName = "user.vantord.creation";

std::optional<std::string> ReadText(const std::filesystem::path& host, const char* name) {
  std::array<char, 256> buffer;
  ssize_t const size = ::lgetxattr(host.c_str(), name, buffer.data(), buffer.size());
  if (size < 0) {
    if (errno == ERANGE) throw InputError(host.string(), fmt::format("{} is too long", name), "remove that attribute");
    return std::nullopt;
  }
  // Samba's newer form begins with the same text and a zero byte.
  std::string_view const text(buffer.data(), static_cast<std::size_t>(size));
  return std::string(text.substr(0, text.find('\0')));
}

bool WriteText(const std::filesystem::path& host, const char* name, const std::string& text) {
  return ::lsetxattr(host.c_str(), name, text.data(), text.size(), 0) == 0;
}

template <typename Number>
std::optional<Number> ParseNumber(std::string_view text, int base) {
  Number value = 0;
  const char* const end = text.data() + text.size();
  auto const [stopped, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return value;
}

std::optional<std::uint32_t> ParseAttributes(std::string_view text) {
  if (!text.starts_with("0x")) return std::nullopt;
  return ParseNumber<std::uint32_t>(text.substr(2), 16);
}

/// One line of the side file; its path and what is kept for it.
std::pair<std::u16string, KeptFacts> ParseLine(std::string_view line, const std::string& place) {
  auto const fail = [&](const std::string& problem) {
    throw InputError(place, problem, "write 0xATTRIBUTES<TAB>CREATION<TAB>PATH, with - for an unknown creation time");
  };
  std::size_t const first = line.find('\t');
  std::size_t const second = first == line.npos ? line.npos : line.find('\t', first + 1);
  if (second == line.npos) fail("not three fields separated by tabs");
  KeptFacts facts;
  facts.attributes = ParseAttributes(line.substr(0, first));
  if (!facts.attributes) fail("the attributes are not a number in the form 0x22");
  std::string_view const creation = line.substr(first + 1, second - first - 1);
  if (creation != "-") {
    facts.creation = ParseNumber<FileTicks>(creation, 10);
    if (!facts.creation) fail("the creation time is neither a decimal number of FILETIME ticks nor -");
  }
  std::u16string path = FoldCase(ToUtf16(line.substr(second + 1)));
  if (!path.starts_with(u"C:\\")) fail("the path does not begin with C:\\");
  return {std::move(path), facts};
}

}  // namespace

bool KeepsExtendedAttributes(const std::filesystem::path& host) {
  return ::lgetxattr(host.c_str(), kAttributesName, nullptr, 0) >= 0 || errno == ENODATA;
}

KeptFacts ReadExtendedAttributes(const std::filesystem::path& host) {
  KeptFacts facts;
  if (std::optional<std::string> const text = ReadText(host, kAttributesName)) {
    facts.attributes = ParseAttributes(*text);
    if (!facts.attributes) {
      throw InputError(host.string(), fmt::format("{} is \"{}\"", kAttributesName, *text),
                       "set it to a number in the form 0x22 or remove it");
    }
  }
  if (std::optional<std::string> const text = ReadText(host, kCreationName)) {
    facts.creation = ParseNumber<FileTicks>(*text, 10);
    if (!facts.creation) {
      throw InputError(host.string(), fmt::format("{} is \"{}\"", kCreationName, *text),
                       "set it to a decimal number of FILETIME ticks or remove it");
    }
  }
  return facts;
}

bool WriteAttributes(const std::filesystem::path& host, std::uint32_t attributes) {
  return WriteText(host, kAttributesName, fmt::format("{:#x}", attributes));
}

bool WriteCreation(const std::filesystem::path& host, FileTicks creation) {
  return WriteText(host, kCreationName, fmt::format("{}", creation));
}

std::map<std::u16string, KeptFacts> ReadSideFile(const std::filesystem::path& side_file) {
  std::map<std::u16string, KeptFacts> entries;
  std::ifstream in(side_file, std::ios::binary);
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty() || line.starts_with('#')) continue;
    std::string const place = fmt::format("{}:{}", side_file.string(), number);
    if (!entries.insert(ParseLine(line, place)).second) {
      throw InputError(place, "the path was named before", "keep one line for each path");
    }
  }
  return entries;
}

void WriteSideFile(const std::filesystem::path& side_file, const std::vector<SideFileEntry>& entries) {
  std::ofstream out(side_file, std::ios::binary | std::ios::trunc);
  out << "# DOS attributes, creation time in FILETIME ticks, path; separated by tabs\n";
  for (const SideFileEntry& entry : entries) {
    out << fmt::format("{:#x}\t{}\t{}\n", entry.attributes, entry.creation ? fmt::format("{}", *entry.creation) : "-",
                       ToUtf8(entry.path));
  }
  out.close();
  if (!out) throw InputError(side_file.string(), "cannot be written", "check the folder's permissions and free space");
}

}  // namespace tablet
