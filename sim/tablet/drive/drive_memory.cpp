// Drives that have left the host's folder and live in memory alone.
#include "sim/tablet/drive/drive_state.h"

namespace tablet {

namespace {

void LeaveHost(DriveNode& node) {
  node.LeaveHost();
  for (const std::shared_ptr<DriveNode>& child : node.children) LeaveHost(*child);
}

std::shared_ptr<const FolderPlace> CopyPlace(const FolderPlace& place, const std::shared_ptr<DriveHost>& host) {
  return std::make_shared<FolderPlace>(FolderPlace{place.path, place.host, host});
}

/// With everything below it; nothing of it is open or counts as changed.
std::shared_ptr<DriveNode> DeepCopy(const DriveNode& node, const std::shared_ptr<const FolderPlace>& in) {
  auto copy = std::make_shared<DriveNode>(node);
  copy->in = in;
  copy->openers = nullptr;
  copy->created = copy->written = copy->facts_changed = copy->is_behind = false;
  copy->moved_from.clear();
  copy->first_attributes.reset();
  if (!node.folder) return copy;
  copy->own = node.own == node.in ? in : CopyPlace(*node.own, in->drive);
  copy->children.clear();
  for (const std::shared_ptr<DriveNode>& child : node.children) copy->children.insert(DeepCopy(*child, copy->own));
  return copy;
}

}  // namespace

void Drive::KeepInMemory() {
  state_->CatchUp();
  LeaveHost(*state_->root);
  state_->host->in_memory = true;
}

bool Drive::in_memory() const { return state_->host->in_memory; }

const std::string& Drive::changed_file() const { return state_->host->changed_file; }

std::shared_ptr<DriveNode> Drive::Copy() const {
  auto host = std::make_shared<DriveHost>(*state_->host);
  host->is_behind = false;
  return DeepCopy(*state_->root, CopyPlace(*state_->root->in, host));
}

void Drive::Become(std::shared_ptr<DriveNode> copy) {
  state_->root = std::move(copy);
  state_->host = state_->root->in->drive;
  state_->ForgetFolders();
}

}  // namespace tablet
