#include "cli/check/equal_archives.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "sim/tablet/base/text.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

/// Different archives differ early, so that little of them is read.
bool HaveSameBytes(const fs::path& one, const fs::path& other) {
  std::error_code ignored;
  if (fs::equivalent(one, other, ignored)) return true;
  constexpr std::size_t kPiece = 1 << 18;
  std::ifstream first(one, std::ios::binary);
  std::ifstream second(other, std::ios::binary);
  std::vector<char> left(kPiece);
  std::vector<char> right(kPiece);
  while (first && second) {
    first.read(left.data(), kPiece);
    second.read(right.data(), kPiece);
    if (first.gcount() != second.gcount()) return false;
    if (!std::equal(left.begin(), left.begin() + first.gcount(), right.begin())) return false;
  }
  return first.eof() && second.eof();
}

bool IsSamePath(const CheckedArchive& archive, const CheckCase& one) {
  return tablet::EqualIgnoringCase(tablet::ToUtf16(archive.path), tablet::ToUtf16(one.row.path));
}

}  // namespace

std::vector<CheckedArchive> ArchivesOf(std::vector<CheckCase>& cases, const tablet::Drive& drive) {
  std::vector<CheckedArchive> archives;
  for (CheckCase& one : cases) {
    CheckedArchive archive;
    archive.path = one.row.path;
    archive.present = one.row.file.present;
    archive.bytes = one.row.file.bytes;
    if (archive.present) archive.file = drive.HostPath(tablet::ToUtf16(archive.path)).string();
    auto found = std::ranges::find_if(archives, [&](const CheckedArchive& known) {
      return IsSamePath(known, one) || std::ranges::find(known.equal, archive.file) != known.equal.end();
    });
    if (found == archives.end() && archive.present) {
      found = std::ranges::find_if(archives, [&](const CheckedArchive& known) {
        return known.present && known.bytes == archive.bytes && HaveSameBytes(known.file, archive.file);
      });
      if (found != archives.end()) found->equal.push_back(archive.file);
    }
    if (found == archives.end()) found = archives.insert(found, std::move(archive));
    one.archive = static_cast<std::size_t>(found - archives.begin());
  }
  return archives;
}

}  // namespace cli
