#include <windows.h>
// windows.h comes first, as everywhere.
#include "cli/archive/archive_trial.h"

#include <algorithm>

#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_path.h"
#include "vantord/common/wide_format.h"
#include "vantord/unzip/unzip.h"

namespace cli {

namespace {

constexpr WCHAR kTargetFolder[] = TEXT("c:\\windows\\system32\\");

/// The loop of CImageSelector::UnzipBinary, which reports no single entry to its caller. Tests compare it with whole
/// runs of the service.
void Extract(ZipHandle* archive, Trial& trial) {
  ZipEntry total = {};
  GetZipEntry(archive, -1, total);
  for (INT index = 0; index < total.index; ++index) {
    ZipEntry entry = {};
    GetZipEntry(archive, index, entry);
    WCHAR target[MAX_PATH] = {};
    FormatWideTo(target, TEXT("%s%s"), kTargetFolder, entry.name);
    DWORD const attributes = ::GetFileAttributesW(target);
    if (attributes & FILE_ATTRIBUTE_READONLY) ::SetFileAttributesW(target, attributes & ~FILE_ATTRIBUTE_READONLY);
    TriedEntry& tried = trial.entries.emplace_back();
    tried.target = tablet::ToUtf8(target);
    tried.device = (entry.attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 && tablet::NamesDosDevice(target);
    if (tried.device) continue;
    DWORD const code = UnzipZipEntry(archive, index, target);
    if (code == UNZIP_FILE_FAILED) tried.create_error = ::GetLastError();
    tried.code = code;
  }
}

}  // namespace

bool Trial::complete() const {
  return opened && ended && std::ranges::all_of(entries, [](const TriedEntry& one) { return one.code == 0u; });
}

void Try(tablet::Tablet& machine, const std::string& archive, Trial& trial) {
  std::u16string const path = tablet::ToUtf16(archive);
  machine.scheduler().Start(1, "lint", [&] {
    if (ZipHandle* const handle = OpenZipFile(path.c_str())) {
      trial.opened = true;
      Extract(handle, trial);
      CloseZipFile(handle);
    }
    trial.ended = true;
  });
  machine.scheduler().Wait(tablet::kForever, [&] { return trial.ended; });
  if (const auto& halt = machine.scheduler().halted(); !trial.ended && halt) trial.not_modelled = halt->message;
}

}  // namespace cli
