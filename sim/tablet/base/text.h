// UTF-16 as Windows keeps it and UTF-8 as everything else does.
#pragma once

#include <string>
#include <string_view>

namespace tablet {

/// Lone surrogates become U+FFFD.
std::string ToUtf8(std::u16string_view text);
/// Bytes that are not UTF-8 become U+FFFD.
std::u16string ToUtf16(std::string_view text);

/// Upper case, one character to one character, as the registry and file systems of Windows compare names. Covers
/// ASCII, Latin-1, Greek and Cyrillic; other letters stay as they are.
char16_t FoldCaseBeyondAscii(char16_t character);
inline char16_t FoldCase(char16_t character) {
  if (character >= 0x80) return FoldCaseBeyondAscii(character);
  return character >= u'a' && character <= u'z' ? static_cast<char16_t>(character - 32) : character;
}
std::u16string FoldCase(std::u16string_view text);
bool EqualIgnoringCase(std::u16string_view left, std::u16string_view right);
/// Orders names as Windows lists them: by their upper-case forms, character by character.
bool LessIgnoringCase(std::u16string_view left, std::u16string_view right);

}  // namespace tablet
