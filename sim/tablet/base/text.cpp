#include "sim/tablet/base/text.h"

#include <utf8.h>

#include <algorithm>
#include <iterator>
#include <type_traits>

namespace tablet {

namespace {

/// Most texts are, and are the same in both encodings.
template <typename Text>
bool IsAscii(Text text) {
  unsigned all = 0;
  for (auto const c : text) all |= static_cast<std::make_unsigned_t<typename Text::value_type>>(c);
  return all < 0x80;
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  if (IsAscii(text)) return {text.begin(), text.end()};
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t point = text[i];
    bool const high = point >= 0xD800 && point < 0xDC00;
    if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      point = 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (point >= 0xD800 && point < 0xE000) {
      point = 0xFFFD;
    }
    utf8::append(point, std::back_inserter(out));
  }
  return out;
}

std::u16string ToUtf16(std::string_view text) {
  if (IsAscii(text)) return {text.begin(), text.end()};
  std::string valid;
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), 0xFFFD);
  std::u16string out;
  utf8::utf8to16(valid.begin(), valid.end(), std::back_inserter(out));
  return out;
}

char16_t FoldCaseBeyondAscii(char16_t c) {
  if (c < 0xE0) return c;
  if (c <= 0xFE) return c == 0xF7 ? c : static_cast<char16_t>(c - 32);
  if (c == 0xFF) return 0x178;
  if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return static_cast<char16_t>(c - 32);
  if (c >= 0x430 && c <= 0x44F) return static_cast<char16_t>(c - 32);
  if (c >= 0x450 && c <= 0x45F) return static_cast<char16_t>(c - 80);
  return c;
}

std::u16string FoldCase(std::u16string_view text) {
  std::u16string out(text);
  for (char16_t& c : out) c = FoldCase(c);
  return out;
}

bool EqualIgnoringCase(std::u16string_view left, std::u16string_view right) {
  return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(),
                                                   [](char16_t a, char16_t b) { return FoldCase(a) == FoldCase(b); });
}

bool LessIgnoringCase(std::u16string_view left, std::u16string_view right) {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char16_t a, char16_t b) { return FoldCase(a) < FoldCase(b); });
}

}  // namespace tablet
