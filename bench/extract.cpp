// Extracts an archive through the service's own front end, as its deployment does: extract HOST_FOLDER ARCHIVE
// [ENTRIES]
//
// HOST_FOLDER/C is drive C:, ARCHIVE a file in its root; it is extracted to C:\out. ENTRIES ends the work after so
// many. The same source is linked twice: with the simulated tablet's file calls, and with plain ones (plain_files.cpp),
// which shows how much of the cost is the stand-in's.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "common/wide_format.h"
#include "tablet/tablet.h"
#include "tablet/text.h"
#include "unzip/unzip.h"

namespace {

/// Extracts the first `limit` entries and answers the code of the first failure.
DWORD ExtractAll(const WCHAR* archive, INT limit) {
  ZipHandle* const handle = OpenZipFile(archive);
  if (handle == nullptr) return UNZIP_FILE_FAILED;
  ZipEntry entry = {};
  DWORD result = GetZipEntry(handle, -1, entry);
  INT const entries = entry.index < limit ? entry.index : limit;
  for (INT i = 0; i < entries && result == UNZIP_OK; ++i) {
    ZipEntry current = {};
    result = GetZipEntry(handle, i, current);
    WCHAR path[MAX_PATH] = {};
    FormatWideTo(path, TEXT("%s%s"), TEXT("c:\\out\\"), current.name);
    if (result == UNZIP_OK) result = UnzipZipEntry(handle, i, path);
  }
  CloseZipFile(handle);
  return result;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) {
    std::fputs("usage: extract HOST_FOLDER ARCHIVE [ENTRIES]\n", stderr);
    return 2;
  }
  INT const limit = count > 3 ? std::atoi(arguments[3]) : 0xFFFF;
  std::filesystem::path const folder = std::filesystem::absolute(arguments[1]);
  tablet::Tablet machine(tablet::Description{}, folder);
  std::filesystem::current_path(folder / "C");  // which the plain calls go by
  std::u16string const archive = u"c:\\" + tablet::ToUtf16(arguments[2]);
  DWORD const result = ExtractAll(archive.c_str(), limit);
  if (result != UNZIP_OK) std::fprintf(stderr, "extract: code 0x%08x\n", static_cast<unsigned>(result));
  return result == UNZIP_OK ? 0 : 1;
}
