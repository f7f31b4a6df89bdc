// Extracts an archive through the service's own front end, as its deployment does.
//
//   extract HOST_FOLDER ARCHIVE [ENTRIES [TIMES]]
//
// HOST_FOLDER/C is drive C:, ARCHIVE a file in its root. It is extracted to C:\out or, with TIMES, that often to
// C:\out0, C:\out1 and so on, each time up to ENTRIES entries.
//
// Linked twice, with the simulated tablet's file calls and with plain ones (plain_files.cpp), to separate the cost of
// extraction from that of the stand-in.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "sim/tablet/base/text.h"
#include "sim/tablet/machine/tablet.h"
#include "vantord/common/wide_format.h"
#include "vantord/unzip/unzip.h"

namespace {

/// Extracts the first `limit` entries to a folder, which ends in a separator. Returns the code of the first failure.
DWORD ExtractAll(const WCHAR* archive, INT limit, const WCHAR* folder) {
  ZipHandle* const handle = OpenZipFile(archive);
  if (handle == nullptr) return UNZIP_FILE_FAILED;
  ZipEntry entry = {};
  DWORD result = GetZipEntry(handle, -1, entry);
  INT const entries = entry.index < limit ? entry.index : limit;
  for (INT i = 0; i < entries && result == UNZIP_OK; ++i) {
    ZipEntry current = {};
    result = GetZipEntry(handle, i, current);
    WCHAR path[MAX_PATH] = {};
    FormatWideTo(path, TEXT("%s%s"), folder, current.name);
    if (result == UNZIP_OK) result = UnzipZipEntry(handle, i, path);
  }
  CloseZipFile(handle);
  return result;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) {
    std::fputs("usage: extract HOST_FOLDER ARCHIVE [ENTRIES [TIMES]]\n", stderr);
    return 2;
  }
  INT const limit = count > 3 ? std::atoi(arguments[3]) : 0xFFFF;
  int const times = count > 4 ? std::atoi(arguments[4]) : 0;
  std::filesystem::path const folder = std::filesystem::absolute(arguments[1]);
  tablet::Tablet machine(tablet::Description{}, folder);
  machine.drive().PutFolder(machine.drive().current_directory());  // exists on every Windows
  std::filesystem::current_path(folder / "C");                     // for the plain calls
  std::u16string const archive = u"c:\\" + tablet::ToUtf16(arguments[2]);
  DWORD result = UNZIP_OK;
  if (times == 0) result = ExtractAll(archive.c_str(), limit, TEXT("c:\\out\\"));
  for (int i = 0; i < times && result == UNZIP_OK; ++i) {
    WCHAR target[MAX_PATH];
    FormatWideTo(target, TEXT("c:\\out%d\\"), i);
    result = ExtractAll(archive.c_str(), limit, target);
  }
  if (result != UNZIP_OK) std::fprintf(stderr, "extract: code 0x%08x\n", static_cast<unsigned>(result));
  return result == UNZIP_OK ? 0 : 1;
}
