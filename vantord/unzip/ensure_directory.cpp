#include "vantord/unzip/ensure_directory.h"

#include <cwchar>

#include "vantord/common/wide_format.h"
#include "vantord/unzip/entry_name.h"

namespace {

// Deliberate: A folder that cannot be created is not reported; the creation of the file in it then fails. Expected: an
// end of the extraction.
// Test: ExtractionTest.AFolderThatCannotBeMadeShowsWhenTheFileIsCreated
void CreateWhenMissing(const WCHAR* path) {
  if (::GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES) ::CreateDirectoryW(path, nullptr);
}

}  // namespace

void EnsureDirectory(const WCHAR* base, const WCHAR* folder) {
  WCHAR path[MAX_PATH] = {};
  if (base != nullptr) {
    CopyWide(path, MAX_PATH, base);
    std::size_t const length = wcslen(path);
    if (length != 0 && IsSeparator(path[length - 1])) path[length - 1] = 0;
    CreateWhenMissing(path);
  }
  if (folder[0] == 0) return;

  const WCHAR* const separator = LastSeparator(folder);
  if (separator != nullptr && separator != folder) {
    WCHAR parent[MAX_PATH] = {};
    CopyWide(parent, MAX_PATH, folder);
    auto const cut = static_cast<std::size_t>(separator - folder);
    if (cut < MAX_PATH) parent[cut] = 0;
    EnsureDirectory(base, parent);
  }
  FormatWideTo(path, TEXT("%s%s"), base != nullptr ? base : TEXT(""), folder);
  CreateWhenMissing(path);
}
