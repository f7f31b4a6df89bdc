#include "cli/base/escape.h"

#include <fmt/format.h>
#include <utf8.h>

#include <cstdint>

namespace cli {

namespace {

constexpr std::uint32_t kInvalid = 0xFFFFFFFF;

/// Takes one character, or one byte that begins none.
std::uint32_t Next(std::string_view::const_iterator& at, std::string_view::const_iterator end) {
  auto const begin = at;
  try {
    return utf8::next(at, end);
  } catch (const utf8::exception&) {
    at = begin + 1;
    return kInvalid;
  }
}

bool IsControl(std::uint32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }
/// Marks of direction, and separators of lines and paragraphs.
bool IsLayout(std::uint32_t c) {
  return c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

std::string Escaped(std::string_view text) {
  std::string out;
  for (auto at = text.begin(); at != text.end();) {
    auto const begin = at;
    std::uint32_t const c = Next(at, text.end());
    if (c == kInvalid) {
      out += fmt::format("\\x{:02x}", static_cast<unsigned char>(*begin));
    } else if (IsControl(c)) {
      out += fmt::format("\\x{:02x}", c);
    } else if (IsLayout(c)) {
      out += fmt::format("\\u{:04x}", c);
    } else {
      out.append(begin, at);
    }
  }
  return out;
}

std::string EscapedJson(std::string_view document) {
  std::string out;
  for (auto at = document.begin(); at != document.end();) {
    auto const begin = at;
    std::uint32_t const c = Next(at, document.end());
    if (c != kInvalid && c >= 0x7F && (IsControl(c) || IsLayout(c))) {
      out += fmt::format("\\u{:04x}", c);
    } else {
      out.append(begin, at);
    }
  }
  return out;
}

std::string XmlText(std::string_view text) {
  std::string out;
  for (char const c : text) {
    if (c == '&') {
      out += "&amp;";
    } else if (c == '<') {
      out += "&lt;";
    } else if (c == '>') {
      out += "&gt;";
    } else if (c == '"') {
      out += "&quot;";
    } else if (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') {
      out += "\xEF\xBF\xBD";
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace cli
