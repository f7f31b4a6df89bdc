// Formatting of wide text. Only this file calls the runtime's counted wide formatter; the service's texts need its
// Microsoft meaning of %s (wide) and %S (narrow).
#pragma once

#include <windows.h>

#include <cstdarg>
#include <cstddef>

/// Formats into `out`, which holds `capacity` characters, and terminates it unless the capacity is 0. Returns the
/// number of characters stored before the terminator, null characters inside the text included. A text that does not
/// fit is cut at capacity - 1 characters.
std::size_t FormatWide(WCHAR* out, std::size_t capacity, const WCHAR* format, ...);
std::size_t FormatWideV(WCHAR* out, std::size_t capacity, const WCHAR* format, std::va_list arguments);

/// As FormatWide, for an array.
template <std::size_t Capacity, typename... Arguments>
std::size_t FormatWideTo(WCHAR (&out)[Capacity], const WCHAR* format, Arguments... arguments) {
  return FormatWide(out, Capacity, format, arguments...);
}

/// Copies `text` into an array, cut to fit and always terminated. The rest of the array is unchanged.
void CopyWide(WCHAR* out, std::size_t capacity, const WCHAR* text);
