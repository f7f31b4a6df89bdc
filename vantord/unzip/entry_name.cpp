#include "vantord/unzip/entry_name.h"

#include <initializer_list>

namespace {

/// Behind the first step up to a parent folder in `text`, or null. The four spellings are looked for one after the
/// other over the whole text: the first spelling that occurs wins, not the first occurrence.
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
  // Kept on purpose: a ".." is cut away only between two separators; one would expect a leading "../" and a trailing
  // "\.." to go as well, and a name never to lead out of the target folder. Pinned by
  // EntryName.ALeadingStepUpAndATrailingOneStay.
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
