#include "vantord/unzip/entry_name.h"

#include <cstddef>
#include <cwchar>
#include <initializer_list>

namespace {

/// Returns the text after the first ".." between separators, or null. The four spellings are searched in turn over the
/// whole text: the first spelling found wins, not the first occurrence.
const WCHAR* BehindStepUp(const WCHAR* text) {
  constexpr std::size_t kLength = 4;
  for (const WCHAR* spelling : {TEXT("\\..\\"), TEXT("\\../"), TEXT("/../"), TEXT("/..\\")}) {
    const WCHAR* const found = wcsstr(text, spelling);
    if (found != nullptr) return found + kLength;
  }
  return nullptr;
}

}  // namespace

const WCHAR* CleanEntryName(const WCHAR* name) {
  // Deliberate: Only a ".." between two separators is removed. Expected: the removal of a leading "../" and a trailing
  // "\..", and no name that leaves the target folder.
  // Test: EntryName.ALeadingStepUpAndATrailingOneStay
  const WCHAR* p = name;
  for (;;) {
    const WCHAR* const rest = p;
    WCHAR const c = *p++;
    if (c != 0 && *p == TEXT(':')) {
      ++p;
      continue;
    }
    if (IsSeparator(c)) continue;
    p = BehindStepUp(rest);
    if (p == nullptr) return rest;
  }
}

bool IsAbsolutePath(const WCHAR* path) { return IsSeparator(path[0]) || (path[0] != 0 && path[1] == TEXT(':')); }

const WCHAR* LastSeparator(const WCHAR* path) {
  const WCHAR* last = nullptr;
  for (; *path != 0; ++path) {
    if (IsSeparator(*path)) last = path;
  }
  return last;
}
