// Wide-character functions and conversions between encodings.
#include <windows.h>
// Needs <windows.h> before it.
#include <objbase.h>

#include <algorithm>
#include <array>

#include "sim/winapi/call.h"

std::size_t wcslen(const WCHAR* text) { return std::char_traits<WCHAR>::length(text); }

int wcscmp(const WCHAR* left, const WCHAR* right) {
  for (; *left != 0 && *left == *right; ++left, ++right) {
  }
  return *left < *right ? -1 : *left > *right ? 1 : 0;
}

const WCHAR* wcschr(const WCHAR* text, WCHAR character) {
  for (;; ++text) {
    if (*text == character) return text;
    if (*text == 0) return nullptr;
  }
}
WCHAR* wcschr(WCHAR* text, WCHAR character) {
  return const_cast<WCHAR*>(wcschr(const_cast<const WCHAR*>(text), character));
}

const WCHAR* wcsrchr(const WCHAR* text, WCHAR character) {
  const WCHAR* last = nullptr;
  for (;; ++text) {
    if (*text == character) last = text;
    if (*text == 0) return last;
  }
}
WCHAR* wcsrchr(WCHAR* text, WCHAR character) {
  return const_cast<WCHAR*>(wcsrchr(const_cast<const WCHAR*>(text), character));
}

const WCHAR* wcsstr(const WCHAR* text, const WCHAR* part) {
  if (part[0] == 0) return text;
  for (; (text = wcschr(text, part[0])) != nullptr; ++text) {
    std::size_t same = 1;
    while (part[same] != 0 && text[same] == part[same]) ++same;
    if (part[same] == 0) return text;
  }
  return nullptr;
}
WCHAR* wcsstr(WCHAR* text, const WCHAR* part) {
  return const_cast<WCHAR*>(wcsstr(const_cast<const WCHAR*>(text), part));
}

int _wcsicmp(const WCHAR* left, const WCHAR* right) {
  auto const lower = [](WCHAR c) { return c >= u'A' && c <= u'Z' ? c + 32 : static_cast<int>(c); };
  for (; *left != 0 && lower(*left) == lower(*right); ++left, ++right) {
  }
  return lower(*left) - lower(*right);
}

int _wtoi(const WCHAR* text) {
  while (*text == u' ' || (*text >= u'\t' && *text <= u'\r')) ++text;
  bool const negative = *text == u'-';
  if (*text == u'-' || *text == u'+') ++text;
  std::int64_t number = 0;
  for (; *text >= u'0' && *text <= u'9'; ++text)
    number = std::min<std::int64_t>(number * 10 + (*text - u'0'), 1LL << 31);
  return static_cast<int>(negative ? -number : std::min<std::int64_t>(number, INT32_MAX));
}

namespace win32 {
namespace {

// Code page 1252, the tablet's ANSI code page: where it is not Latin-1. The five bytes without a character stand for
// the control character of their number.
constexpr std::array<WCHAR, 32> kCodePage1252From80 = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                       0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                       0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                       0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::u16string FromAnsi(std::string_view text) {
  std::u16string wide;
  for (char const narrow : text) {
    auto const byte = static_cast<std::uint8_t>(narrow);
    wide += byte >= 0x80 && byte < 0xA0 ? kCodePage1252From80[byte - 0x80] : static_cast<WCHAR>(byte);
  }
  return wide;
}

/// A character outside the code page becomes `replacement`.
std::string ToAnsi(std::u16string_view text, char replacement, bool& replaced) {
  std::string narrow;
  for (WCHAR const c : text) {
    auto const special = std::find(kCodePage1252From80.begin(), kCodePage1252From80.end(), c);
    if (special != kCodePage1252From80.end()) {
      narrow += static_cast<char>(0x80 + (special - kCodePage1252From80.begin()));
    } else if (c < 0x80 || (c >= 0xA0 && c < 0x100)) {
      narrow += static_cast<char>(c);
    } else {
      narrow += replacement;
      replaced = true;
    }
  }
  return narrow;
}

/// The text that a pointer and a length give: with -1 all of it up to and with its terminator.
template <typename Character>
std::basic_string_view<Character> Input(const Character* in, int length) {
  if (length >= 0) return {in, static_cast<std::size_t>(length)};
  return {in, std::char_traits<Character>::length(in) + 1};
}

/// The rules about arguments that both directions share.
bool AreLengthsValid(const void* in, int inLength, const void* out, int outLength) {
  return in != nullptr && in != out && inLength != 0 && inLength >= -1 && outLength >= 0 &&
         (outLength == 0 || out != nullptr);
}

void RefuseUnmodelledConversion(const char* call, UINT codePage, DWORD flags) {
  if (codePage != CP_ACP && codePage != CP_UTF8) RefuseUnmodelled(call, fmt::format("code page {}", codePage));
  if (flags != 0) RefuseUnmodelled(call, fmt::format("flags {:#x}", flags));
}

/// Stores a converted text: its length, or what `out` still takes and ERROR_INSUFFICIENT_BUFFER.
template <typename Character, typename Ending>
int Store(Ending& call, const std::basic_string<Character>& text, Character* out, int outLength) {
  if (outLength == 0) return call.Done(static_cast<int>(text.size()));
  std::size_t const room = static_cast<std::size_t>(outLength);
  std::copy_n(text.begin(), std::min(room, text.size()), out);
  if (text.size() > room) return call.Fail(0, ERROR_INSUFFICIENT_BUFFER);
  return call.Done(static_cast<int>(text.size()));
}

}  // namespace
}  // namespace win32

using win32::Call;

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCCH in, int inBytes, LPWSTR out, int outCharacters) {
  auto describe = [&] {
    return fmt::format("{}, {:#x}, {} bytes, room for {}", codePage, flags, inBytes, outCharacters);
  };
  Call call("MultiByteToWideChar", describe);
  if (call.fault() != 0) return call.Fail(0);
  if (!win32::AreLengthsValid(in, inBytes, out, outCharacters)) return call.Fail(0, ERROR_INVALID_PARAMETER);
  win32::RefuseUnmodelledConversion("MultiByteToWideChar", codePage, flags);
  std::string_view const text = win32::Input(in, inBytes);
  return win32::Store(call, codePage == CP_UTF8 ? tablet::ToUtf16(text) : win32::FromAnsi(text), out, outCharacters);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR in, int inCharacters, LPSTR out, int outBytes,
                        LPCCH defaultCharacter, LPBOOL usedDefault) {
  auto describe = [&] {
    return fmt::format("{}, {:#x}, {} characters, room for {}", codePage, flags, inCharacters, outBytes);
  };
  Call call("WideCharToMultiByte", describe);
  if (call.fault() != 0) return call.Fail(0);
  bool const asks_default = defaultCharacter != nullptr || usedDefault != nullptr;
  if (!win32::AreLengthsValid(in, inCharacters, out, outBytes) || (codePage == CP_UTF8 && asks_default)) {
    return call.Fail(0, ERROR_INVALID_PARAMETER);
  }
  win32::RefuseUnmodelledConversion("WideCharToMultiByte", codePage, flags);
  std::u16string_view const text = win32::Input(in, inCharacters);
  if (codePage == CP_UTF8) return win32::Store(call, tablet::ToUtf8(text), out, outBytes);
  bool replaced = false;
  std::string const narrow = win32::ToAnsi(text, defaultCharacter == nullptr ? '?' : *defaultCharacter, replaced);
  if (usedDefault != nullptr) *usedDefault = replaced ? TRUE : FALSE;
  return win32::Store(call, narrow, out, outBytes);
}

int StringFromGUID2(REFGUID guid, LPOLESTR text, int size) {
  tablet::Guid value;
  static_assert(sizeof(value.bytes) == sizeof(guid));
  std::memcpy(value.bytes.data(), &guid, sizeof(guid));
  std::u16string const shown = tablet::ToUtf16(value.ToString());
  auto describe = [&] { return fmt::format("{}, room for {}", value.ToString(), size); };
  Call call("StringFromGUID2", describe);
  if (call.fault() != 0) return call.Done(0);
  if (size < static_cast<int>(shown.size()) + 1) return call.Done(0);
  std::copy_n(shown.c_str(), shown.size() + 1, text);
  return call.Done(static_cast<int>(shown.size()) + 1);
}
