#include "sim/tablet/drive/drive_path.h"

#include <algorithm>
#include <array>

#include "sim/tablet/base/text.h"

namespace tablet {

namespace {

constexpr char16_t kSeparator = u'\\';

// What a translated pattern holds beside plain characters and "*", in the notation of Windows' own matcher.
constexpr char16_t kDosStar = u'<';
constexpr char16_t kDosQuestion = u'>';
constexpr char16_t kDosDot = u'"';

/// Parts that most paths do not have more of.
constexpr std::size_t kUsualDepth = 8;

std::vector<std::u16string> Split(std::u16string_view text) {
  std::vector<std::u16string> parts;
  parts.reserve(kUsualDepth);
  while (!text.empty()) {
    auto const end = static_cast<std::size_t>(std::find_if(text.begin(), text.end(), IsSeparator) - text.begin());
    if (end != 0) parts.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

void TrimEnd(std::u16string& name) {
  while (!name.empty() && (name.back() == u'.' || name.back() == u' ')) name.pop_back();
}

bool HoldsWildcard(std::u16string_view name) { return name.find_first_of(u"*?") != name.npos; }

/// A part in the middle of a path loses one trailing dot, the last one all its trailing dots and blanks.
void Normalise(std::u16string& part, bool last, bool pattern) {
  if (last) {
    if (!pattern || !HoldsWildcard(part)) TrimEnd(part);
  } else if (part.size() > 1 && part.back() == u'.' && part[part.size() - 2] != u'.') {
    part.pop_back();
  }
}

/// By character: whether no name may hold it. Wildcards are among them.
constexpr std::array<bool, 128> kForbidden = [] {
  std::array<bool, 128> forbidden{};
  for (std::size_t c = 0; c < 0x20; ++c) forbidden[c] = true;
  for (char16_t const c : std::u16string_view(u"<>|\":\\/*?")) forbidden[c] = true;
  return forbidden;
}();

bool HoldsOnlyNameCharacters(std::u16string_view name, bool wildcards) {
  for (char16_t const c : name) {
    if (c >= kForbidden.size() || !kForbidden[c]) continue;
    if (!wildcards || (c != u'*' && c != u'?')) return false;
  }
  return true;
}

/// Takes the drive letter off. kPathNotFound for another drive and for shares and devices.
WinError DropDrive(std::u16string_view& path) {
  if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) return kPathNotFound;
  if (path.size() < 2 || path[1] != u':') return kSuccess;
  char16_t const letter = FoldCase(path[0]);
  if (letter < u'A' || letter > u'Z') return kInvalidName;
  if (letter != u'C') return kPathNotFound;
  path.remove_prefix(2);
  return kSuccess;
}

/// The pattern in the notation of Windows' matcher.
std::u16string Translate(std::u16string_view pattern) {
  if (pattern == u"*.*") return u"*";
  std::u16string out;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    char16_t const c = pattern[i];
    bool const wildcard_next = i + 1 < pattern.size() && (pattern[i + 1] == u'*' || pattern[i + 1] == u'?');
    if (c == u'?') {
      out += kDosQuestion;
    } else if (c == u'.' && wildcard_next) {
      out += kDosDot;
    } else if (c == u'*' && i + 1 < pattern.size() && pattern[i + 1] == u'.') {
      out += kDosStar;
    } else {
      out += FoldCase(c);
    }
  }
  // "*." asks for names without a dot: the dot may match the end of the name.
  if (out.size() >= 2 && out.back() == u'.' && out[out.size() - 2] == kDosStar) out.back() = kDosDot;
  return out;
}

bool Matches(std::u16string_view name, std::u16string_view pattern) {
  while (!pattern.empty()) {
    char16_t const p = pattern.front();
    pattern.remove_prefix(1);
    if (p == u'*' || p == kDosStar) {
      for (;;) {
        if (Matches(name, pattern)) return true;
        if (name.empty()) return false;
        // The star before a dot runs up to the last dot of the name, never over it.
        if (p == kDosStar && name.front() == u'.' && name.find(u'.', 1) == name.npos) return false;
        name.remove_prefix(1);
      }
    }
    if (p == kDosQuestion) {
      if (!name.empty() && name.front() != u'.') name.remove_prefix(1);
    } else if (p == kDosDot) {
      if (!name.empty() && name.front() != u'.') return false;
      if (!name.empty()) name.remove_prefix(1);
    } else {
      if (name.empty() || name.front() != p) return false;
      name.remove_prefix(1);
    }
  }
  return name.empty();
}

}  // namespace

std::u16string DrivePath::Text() const {
  std::u16string text = u"C:";
  for (const std::u16string& part : parts) {
    text += kSeparator;
    text += part;
  }
  if (parts.empty()) text += kSeparator;
  return text;
}

WinError ParseDrivePath(std::u16string_view path, std::u16string_view current_directory, bool pattern, DrivePath& out) {
  out = {};
  if (path.empty()) return kPathNotFound;
  std::u16string_view rest = path;
  if (WinError const error = DropDrive(rest)) return error;
  if (rest.empty() || !IsSeparator(rest.front())) {
    std::u16string_view base = current_directory;
    if (WinError const error = DropDrive(base)) return error;
    out.parts = Split(base);
  }
  bool const ends_in_separator = !rest.empty() && IsSeparator(rest.back());
  std::vector<std::u16string> segments = Split(rest);
  out.parts.reserve(out.parts.size() + segments.size());
  for (std::size_t i = 0; i < segments.size(); ++i) {
    std::u16string& segment = segments[i];
    bool const last = i + 1 == segments.size() && !ends_in_separator;
    if (segment == u".") continue;
    if (segment == u"..") {
      if (!out.parts.empty()) out.parts.pop_back();
      continue;
    }
    Normalise(segment, last, pattern);
    if (segment.empty()) continue;
    if (!HoldsOnlyNameCharacters(segment, pattern && last) || segment.size() > kMaxName) return kInvalidName;
    out.parts.push_back(std::move(segment));
  }
  out.trailing_separator = ends_in_separator && !out.parts.empty();
  std::size_t length = 2;  // "C:"
  for (const std::u16string& part : out.parts) length += 1 + part.size();
  return std::max<std::size_t>(length, 3) >= kMaxPath ? kPathNotFound : kSuccess;
}

bool NamesDosDevice(std::u16string_view path) {
  std::size_t start = path.size();
  while (start > 0 && !IsSeparator(path[start - 1]) && path[start - 1] != u':') --start;
  std::u16string_view const last = path.substr(start);
  // Nearly all names are out of the question by their first letter.
  constexpr std::u16string_view kFirstLetters = u"CPANL";
  if (last.empty() || kFirstLetters.find(FoldCase(last[0])) == kFirstLetters.npos) return false;
  std::u16string name = FoldCase(last.substr(0, last.find(u'.')));
  TrimEnd(name);
  static constexpr std::array<std::u16string_view, 6> kNames = {u"CON", u"PRN", u"AUX", u"NUL", u"CONIN$", u"CONOUT$"};
  if (std::find(kNames.begin(), kNames.end(), name) != kNames.end()) return true;
  bool const port = name.starts_with(u"COM") || name.starts_with(u"LPT");
  return port && name.size() == 4 && name[3] >= u'1' && name[3] <= u'9';
}

bool IsValidName(std::u16string_view name) {
  return !name.empty() && name.size() <= kMaxName && name.back() != u'.' && name.back() != u' ' &&
         HoldsOnlyNameCharacters(name, false);
}

bool MatchesPattern(std::u16string_view name, std::u16string_view pattern) {
  return Matches(FoldCase(name), Translate(pattern));
}

}  // namespace tablet
