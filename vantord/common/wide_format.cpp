#include "vantord/common/wide_format.h"

#include <cwchar>

std::size_t FormatWideV(WCHAR* out, std::size_t capacity, const WCHAR* format, std::va_list arguments) {
  if (capacity == 0) return 0;
  // The legacy form stores the cut text and returns -1; capacity - 1 characters fit before the terminator.
  int const length = _vsnwprintf(out, capacity - 1, format, arguments);
  std::size_t const stored = length < 0 ? capacity - 1 : static_cast<std::size_t>(length);
  out[stored] = 0;
  return stored;
}

std::size_t FormatWide(WCHAR* out, std::size_t capacity, const WCHAR* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::size_t const length = FormatWideV(out, capacity, format, arguments);
  va_end(arguments);
  return length;
}

void CopyWide(WCHAR* out, std::size_t capacity, const WCHAR* text) {
  if (capacity == 0) return;
  std::size_t i = 0;
  for (; i + 1 < capacity && text[i] != 0; ++i) out[i] = text[i];
  out[i] = 0;
}
