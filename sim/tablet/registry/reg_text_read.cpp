#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/registry/reg_text.h"

namespace tablet {

namespace {

constexpr std::u16string_view kHeader = u"Windows Registry Editor Version 5.00";
constexpr std::u16string_view kHive = u"HKEY_LOCAL_MACHINE";
constexpr std::size_t kDeepestKey = 512;
constexpr const char* kSaveAs = "save the file as UTF-8 or as UTF-16LE with a byte order mark";
constexpr const char* kSaveLines = "end the lines with a line feed, or with carriage return and line feed";

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

std::u16string_view TrimEnd(std::u16string_view text) {
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::u16string_view TrimStart(std::u16string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  return text;
}

bool Take(std::u16string_view& text, std::u16string_view start) {
  if (!text.starts_with(start)) return false;
  text.remove_prefix(start.size());
  return true;
}

int HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

/// Takes up to `most` hexadecimal digits; nothing if there are none or more.
std::optional<std::uint32_t> TakeHex(std::u16string_view& text, std::size_t most) {
  std::uint32_t number = 0;
  std::size_t digits = 0;
  for (; digits < text.size() && HexDigit(text[digits]) >= 0; ++digits) {
    if (digits == most) return std::nullopt;
    number = number << 4 | static_cast<std::uint32_t>(HexDigit(text[digits]));
  }
  text.remove_prefix(digits);
  return digits == 0 ? std::nullopt : std::optional(number);
}

std::string Place(const std::string& name, std::size_t line) { return fmt::format("{}:{}", name, line); }

std::u16string DecodeUtf16(std::string_view bytes, const std::string& name) {
  if (bytes.size() % 2 != 0) {
    throw InputError(name, "its UTF-16 text ends in the middle of a character", "save the file again");
  }
  std::u16string text;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    auto const low = static_cast<unsigned char>(bytes[i]);
    auto const high = static_cast<unsigned char>(bytes[i + 1]);
    text.push_back(static_cast<char16_t>(low | high << 8));
  }
  return text;
}

std::u16string DecodeUtf8(std::string_view bytes, const std::string& name) {
  auto const bad = utf8::find_invalid(bytes.begin(), bytes.end());
  if (bad != bytes.end()) {
    auto const line = static_cast<std::size_t>(std::count(bytes.begin(), bad, '\n')) + 1;
    throw InputError(Place(name, line), "holds bytes that are no UTF-8", kSaveAs);
  }
  return ToUtf16(bytes);
}

std::u16string Decode(std::string_view bytes, const std::string& name) {
  if (bytes.starts_with("\xFF\xFE")) return DecodeUtf16(bytes.substr(2), name);
  if (bytes.starts_with("\xFE\xFF")) throw InputError(name, "is UTF-16 in big-endian order", kSaveAs);
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  return DecodeUtf8(bytes, name);
}

/// One change that the text asks for, kept until all of the text has been read.
struct Step {
  enum class Kind { kMakeKey, kRemoveKey, kSet, kRemoveValue } kind;
  std::u16string key;
  std::u16string value;
  RegistryValue data;
};

class Reader {
 public:
  Reader(std::u16string_view text, const std::string& name) : name_(name), rest_(text) {}

  std::vector<Step> Run() {
    ReadHeader();
    while (NextLine()) {
      std::u16string_view const line = TrimStart(TrimEnd(line_));
      if (line.empty() || line.starts_with(u';')) continue;
      if (line.starts_with(u'[')) {
        ReadKey(line);
      } else if (line.starts_with(u'@') || line.starts_with(u'"')) {
        ReadValue(line);
      } else {
        Refuse("neither a key, a value nor a comment", "begin the line with [ , \" , @ or ;");
      }
    }
    return std::move(steps_);
  }

 private:
  /// Moves to the next line and checks its characters; false at the end of the text.
  bool NextLine() {
    if (rest_.empty()) return false;
    std::size_t const length = std::min(rest_.find(u'\n'), rest_.size());
    line_ = rest_.substr(0, length);
    rest_.remove_prefix(std::min(length + 1, rest_.size()));
    if (line_.ends_with(u'\r')) line_.remove_suffix(1);
    ++number_;
    // Such a name could be read but never be written again.
    if (line_.find(u'\r') != line_.npos) Refuse("a carriage return in the middle of a line", kSaveLines);
    for (std::size_t i = 0; i < line_.size(); ++i) {
      bool const high = line_[i] >= 0xD800 && line_[i] < 0xDC00;
      bool const pair = high && i + 1 < line_.size() && line_[i + 1] >= 0xDC00 && line_[i + 1] < 0xE000;
      if (pair) {
        ++i;
      } else if (line_[i] == 0 || (line_[i] >= 0xD800 && line_[i] < 0xE000)) {
        Refuse("holds a character that is not text", kSaveAs);
      }
    }
    return true;
  }

  [[noreturn]] void Refuse(const std::string& problem, const std::string& next) const {
    std::string place = Place(name_, number_);
    if (!section_.empty()) place += ": " + section_;
    throw InputError(place, problem, next);
  }

  void ReadHeader() {
    bool const any = NextLine();
    if (any && TrimEnd(line_) == kHeader) return;
    number_ = 1;
    if (any && TrimEnd(line_) == u"REGEDIT4") {
      Refuse("is in the ANSI form of old systems", "export it again as version 5.00");
    }
    Refuse("is not registry text", "make the first line \"" + ToUtf8(kHeader) + "\"");
  }

  void ReadKey(std::u16string_view line) {
    section_.clear();
    if (!line.ends_with(u']')) Refuse("a key without its closing bracket", "end the line with ]");
    section_ = ToUtf8(line);
    line = line.substr(1, line.size() - 2);
    removed_ = Take(line, u"-");
    std::u16string_view const hive = line.substr(0, line.find(u'\\'));
    if (EqualIgnoringCase(hive, u"HKLM")) Refuse("the hive is abbreviated", "write HKEY_LOCAL_MACHINE");
    if (!EqualIgnoringCase(hive, kHive)) {
      Refuse("not in HKEY_LOCAL_MACHINE, the only hive of a tablet", "remove this key");
    }
    line.remove_prefix(hive.size());
    if (removed_ && line.empty()) Refuse("removes the whole hive", "name a key below HKEY_LOCAL_MACHINE");
    // Exports of hive files by other tools end the name of the hive itself in a separator.
    if (line.size() > 1 && line.ends_with(u'\\') && !line.ends_with(u"\\\\")) line.remove_suffix(1);
    CheckNames(line);
    Take(line, u"\\");
    key_ = line;
    steps_.push_back({removed_ ? Step::Kind::kRemoveKey : Step::Kind::kMakeKey, *key_, {}, {}});
  }

  /// `path` is empty or begins with a separator, as each of its names does.
  void CheckNames(std::u16string_view path) const {
    for (std::size_t depth = 1; Take(path, u"\\"); ++depth) {
      std::u16string_view const name = path.substr(0, path.find(u'\\'));
      if (name.empty()) Refuse("an empty name in the path", "separate the names by single backslashes");
      if (depth > kDeepestKey) {
        Refuse(fmt::format("a key more than {} deep", kDeepestKey), "Windows has no deeper ones: shorten the path");
      }
      if (name.size() > kLongestKeyName) {
        Refuse(fmt::format("a name of {} characters", name.size()),
               fmt::format("names have {} characters at most", kLongestKeyName));
      }
      path.remove_prefix(name.size());
    }
  }

  void ReadValue(std::u16string_view line) {
    if (!key_) Refuse("a value without a key", "write its [HKEY_LOCAL_MACHINE\\...] line above it");
    if (removed_) Refuse("a value in a key that is removed", "write a line without the - for the key above it");
    std::u16string name;
    if (!Take(line, u"@")) name = TakeQuoted(line);
    line = TrimStart(line);
    if (!Take(line, u"=")) Refuse("no = after the name of the value", "write \"name\"=data");
    ReadData(std::move(name), TrimStart(line));
  }

  void ReadData(std::u16string name, std::u16string_view line) {
    RegistryValue value;
    if (Take(line, u"-")) {
      ExpectEnd(line);
      steps_.push_back({Step::Kind::kRemoveValue, *key_, std::move(name), {}});
      return;
    }
    if (line.starts_with(u'"')) {
      value = TextValue(TakeQuoted(line));
    } else if (Take(line, u"dword:")) {
      std::optional<std::uint32_t> const number = TakeHex(line, 8);
      if (!number) Refuse("no number after dword:", "write up to 8 hexadecimal digits");
      value = DwordValue(*number);
    } else if (Take(line, u"hex")) {
      value.type = TakeType(line);
      value.data = TakeBytes(line);
    } else {
      Refuse("data of no known form", "write \"text\", dword:, hex:, hex(n): or -");
    }
    ExpectEnd(line);
    steps_.push_back({Step::Kind::kSet, *key_, std::move(name), std::move(value)});
  }

  void ExpectEnd(std::u16string_view line) const {
    line = TrimStart(line);
    if (!line.empty() && !line.starts_with(u';')) {
      Refuse("more after the data: " + ToUtf8(line), "write one value on a line");
    }
  }

  std::u16string TakeQuoted(std::u16string_view& line) const {
    std::u16string text;
    for (std::size_t i = 1; i < line.size(); ++i) {
      if (line[i] == u'"') {
        line.remove_prefix(i + 1);
        return text;
      }
      if (line[i] == u'\\') {
        ++i;
        if (i == line.size()) break;
        if (line[i] != u'\\' && line[i] != u'"') {
          Refuse("a single backslash between quotes", "write it as \\\\");
        }
      }
      text.push_back(line[i]);
    }
    Refuse("a quote without its end", "close it on the same line; a text of several lines is written as hex(1):");
  }

  std::uint32_t TakeType(std::u16string_view& line) const {
    if (Take(line, u":")) return kTypeBinary;
    if (Take(line, u"(")) {
      std::optional<std::uint32_t> const type = TakeHex(line, 8);
      if (type && Take(line, u"):")) return *type;
    }
    Refuse("no readable type after hex", "write hex: or hex(n):, n the type in hexadecimal");
  }

  /// Bytes separated by commas, over several lines where a line ends in a backslash.
  std::vector<std::uint8_t> TakeBytes(std::u16string_view& line) {
    std::vector<std::uint8_t> bytes;
    bool wanted = false;  // by a comma
    while (true) {
      line = TrimStart(line);
      if (Take(line, u"\\")) {
        ExpectEnd(line);
        if (!NextLine()) Refuse("the data ends after a backslash", "write the bytes that follow, or remove it");
        line = TrimEnd(line_);
        wanted = true;
        continue;
      }
      bool const ends = line.empty() || line.starts_with(u';');
      if (ends && !wanted) return bytes;
      std::optional<std::uint32_t> const byte = TakeHex(line, 2);
      if (!byte) Refuse("no byte where one must stand", "write bytes as two hexadecimal digits, separated by commas");
      bytes.push_back(static_cast<std::uint8_t>(*byte));
      line = TrimStart(line);
      wanted = Take(line, u",");
      if (!wanted) return bytes;
    }
  }

  const std::string& name_;
  std::u16string_view rest_;
  std::u16string_view line_;
  std::size_t number_ = 0;
  std::string section_;                ///< the line of the key that is being filled
  std::optional<std::u16string> key_;  ///< its path
  bool removed_ = false;
  std::vector<Step> steps_;
};

}  // namespace

void ReadRegText(std::string_view bytes, const std::string& name, Registry& registry) {
  std::u16string const text = Decode(bytes, name);
  for (Step& step : Reader(text, name).Run()) {
    switch (step.kind) {
      case Step::Kind::kMakeKey:
        registry.MakeKey(step.key);
        break;
      case Step::Kind::kRemoveKey:
        registry.RemoveKey(step.key);
        break;
      case Step::Kind::kSet:
        registry.Put(step.key, step.value, std::move(step.data));
        break;
      case Step::Kind::kRemoveValue:
        registry.RemoveValue(step.key, step.value);
        break;
    }
  }
}

void ReadRegFile(const std::filesystem::path& file, Registry& registry) {
  std::error_code ignored;
  std::ifstream stream(file, std::ios::binary);
  if (!std::filesystem::is_regular_file(file, ignored) || !stream) {
    throw InputError(file.string(), "cannot be read", "check that it is a file and that you may read it");
  }
  std::string const bytes{std::istreambuf_iterator<char>(stream), {}};
  ReadRegText(bytes, file.string(), registry);
}

}  // namespace tablet
