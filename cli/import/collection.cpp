#include "cli/import/collection.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <utility>

#include "cli/base/zip_file.h"
#include "cli/import/imported_registry.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive.h"
#include "sim/tablet/registry/reg_text.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kFirstLine = "collect-tablet 1";
constexpr const char* kCollectAgain = "collect it again with collect-tablet.cmd or collect-tablet.ps1";
/// The names under which the hives of an offline volume are loaded while they are exported.
constexpr std::u16string_view kLoaded = u"VantordCollect";

std::vector<std::string> LinesOf(const fs::path& file) {
  std::vector<std::string> lines;
  std::ifstream in(file, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    if (lines.empty() && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
    while (line.ends_with('\r') || line.ends_with(' ')) line.pop_back();
    lines.push_back(std::move(line));
  }
  return lines;
}

/// From letters such as "d-rahs": those of "%~a" in cmd and of Mode in PowerShell.
std::uint32_t AttributesFrom(std::string_view letters) {
  std::uint32_t attributes = 0;
  for (auto const& [letter, bit] :
       {std::pair{'d', tablet::kAttributeDirectory}, std::pair{'r', tablet::kAttributeReadOnly},
        std::pair{'a', tablet::kAttributeArchive}, std::pair{'h', tablet::kAttributeHidden},
        std::pair{'s', tablet::kAttributeSystem}}) {
    if (letters.find(letter) != letters.npos) attributes |= bit;
  }
  return attributes;
}

}  // namespace

Collection::Collection(fs::path folder, std::string shown)
    : Volume(folder / "C", std::move(shown)), folder_(std::move(folder)) {
  ReadMark();
  ReadList();
}

void Collection::ReadMark() {
  std::vector<std::string> const lines = LinesOf(folder_ / kCollectionMark);
  if (lines.empty() || lines[0] != kFirstLine) {
    throw tablet::InputError((folder_ / kCollectionMark).string() + ":1",
                             fmt::format("is not \"{}\": made by another version", kFirstLine), kCollectAgain);
  }
  for (const std::string& line : lines) {
    std::size_t const mark = line.find('=');
    if (mark != line.npos) said_[line.substr(0, mark)] = line.substr(mark + 1);
  }
}

void Collection::ReadList() {
  std::size_t number = 0;
  for (const std::string& line : LinesOf(folder_ / "files.txt")) {
    ++number;
    if (line.empty()) continue;
    std::size_t const size = line.find(':');
    std::size_t const digest = size == line.npos ? size : line.find(':', size + 1);
    std::size_t const path = digest == line.npos ? digest : line.find(':', digest + 1);
    if (path == line.npos || !line.substr(path + 1).starts_with('\\')) {
      throw tablet::InputError(fmt::format("{}:{}", (folder_ / "files.txt").string(), number),
                               "is not \"attributes:size:digest:\\path\"", kCollectAgain);
    }
    Listed file{line.substr(path + 1), line.substr(size + 1, digest - size - 1),
                line.substr(digest + 1, path - digest - 1)};
    std::uint32_t const attributes = AttributesFrom(std::string_view(line).substr(0, size));
    known_attributes_[tablet::FoldCase(tablet::ToUtf16(file.path.substr(1)))] = attributes;
    if ((attributes & tablet::kAttributeDirectory) == 0) files_.push_back(std::move(file));
  }
}

std::vector<std::string> Collection::LeftOut() const {
  std::vector<std::string> lines;
  for (const Listed& file : files_) {
    if (Find(tablet::ToUtf16(file.path.substr(1)))) continue;
    lines.push_back(
        fmt::format("C:{}, {} bytes{}", file.path, file.size, file.digest == "-" ? "" : ", SHA-256 " + file.digest));
  }
  return lines;
}

std::string Collection::Said(const std::string& key) const {
  auto const found = said_.find(key);
  return found == said_.end() ? "" : found->second;
}

void Collection::ReadRegistry(tablet::Registry& registry) const {
  std::vector<fs::path> files;
  if (fs::is_directory(folder_ / "registry")) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_ / "registry")) {
      if (entry.path().extension() == ".reg") files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  tablet::Registry raw;
  for (const fs::path& file : files) tablet::ReadRegFile(file, raw);
  for (const char16_t* const hive : {u"SYSTEM", u"SOFTWARE"}) {
    std::u16string const loaded = std::u16string(kLoaded) + hive;
    for (const std::u16string& from : {std::u16string(hive), loaded}) {
      CopyKeys(raw, from, hive, registry);
    }
  }
  // A running Windows has both names of the control set; it is exported under the one of the link.
  auto const number = registry.GetDword(u"SYSTEM\\Select", u"Current");
  std::u16string const link = u"SYSTEM\\CurrentControlSet";
  if (number && registry.HasKey(link)) {
    CopyKeys(registry, link, tablet::ToUtf16(fmt::format("SYSTEM\\ControlSet{:03}", *number)), registry);
    registry.RemoveKey(link);
  }
}

void UnpackCollection(const fs::path& file, const fs::path& folder) {
  UnpackZip(file, folder, "a zip file", kCollectAgain);
}

}  // namespace cli
