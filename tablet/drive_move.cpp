// Moving files within drive C:.
#include <utility>

#include "tablet/drive_state.h"
#include "tablet/text.h"

namespace tablet {

WinError Drive::Move(std::u16string_view from, std::u16string_view to) {
  DrivePlace source;
  if (WinError const error = state_->Find(from, current_directory_, source)) return error;
  if (source.node == nullptr) return kFileNotFound;
  if (source.trailing_separator) return kInvalidName;
  // Windows opens the file first, with the right to delete it, and gives it its new name behind that.
  if (!source.node->SharesWith({kMayDelete, kMayAll})) return kSharingViolation;
  DrivePlace target;
  if (WinError const error = state_->Find(to, current_directory_, target)) return error;
  if (target.folder == nullptr) return kAlreadyExists;  // the root
  if (target.trailing_separator) return kInvalidName;
  // Another case of its own name is no other file.
  if (target.node != nullptr && target.node != source.node) return kAlreadyExists;

  DriveNode& node = *source.node;
  std::string const host = target.folder->host + '/' + ToUtf8(target.name);
  if (int const error = node.Rename(host)) return FromHostError(error);
  std::u16string const old_path =
      std::exchange(node.path, target.folder->path + (target.folder->name.empty() ? u"" : u"\\") + target.name);
  source.folder->children.erase(FoldCase(node.name));
  node.name = target.name;
  target.folder->children.emplace(FoldCase(node.name), source.node);
  if (!node.created && node.moved_from.empty()) node.moved_from = old_path;
  source.folder->TouchFolder(state_->clock.UtcNow());
  target.folder->TouchFolder(state_->clock.UtcNow());
  return kSuccess;
}

}  // namespace tablet
