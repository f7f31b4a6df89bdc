#include "sim/tablet/drive/pe_version.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace tablet {

namespace {

constexpr std::size_t kPeHeaderPointer = 0x3C;
constexpr std::uint16_t kMagic32 = 0x10B;
constexpr std::uint16_t kMagic64 = 0x20B;
constexpr std::size_t kCoffSize = 20;
constexpr std::size_t kSectionHeaderSize = 40;
constexpr std::size_t kResourceDirectoryIndex = 2;
constexpr std::uint32_t kVersionType = 16;
constexpr std::uint32_t kHighBit = 0x80000000;

/// Little-endian numbers of a byte range; anything outside of it is absent.
class Bytes {
 public:
  explicit Bytes(std::span<const std::uint8_t> data) : data_(data) {}

  std::optional<std::uint32_t> Word(std::size_t offset) const { return Number(offset, 2); }
  std::optional<std::uint32_t> Dword(std::size_t offset) const { return Number(offset, 4); }
  std::optional<std::span<const std::uint8_t>> Part(std::size_t offset, std::size_t size) const {
    if (offset > data_.size() || size > data_.size() - offset) return std::nullopt;
    return data_.subspan(offset, size);
  }

 private:
  std::optional<std::uint32_t> Number(std::size_t offset, std::size_t size) const {
    auto const part = Part(offset, size);
    if (!part) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value |= static_cast<std::uint32_t>((*part)[i]) << (8 * i);
    return value;
  }

  std::span<const std::uint8_t> data_;
};

/// Where an image keeps its sections and its resources.
struct Layout {
  std::size_t sections = 0;  ///< offset of the section headers
  std::size_t section_count = 0;
  std::uint32_t resources = 0;  ///< address of the resource directory in memory
};

/// The offset of the PE signature; nothing for what is not an image.
std::optional<std::uint32_t> FindSignature(const Bytes& image) {
  auto const pe = image.Dword(kPeHeaderPointer);
  if (image.Word(0) != 0x5A4Du || !pe || image.Dword(*pe) != 0x4550u) return std::nullopt;
  return pe;
}

std::optional<Layout> ReadLayout(const Bytes& image) {
  auto const pe = FindSignature(image);
  if (!pe) return std::nullopt;
  std::size_t const coff = std::size_t{*pe} + 4;
  std::size_t const optional_header = coff + kCoffSize;
  auto const section_count = image.Word(coff + 2);
  auto const optional_size = image.Word(coff + 16);
  auto const magic = image.Word(optional_header);
  if (!section_count || !optional_size || (magic != kMagic32 && magic != kMagic64)) return std::nullopt;
  std::size_t const directories = optional_header + (magic == kMagic64 ? 112 : 96);
  auto const directory_count = image.Dword(directories - 4);
  if (!directory_count || *directory_count <= kResourceDirectoryIndex) return std::nullopt;
  auto const resources = image.Dword(directories + 8 * kResourceDirectoryIndex);
  if (!resources || *resources == 0) return std::nullopt;
  return Layout{optional_header + *optional_size, *section_count, *resources};
}

/// The place in the file of an address in memory, and how many bytes its section has from there on.
struct FilePlace {
  std::size_t offset;
  std::size_t available;
};

std::optional<FilePlace> ToFile(const Bytes& image, const Layout& layout, std::uint32_t address) {
  for (std::size_t i = 0; i < layout.section_count; ++i) {
    std::size_t const header = layout.sections + i * kSectionHeaderSize;
    auto const start = image.Dword(header + 12);
    auto const raw_size = image.Dword(header + 16);
    auto const raw_start = image.Dword(header + 20);
    if (!start || !raw_size || !raw_start) return std::nullopt;
    if (address < *start || address - *start >= *raw_size) continue;
    std::size_t const inside = address - *start;
    return FilePlace{*raw_start + inside, *raw_size - inside};
  }
  return std::nullopt;
}

/// The entry of a resource directory with a number, or its first entry: the offset field. Absent if it has no such
/// entry.
std::optional<std::uint32_t> DirectoryEntry(const Bytes& resources, std::size_t directory,
                                            std::optional<std::uint32_t> id) {
  auto const named = resources.Word(directory + 12);
  auto const numbered = resources.Word(directory + 14);
  if (!named || !numbered) return std::nullopt;
  for (std::size_t i = 0; i < *named + *numbered; ++i) {
    std::size_t const entry = directory + 16 + i * 8;
    auto const name = resources.Dword(entry);
    if (!name) return std::nullopt;
    if (!id || *name == *id) return resources.Dword(entry + 4);
  }
  return std::nullopt;
}

class Writer {
 public:
  void Word(std::uint32_t value) { Number(value, 2); }
  void Dword(std::uint32_t value) { Number(value, 4); }
  void Text(std::string_view text) { data_.insert(data_.end(), text.begin(), text.end()); }
  void PadTo(std::size_t size) { data_.resize(std::max(size, data_.size())); }
  std::size_t size() const { return data_.size(); }
  std::vector<std::uint8_t> Take() { return std::move(data_); }

 private:
  void Number(std::uint32_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) data_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
  std::vector<std::uint8_t> data_;
};

constexpr std::uint32_t kSectionAlignment = 0x1000;
constexpr std::uint32_t kFileAlignment = 0x200;
constexpr std::uint32_t kResourceDataOffset = 0x58;  ///< after three directories of one entry and the data entry
constexpr std::uint32_t kOptionalHeaderSize = 240;

std::uint32_t RoundUp(std::uint32_t value, std::uint32_t step) { return (value + step - 1) / step * step; }

void WriteHeaders(Writer& out, std::uint32_t section_size) {
  out.Text("MZ");
  out.PadTo(kPeHeaderPointer);
  out.Dword(0x40);
  out.Text(std::string_view("PE\0\0", 4));
  out.Word(0xAA64);  // ARM64
  out.Word(1);       // one section
  for (int i = 0; i < 3; ++i) out.Dword(0);
  out.Word(kOptionalHeaderSize);
  out.Word(0x22);  // executable, large addresses

  std::size_t const optional_header = out.size();
  out.Word(kMagic64);
  out.PadTo(optional_header + 24);
  out.Dword(0x40000000);  // image base, low and high half
  out.Dword(1);
  out.Dword(kSectionAlignment);
  out.Dword(kFileAlignment);
  out.Dword(6);  // operating system version
  out.Dword(0);
  out.Dword(6);  // subsystem version
  out.Dword(0);
  out.Dword(kSectionAlignment + RoundUp(section_size, kSectionAlignment));
  out.Dword(kFileAlignment);  // size of the headers
  out.Dword(0);
  out.Word(3);  // console
  out.PadTo(optional_header + 108);
  out.Dword(16);
  out.PadTo(optional_header + 112 + 8 * kResourceDirectoryIndex);
  out.Dword(kSectionAlignment);
  out.Dword(section_size);
  out.PadTo(optional_header + kOptionalHeaderSize);

  out.Text(std::string_view(".rsrc\0\0\0", 8));
  out.Dword(section_size);
  out.Dword(kSectionAlignment);
  out.Dword(RoundUp(section_size, kFileAlignment));
  out.Dword(kFileAlignment);
  for (int i = 0; i < 3; ++i) out.Dword(0);
  out.Dword(0x40000040);  // initialised data, readable
  out.PadTo(kFileAlignment);
}

/// Type, name and language: three directories of one entry each, then the entry that says where the data are.
void WriteResourceDirectories(Writer& out, std::uint32_t data_size) {
  constexpr std::uint32_t kDirectorySize = 24;
  constexpr std::array<std::uint32_t, 3> kIds = {kVersionType, 1, 1033};
  for (std::uint32_t level = 0; level < kIds.size(); ++level) {
    for (int i = 0; i < 3; ++i) out.Dword(0);
    out.Word(0);
    out.Word(1);
    out.Dword(kIds[level]);
    std::uint32_t const next = (level + 1) * kDirectorySize;
    out.Dword(level + 1 < kIds.size() ? next | kHighBit : next);
  }
  out.Dword(kSectionAlignment + kResourceDataOffset);
  out.Dword(data_size);
  out.Dword(0);
  out.Dword(0);
}

void WriteVersion(Writer& out, std::uint32_t high, std::uint32_t low) {
  out.Word(kLeastVersionResource);
  out.Word(kFixedVersionSize);
  out.Word(0);  // binary
  for (char const c : std::string_view("VS_VERSION_INFO\0\0", 17)) out.Word(static_cast<std::uint8_t>(c));
  out.Dword(0xFEEF04BD);
  out.Dword(0x00010000);
  for (int twice = 0; twice < 2; ++twice) {  // of the file, of the product
    out.Dword(high);
    out.Dword(low);
  }
  out.Dword(0x3F);
  out.Dword(0);
  out.Dword(0x00040004);  // Windows NT
  out.Dword(1);           // an application
  for (int i = 0; i < 3; ++i) out.Dword(0);
}

}  // namespace

bool IsImage(std::span<const std::uint8_t> file) { return FindSignature(Bytes(file)).has_value(); }

WinError FindVersionResource(std::span<const std::uint8_t> data, std::vector<std::uint8_t>& out) {
  out.clear();
  Bytes const image(data);
  auto const layout = ReadLayout(image);
  if (!layout) return kResourceDataNotFound;
  auto const place = ToFile(image, *layout, layout->resources);
  if (!place || place->offset >= data.size()) return kResourceDataNotFound;
  Bytes const resources(data.subspan(place->offset, std::min(place->available, data.size() - place->offset)));
  auto entry = DirectoryEntry(resources, 0, kVersionType);
  if (!entry) return kResourceTypeNotFound;
  // Below the type lie its names and their languages: the first of each. The depth is fixed, so that no chain of
  // directories can lead in a circle.
  for (int level = 0; level < 2; ++level) {
    if ((*entry & kHighBit) == 0) return kResourceDataNotFound;
    entry = DirectoryEntry(resources, *entry & ~kHighBit, std::nullopt);
    if (!entry) return kResourceDataNotFound;
  }
  if ((*entry & kHighBit) != 0) return kResourceDataNotFound;
  auto const address = resources.Dword(*entry);
  auto const size = resources.Dword(std::size_t{*entry} + 4);
  if (!address || !size) return kResourceDataNotFound;
  auto const data_place = ToFile(image, *layout, *address);
  if (!data_place || *size > data_place->available) return kResourceDataNotFound;
  auto const version = image.Part(data_place->offset, *size);
  if (!version) return kResourceDataNotFound;
  out.assign(version->begin(), version->end());
  return kSuccess;
}

std::vector<std::uint8_t> MakeExecutableWithVersion(std::uint16_t major, std::uint16_t minor, std::uint16_t build,
                                                    std::uint16_t revision, std::size_t resource_bytes) {
  auto const data_size = static_cast<std::uint32_t>(std::max(resource_bytes, kLeastVersionResource));
  std::uint32_t const section_size = kResourceDataOffset + data_size;
  Writer out;
  WriteHeaders(out, section_size);
  WriteResourceDirectories(out, data_size);
  WriteVersion(out, std::uint32_t{major} << 16 | minor, std::uint32_t{build} << 16 | revision);
  out.PadTo(kFileAlignment + RoundUp(section_size, kFileAlignment));
  return out.Take();
}

}  // namespace tablet
