// Listing folders, and the version resource of executables.
#include "sim/tablet/drive/drive_path.h"
#include "sim/tablet/drive/drive_state.h"
#include "sim/tablet/drive/pe_version.h"

namespace tablet {

namespace {

/// A folder's own facts under the name by which a listing gives them.
FileFacts FactsAs(const DriveNode& node, std::u16string name) {
  FileFacts facts = node.Facts();
  facts.name = std::move(name);
  return facts;
}

}  // namespace

WinError Drive::Find(std::u16string_view pattern, std::vector<FileFacts>& out) const {
  out.clear();
  DrivePlace place;
  DrivePath& path = place.parsed;
  if (WinError const error = ParseDrivePath(pattern, current_directory_, true, path)) return error;
  // Neither the root nor "folder\" names anything to look for.
  if (path.parts.empty() || path.trailing_separator) return kFileNotFound;
  std::u16string const last = std::move(path.parts.back());
  path.parts.pop_back();
  if (WinError const error = state_->Follow(place)) return error;
  if (place.node == nullptr) return kPathNotFound;
  if (!place.node->folder) return kDirectory;

  const DriveNode& folder = *place.node;
  if (place.folder != nullptr) {
    if (MatchesPattern(u".", last)) out.push_back(FactsAs(folder, u"."));
    if (MatchesPattern(u"..", last)) out.push_back(FactsAs(*place.folder, u".."));
  }
  for (const DriveNode* const child : folder.ChildrenInOrder()) {
    if (MatchesPattern(child->name, last)) out.push_back(child->Facts());
  }
  return out.empty() ? kFileNotFound : kSuccess;
}

bool Drive::IsExecutable(std::u16string_view path) const {
  const DriveNode* const node = state_->Lookup(path, current_directory_);
  std::vector<std::uint8_t> image;
  return node != nullptr && !node->folder && node->ReadAll(image) && IsImage(image);
}

WinError Drive::VersionResource(std::u16string_view path, std::vector<std::uint8_t>& out) const {
  DrivePlace place;
  if (WinError const error = state_->Find(path, current_directory_, place)) return error;
  if (place.node == nullptr) return kFileNotFound;
  if (place.node->folder) return kAccessDenied;
  if (!place.node->SharesWith({kMayRead, kMayAll})) return kSharingViolation;
  std::vector<std::uint8_t> image;
  return place.node->ReadAll(image) ? FindVersionResource(image, out) : kIoDevice;
}

}  // namespace tablet
