// Paths as Windows reads them, and the matching of names against patterns.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/base/win_error.h"

namespace tablet {

/// Characters of a full path, its end mark counted, that the Windows calls take; a folder's own limit leaves room for a
/// short name in it.
inline constexpr std::size_t kMaxPath = 260;
inline constexpr std::size_t kMaxFolderPath = 248;
/// Characters of one name.
inline constexpr std::size_t kMaxName = 255;

inline bool IsSeparator(char16_t character) { return character == u'\\' || character == u'/'; }

/// A place on drive C:, made absolute: no ".", "..", doubled separators, or trailing dots and blanks.
struct DrivePath {
  std::vector<std::u16string> parts;  ///< from the root down; none: the root itself
  bool trailing_separator = false;    ///< written "c:\a\": only a folder can be meant

  std::u16string Text() const;  ///< "C:\a\b"
};

/// Reads `path` against the current directory. With `pattern` the last part may hold "*" and "?" and keeps its trailing
/// dots. kPathNotFound for an empty path, another drive, a share and a path of kMaxPath characters or more;
/// kInvalidName for a character that no name may hold and for a part that is too long.
WinError ParseDrivePath(std::u16string_view path, std::u16string_view current_directory, bool pattern, DrivePath& out);

/// Whether the last part of a path is a device's name (NUL, COM1, ...), which Windows opens in place of a file.
bool NamesDosDevice(std::u16string_view path);

/// Whether the drive can have such a name.
bool IsValidName(std::u16string_view name);

/// Whether a name matches a pattern as FindFirstFile takes it: "*.*" is every name, a "?" before a dot or the end may
/// match nothing, "*." is every name without a dot. Case is ignored.
bool MatchesPattern(std::u16string_view name, std::u16string_view pattern);

}  // namespace tablet
