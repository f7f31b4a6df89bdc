// Moving files within drive C:.
#include <utility>

#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_state.h"

namespace tablet {

WinError Drive::Move(std::u16string_view from, std::u16string_view to) {
  DrivePlace source;
  if (WinError const error = state_->Find(from, current_directory_, source)) return error;
  if (source.node == nullptr) return kFileNotFound;
  if (source.trailing_separator) return kInvalidName;
  // Windows opens the file first, with the right to delete it, then renames it.
  if (!source.node->SharesWith({kMayDelete, kMayAll})) return kSharingViolation;
  DrivePlace target;
  if (WinError const error = state_->Find(to, current_directory_, target)) return error;
  if (target.folder == nullptr) return kAlreadyExists;  // the root
  if (target.trailing_separator) return kInvalidName;
  // Its own name in another case is not another file.
  if (target.node != nullptr && target.node != source.node) return kAlreadyExists;

  DriveNode& node = *source.node;
  if (int const error = node.Rename(target.folder->own->host + ToUtf8(target.name))) return FromHostError(error);
  if (!node.created && node.moved_from.empty()) node.moved_from = node.Path();
  // Out of its folder first: a child's name stays.
  auto child = source.folder->children.extract(node.shared_from_this());
  node.name = target.name;
  node.in = target.folder->own;
  target.folder->children.insert(std::move(child));
  source.folder->TouchFolder(state_->clock.UtcNow());
  target.folder->TouchFolder(state_->clock.UtcNow());
  return kSuccess;
}

}  // namespace tablet
