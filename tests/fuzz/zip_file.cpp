// The extraction of an archive file on drive C:, as in a deployment, compared with the reader over the same bytes in
// memory.
#include <windows.h>

#include <algorithm>
#include <string>

#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_path.h"
#include "tests/fuzz/archive_steps.h"
#include "vantord/common/wide_format.h"
#include "vantord/unzip/unzip.h"

using namespace fuzzing;

namespace {

constexpr const WCHAR* kArchive = u"c:\\archive.zip";
constexpr const WCHAR* kTarget = u"c:\\target\\";
constexpr std::uint64_t kMostCalls = 100'000;

/// The number of entries that the cursor reaches within the budget, at least 1; 0 if the archive does not open.
INT Reachable() {
  auto const reader = OpenZipArchive(lufopen(kArchive));
  if (reader == nullptr) return 0;
  INT entries = 1;
  while (entries < static_cast<INT>(kMostEntries) && Step(*reader)) ++entries;
  return entries;
}

/// The same entry, read from memory.
Delivery FromMemory(std::span<const std::uint8_t> bytes, INT index) {
  auto const reader = OpenZipArchive(MemoryStream(bytes));
  Check(reader != nullptr, "an archive that opens as a file opens in memory");
  for (INT i = 0; i < index; ++i) Step(*reader);
  Check(OpenCurrentEntry(reader.get(), nullptr) == ZIP_OK, "an entry that can be extracted opens in memory");
  return ReadEntry(*reader, kPiece);
}

/// The only way in which a cleaned name leaves its folder.
bool LeadsOut(std::u16string_view name) { return name.starts_with(u"../") || name.starts_with(u"..\\"); }

bool BelowTarget(const tablet::FileChange& change) {
  std::u16string_view const path = change.path;
  return path == u"C:\\target" || path.starts_with(u"C:\\target\\");
}

/// Describes and extracts one entry; returns the number of extracted bytes.
std::size_t Extract(ZipHandle* archive, INT index, std::span<const std::uint8_t> bytes, tablet::Drive& drive) {
  ZipEntry entry = {};
  GetZipEntry(archive, index, entry);
  std::u16string const name = entry.name;
  Check(name.size() < MAX_PATH, "an entry's name is terminated");
  WCHAR target[MAX_PATH] = {};
  FormatWideTo(target, TEXT("%s%s"), kTarget, entry.name);
  // The stand-in refuses device names.
  if (tablet::NamesDosDevice(target)) return 0;
  if ((::GetFileAttributesW(target) & FILE_ATTRIBUTE_READONLY) != 0) {
    ::SetFileAttributesW(target, ::GetFileAttributesW(target) & ~FILE_ATTRIBUTE_READONLY);
  }
  DWORD const result = UnzipZipEntry(archive, index, target);
  std::vector<tablet::FileChange> const changes = drive.Changes();
  Check(LeadsOut(name) || std::all_of(changes.begin(), changes.end(), BelowTarget),
        "only a name that begins with a step up leads out of the target folder");
  if (result != UNZIP_OK || (entry.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return 0;
  Bytes const extracted = drive.Contents(target);
  Delivery const delivery = FromMemory(bytes, index);
  Check(delivery.end || !delivery.whole, "an entry that is extracted has an end");
  Check(extracted.size() >= delivery.bytes.size() &&
            std::equal(delivery.bytes.begin(), delivery.bytes.end(), extracted.begin()),
        "the file holds what the reader delivers from memory");
  Check(!delivery.whole || extracted.size() == delivery.bytes.size(), "the file holds no more than that");
  return extracted.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzTablet tablet(kMostCalls);
  tablet::Drive& drive = tablet.machine().drive();
  drive.Put(kArchive, {data, size});
  INT const reachable = Reachable();
  ZipHandle* const archive = OpenZipFile(kArchive);
  Check((archive != nullptr) == (reachable != 0), "whether an archive opens does not change");
  if (archive == nullptr) {
    Check(OpenZipArchive(MemoryStream({data, size})) == nullptr, "a file that does not open does not open in memory");
  } else {
    ZipEntry all = {};
    GetZipEntry(archive, -1, all);
    std::size_t extracted = 0;
    bool led_out = false;
    for (INT i = 0; i < std::min(all.index, reachable) && extracted < kMostBytes && !led_out; ++i) {
      extracted += Extract(archive, i, {data, size}, drive);
      ZipEntry entry = {};
      // Files outside the target folder would be blamed on the following entries.
      led_out = GetZipEntry(archive, i, entry) == UNZIP_OK && LeadsOut(entry.name);
    }
    CloseZipFile(archive);
  }
  Check(tablet.machine().handles().OpenKinds(tablet::kMachineProcess).empty(), "every handle is closed");
  return 0;
}
