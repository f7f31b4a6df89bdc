// The wide-character functions of Microsoft's C runtime on 16-bit characters, as overloads beside libc's. The product
// calls them unqualified. Only the ones it uses.
#pragma once

#include <minwindef.h>

#include <cstdarg>

std::size_t wcslen(const WCHAR* text);
int wcscmp(const WCHAR* left, const WCHAR* right);
const WCHAR* wcschr(const WCHAR* text, WCHAR character);
WCHAR* wcschr(WCHAR* text, WCHAR character);
const WCHAR* wcsrchr(const WCHAR* text, WCHAR character);
WCHAR* wcsrchr(WCHAR* text, WCHAR character);
const WCHAR* wcsstr(const WCHAR* text, const WCHAR* part);
WCHAR* wcsstr(WCHAR* text, const WCHAR* part);

/// Compares without regard to the case of ASCII letters, as Microsoft's runtime does in the "C" locale.
int _wcsicmp(const WCHAR* left, const WCHAR* right);

/// Reads blanks, a sign and decimal digits; 0 without digits, the nearest limit beyond 32 bits.
int _wtoi(const WCHAR* text);

/// Microsoft's counted wide formatter with the legacy termination: writes at most `count` characters; returns the
/// length, which may equal `count` (then nothing terminates the text), or -1 with the first `count` characters stored
/// when the text is longer. `%s` is wide, `%S` and `%hS` narrow, `%l` and plain integers 32 bits wide.
int _vsnwprintf(WCHAR* out, std::size_t count, const WCHAR* format, std::va_list arguments);
