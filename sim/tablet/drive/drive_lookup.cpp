// Where the paths of drive C: lead.
#include <cstring>

#include "sim/tablet/drive/drive_state.h"

namespace tablet {

namespace {

/// Whether a path means the same by itself and in front of a separator. At its end it may lose dots and blanks that
/// stay in the middle of a longer one, and "c:" by itself is the current directory.
bool MeansTheSameInFront(std::u16string_view path) {
  if (path.empty()) return false;
  char16_t const last = path.back();
  return last != u'.' && last != u' ' && last != u':' && !IsSeparator(last);
}

}  // namespace

WinError Drive::Implementation::Find(std::u16string_view path, std::u16string_view current_directory,
                                     DrivePlace& out) const {
  if (FindByKnown(path, out)) return kSuccess;
  out.trailing_separator = false;
  if (WinError const error = ParseDrivePath(path, current_directory, false, out.parsed)) return error;
  if (WinError const error = Follow(out)) return error;
  Remember(path, out, out.node == nullptr ? 0 : out.node->Path().size());
  return kSuccess;
}

WinError Drive::Implementation::Follow(DrivePlace& out) const {
  out.node = root.get();
  out.trailing_separator = out.parsed.trailing_separator;
  for (const std::u16string& part : out.parsed.parts) {
    if (out.node == nullptr || !out.node->folder) return kPathNotFound;
    out.folder = out.node;
    out.node = out.folder->Child(part);
  }
  if (!out.parsed.parts.empty()) out.name = out.parsed.parts.back();
  return kSuccess;
}

DriveNode* Drive::Implementation::Lookup(std::u16string_view path, std::u16string_view current_directory) const {
  DrivePlace place;
  return Find(path, current_directory, place) == kSuccess ? place.node : nullptr;
}

const Drive::Implementation::KnownFolder* Drive::Implementation::Recall(std::u16string_view text) const {
  const KnownFolder& known = known_[text.size() % known_.size()];
  if (known.node == nullptr || known.text.size() != text.size()) return nullptr;
  return std::memcmp(known.text.data(), text.data(), text.size() * sizeof(char16_t)) == 0 ? &known : nullptr;
}

bool Drive::Implementation::FindByKnown(std::u16string_view path, DrivePlace& out) const {
  if (const KnownFolder* const known = Recall(path)) {
    out.node = known->node;
    out.folder = known->folder;
    out.name = known->node->name;
    return true;
  }
  std::size_t start = path.size();  // of the last part
  while (start > 0 && !IsSeparator(path[start - 1])) --start;
  if (start == 0) return false;
  std::u16string_view const front = path.substr(0, start - 1);
  if (!MeansTheSameInFront(front)) return false;
  if (start == path.size()) {
    out.trailing_separator = true;
    return FindByKnown(front, out);
  }
  std::u16string_view const name = path.substr(start);
  const KnownFolder* const known = Recall(front);
  if (known == nullptr || !IsValidName(name) || known->length + 1 + name.size() >= kMaxPath) return false;
  out.folder = known->node;
  out.node = out.folder->Child(name);
  out.name = name;
  Remember(path, out, known->length + 1 + name.size());
  return true;
}

void Drive::Implementation::Remember(std::u16string_view path, const DrivePlace& place, std::size_t length) const {
  if (place.node == nullptr || !place.node->folder || place.trailing_separator) return;
  KnownFolder& known = known_[path.size() % known_.size()];
  known.text = path;
  known.node = place.node;
  known.folder = place.folder;
  known.length = length;
}

void Drive::Implementation::CatchUp() const {
  if (!host->is_behind) return;
  root->CatchUpBelow();
  host->is_behind = false;
}

}  // namespace tablet
