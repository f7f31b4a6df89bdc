// Microsoft's counted wide formatter. libc's cannot serve: its %s is narrow, its long has 64 bits, its characters 32,
// and it stores nothing useful of a text that does not fit.
#include <windows.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "sim/winapi/call.h"

namespace {

using win32::RefuseUnmodelled;

/// Where the text goes: stores what fits and counts the rest.
class Sink {
 public:
  Sink(WCHAR* out, std::size_t capacity) : m_out(out), m_capacity(capacity) {}
  void Put(WCHAR character) {
    if (m_length < m_capacity) m_out[m_length] = character;
    ++m_length;
  }
  void Repeat(WCHAR character, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) Put(character);
  }
  void Append(std::u16string_view text) {
    if (std::size_t const stored = Room(text.size()))
      std::memcpy(m_out + m_length, text.data(), stored * sizeof(WCHAR));
    m_length += text.size();
  }
  /// The "C" locale widens a byte to the character of the same number.
  void Append(std::string_view text) {
    WCHAR* out = m_out + m_length;
    for (char const c : text.substr(0, Room(text.size()))) *out++ = static_cast<std::uint8_t>(c);
    m_length += text.size();
  }
  std::size_t length() const { return m_length; }

 private:
  std::size_t Room(std::size_t wanted) const {
    return m_length < m_capacity ? std::min(wanted, m_capacity - m_length) : 0;
  }

  WCHAR* m_out;
  std::size_t m_capacity;
  std::size_t m_length = 0;
};

enum class Size { kPlain, kShort, kLong, k64Bits };

/// What is between a '%' and its letter.
struct Conversion {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zeros = false;
  std::size_t width = 0;
  int precision = -1;  ///< -1: none
  Size size = Size::kPlain;
};

constexpr bool IsDigit(WCHAR c) { return c >= u'0' && c <= u'9'; }

class Formatter {
 public:
  Formatter(Sink& sink, const WCHAR* format, std::va_list arguments) : m_sink(sink), m_at(format) {
    va_copy(m_arguments, arguments);
  }
  ~Formatter() { va_end(m_arguments); }
  Formatter(const Formatter&) = delete;
  Formatter& operator=(const Formatter&) = delete;

  void Run() {
    while (*m_at != 0) {
      const WCHAR* const plain = m_at;
      while (*m_at != 0 && *m_at != u'%') ++m_at;
      m_sink.Append(std::u16string_view(plain, static_cast<std::size_t>(m_at - plain)));
      if (*m_at == 0) return;
      ++m_at;
      // Most conversions are but a letter.
      bool const bare = *m_at == u's' || *m_at == u'S' || *m_at == u'd' || *m_at == u'u';
      Conversion const conversion = bare ? Conversion() : ReadConversion();
      // A format that ends within a conversion prints nothing for it.
      if (*m_at != 0) Convert(conversion, *m_at++);
    }
  }

 private:
  Conversion ReadConversion() {
    Conversion c;
    ReadFlags(c);
    int const width = ReadNumber();
    if (width < 0) c.left = true;  // only a '*' gives a negative width
    c.width = static_cast<std::size_t>(width < 0 ? -width : width);
    if (*m_at == u'.') {
      ++m_at;
      c.precision = ReadNumber();
      if (c.precision < 0) c.precision = -1;
    }
    ReadSize(c);
    return c;
  }

  void ReadFlags(Conversion& c) {
    for (;; ++m_at) {
      switch (*m_at) {
        case u'-':
          c.left = true;
          break;
        case u'+':
          c.plus = true;
          break;
        case u' ':
          c.space = true;
          break;
        case u'#':
          c.alternate = true;
          break;
        case u'0':
          c.zeros = true;
          break;
        default:
          return;
      }
    }
  }

  int ReadNumber() {
    if (*m_at == u'*') {
      ++m_at;
      return va_arg(m_arguments, int);
    }
    int number = 0;
    for (; IsDigit(*m_at); ++m_at) number = number * 10 + (*m_at - u'0');
    return number;
  }

  void ReadSize(Conversion& c) {
    for (;; ++m_at) {
      switch (*m_at) {
        case u'h':
          c.size = Size::kShort;
          break;
        case u'w':
          c.size = Size::kLong;
          break;
        case u'l':
          c.size = c.size == Size::kLong ? Size::k64Bits : Size::kLong;
          break;
        case u'I':
          c.size = Size::k64Bits;
          if (m_at[1] == u'6' && m_at[2] == u'4') m_at += 2;
          if (m_at[1] == u'3' && m_at[2] == u'2') {
            c.size = Size::kPlain;
            m_at += 2;
          }
          break;
        default:
          return;
      }
    }
  }

  void Convert(const Conversion& c, WCHAR letter) {
    switch (letter) {
      // In a wide format the small letters are wide and the capitals narrow, unless a size says otherwise.
      case u's':
        return c.size == Size::kShort ? Narrow(c) : Wide(c);
      case u'S':
        return c.size == Size::kLong ? Wide(c) : Narrow(c);
      case u'c':
        return Character(c, c.size == Size::kShort);
      case u'C':
        return Character(c, c.size != Size::kLong);
      case u'd':
      case u'i':
        return Signed(c);
      case u'u':
        return Integer(c, Unsigned(c), u"", 10, false);
      case u'x':
        return Integer(c, Unsigned(c), c.alternate ? u"0x" : u"", 16, false);
      case u'X':
        return Integer(c, Unsigned(c), c.alternate ? u"0X" : u"", 16, true);
      case u'e':
      case u'E':
      case u'f':
      case u'g':
      case u'G':
      case u'a':
      case u'A':
      case u'n':
      case u'o':
      case u'p':
      case u'Z':
        RefuseUnmodelled("_vsnwprintf", fmt::format("the conversion %{}", static_cast<char>(letter)));
      default:
        m_sink.Put(letter);  // a letter without a meaning, and "%%"
    }
  }

  /// Pads `prefix` and `text` to the width. Zeros go between the two; they pad texts as well.
  template <typename Character>
  void Pad(const Conversion& c, std::u16string_view prefix, std::basic_string_view<Character> text, bool zeros) {
    std::size_t const length = prefix.size() + text.size();
    std::size_t const padding = c.width > length ? c.width - length : 0;
    if (!c.left && !zeros) m_sink.Repeat(u' ', padding);
    m_sink.Append(prefix);
    if (!c.left && zeros) m_sink.Repeat(u'0', padding);
    m_sink.Append(text);
    if (c.left) m_sink.Repeat(u' ', padding);
  }

  template <typename Character>
  void Text(const Conversion& c, const Character* text) {
    if (text == nullptr) return Text(c, u"(null)");
    std::size_t const most = c.precision < 0 ? SIZE_MAX : static_cast<std::size_t>(c.precision);
    std::size_t length = 0;
    while (length < most && text[length] != 0) ++length;
    Pad(c, u"", std::basic_string_view<Character>(text, length), c.zeros);
  }
  void Narrow(const Conversion& c) { Text(c, va_arg(m_arguments, const char*)); }
  void Wide(const Conversion& c) { Text(c, va_arg(m_arguments, const WCHAR*)); }

  void Character(const Conversion& c, bool narrow) {
    int const argument = va_arg(m_arguments, int);
    WCHAR const character = narrow ? static_cast<std::uint8_t>(argument) : static_cast<WCHAR>(argument);
    Pad(c, u"", std::u16string_view(&character, 1), c.zeros);
  }

  std::uint64_t Unsigned(const Conversion& c) {
    if (c.size == Size::k64Bits) return va_arg(m_arguments, std::uint64_t);
    auto const value = va_arg(m_arguments, std::uint32_t);
    return c.size == Size::kShort ? static_cast<std::uint16_t>(value) : value;
  }

  void Signed(const Conversion& c) {
    std::uint64_t const raw = Unsigned(c);
    std::int64_t value = static_cast<std::int32_t>(static_cast<std::uint32_t>(raw));
    if (c.size == Size::kShort) value = static_cast<std::int16_t>(raw);
    if (c.size == Size::k64Bits) value = static_cast<std::int64_t>(raw);
    std::uint64_t const magnitude =
        value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    Integer(c, magnitude, value < 0 ? u"-" : c.plus ? u"+" : c.space ? u" " : u"", 10, false);
  }

  void Integer(const Conversion& c, std::uint64_t value, std::u16string_view prefix, unsigned base, bool capitals) {
    WCHAR digits[64];
    std::size_t first = std::size(digits);
    if (base == 16 && value == 0) prefix = u"";
    for (; value != 0; value /= base) {
      digits[--first] = (capitals ? u"0123456789ABCDEF" : u"0123456789abcdef")[value % base];
    }
    // A precision is the least number of digits: 1 without one. It ends the zero flag's effect.
    std::size_t const least = c.precision < 0 ? 1 : static_cast<std::size_t>(c.precision);
    if (least > std::size(digits)) RefuseUnmodelled("_vsnwprintf", fmt::format("{} digits", least));
    while (std::size(digits) - first < least) digits[--first] = u'0';
    Pad(c, prefix, std::u16string_view(digits + first, std::size(digits) - first), c.zeros && c.precision < 0);
  }

  Sink& m_sink;
  const WCHAR* m_at;
  std::va_list m_arguments;
};

}  // namespace

int _vsnwprintf(WCHAR* out, std::size_t count, const WCHAR* format, std::va_list arguments) {
  if (out == nullptr || format == nullptr) RefuseUnmodelled("_vsnwprintf", "a null buffer or format");
  Sink sink(out, count);
  Formatter(sink, format, arguments).Run();

  bool const fits = sink.length() <= count;
  std::size_t const stored = fits ? sink.length() : count;
  if (stored < count) out[stored] = 0;
  int const result = fits ? static_cast<int>(stored) : -1;

  // No hand-over and no faults: formatting touches nothing that another thread or the machine has a part in. The text
  // alone is in the journal, so that messages that were never delivered can be found there.
  tablet::OutsideProduct const outside;
  tablet::Journal& journal = win32::Machine().journal();
  if (journal.wants_calls()) {
    journal.Record(tablet::CallEvent{"_vsnwprintf",
                                     tablet::ToUtf8(std::u16string_view(out, stored)),
                                     std::to_string(result),
                                     win32::Machine().scheduler().last_error(),
                                     {}});
  }
  return result;
}
