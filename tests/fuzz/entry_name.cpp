// The cleaning of an entry's name: bytes of the archive, converted from UTF-8 and cleaned.
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "tests/fuzz/harness.h"
#include "vantord/unzip/entry_name.h"

using namespace fuzzing;

namespace {

constexpr std::size_t kLongestName = 260;

/// The cleaned form of `text`, from a block of exactly its size, so that the sanitizers see every access outside.
std::u16string Cleaned(const std::u16string& text) {
  std::unique_ptr<WCHAR[]> const exact(new WCHAR[text.size() + 1]);
  std::copy_n(text.c_str(), text.size() + 1, exact.get());
  const WCHAR* const cleaned = CleanEntryName(exact.get());
  Check(cleaned >= exact.get() && cleaned <= exact.get() + text.size(), "the cleaned name is an end of the name");
  return cleaned;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  NeedTablet();
  std::string const narrow(reinterpret_cast<const char*>(data), std::min(size, kLongestName));
  int const bytes = static_cast<int>(std::strlen(narrow.c_str())) + 1;
  WCHAR wide[kLongestName + 1] = {};
  int const characters = ::MultiByteToWideChar(CP_UTF8, 0, narrow.c_str(), bytes, wide, kLongestName + 1);
  Check(characters > 0 && characters <= bytes && wide[characters - 1] == 0, "every name is converted, with its end");

  std::u16string const name = Cleaned(wide);
  Check(!IsAbsolutePath(name.c_str()), "a cleaned name has neither root nor drive");
  for (const char16_t* step : {u"\\..\\", u"\\../", u"/../", u"/..\\"}) {
    Check(name.find(step) == name.npos, "a cleaned name has no step up between two separators");
  }
  Check(std::u16string_view(wide).ends_with(name), "the cleaned name is an end of the name");
  Check(Cleaned(name) == name, "a clean name stays as it is");
  const WCHAR* const separator = LastSeparator(name.c_str());
  std::size_t const last = name.find_last_of(u"\\/");
  Check(separator == (last == name.npos ? nullptr : name.c_str() + last), "the last separator is the last one");
  return 0;
}
