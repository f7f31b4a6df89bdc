// GUIDs as text.
#pragma once

#ifndef VANTORD_WINDOWS_H
#error "include <windows.h> first, as for Windows' own header"
#endif

using OLECHAR = WCHAR;
using LPOLESTR = OLECHAR*;

extern "C" {
/// Writes the braced upper-case form and its terminator (39 characters in all); returns that count, or 0 when `size`
/// (in characters) is smaller.
int WINAPI StringFromGUID2(REFGUID guid, LPOLESTR text, int size);
}
