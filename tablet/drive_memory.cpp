// Drives that have left the host's folder and live in memory alone.
#include "tablet/drive_state.h"

namespace tablet {

namespace {

void ReadData(const Drive& drive, DriveNode& node) {
  if (!node.folder) node.data = drive.Contents(node.path);
  for (auto const& [name, child] : node.children) ReadData(drive, *child);
}

/// With everything below it; nobody has any of it open, and nothing has changed.
std::shared_ptr<DriveNode> DeepCopy(const DriveNode& node, const std::shared_ptr<DriveHost>& host) {
  auto copy = std::make_shared<DriveNode>(node);
  copy->drive_host = host;
  copy->openers.clear();
  copy->created = copy->written = copy->facts_changed = false;
  copy->moved_from.clear();
  for (auto& [name, child] : copy->children) child = DeepCopy(*child, host);
  return copy;
}

}  // namespace

void Drive::KeepInMemory() {
  ReadData(*this, *state_->root);
  state_->host->CatchUp();
  state_->host->in_memory = true;
}

bool Drive::in_memory() const { return state_->host->in_memory; }

std::shared_ptr<DriveNode> Drive::Copy() const {
  auto host = std::make_shared<DriveHost>(*state_->host);
  host->behind.clear();
  return DeepCopy(*state_->root, host);
}

void Drive::Become(std::shared_ptr<DriveNode> copy) {
  state_->root = std::move(copy);
  state_->host = state_->root->drive_host;
}

}  // namespace tablet
