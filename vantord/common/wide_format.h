// Formatting of wide text. This is the one place that calls the runtime's counted wide formatter, whose Microsoft
// meaning of %s (wide) and %S (narrow) every text of this service relies on.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <cstddef>

/// Formats into `out`, which holds `capacity` characters, and always terminates it when capacity is not 0.
/// Returns the number of characters stored before the terminator, null characters inside the text included. A text that
/// does not fit is cut at capacity - 1 characters.
std::size_t FormatWide(WCHAR* out, std::size_t capacity, const WCHAR* format, ...);
std::size_t FormatWideV(WCHAR* out, std::size_t capacity, const WCHAR* format, std::va_list arguments);

/// The same for an array, whose size it takes itself.
template <std::size_t Capacity, typename... Arguments>
std::size_t FormatWideTo(WCHAR (&out)[Capacity], const WCHAR* format, Arguments... arguments) {
  return FormatWide(out, Capacity, format, arguments...);
}

/// Copies `text` into an array, cut where it does not fit, always terminated. The rest of the array keeps its content.
void CopyWide(WCHAR* out, std::size_t capacity, const WCHAR* text);
