// The machine's side of drive C:: what tests, the engineers' program and summaries ask of it.
#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_state.h"

namespace tablet {

namespace {

/// The node and everything below it, parents first.
template <typename Visit>
void Walk(const DriveNode& node, const Visit& visit) {
  visit(node);
  for (const DriveNode* const child : node.ChildrenInOrder()) Walk(*child, visit);
}

InputError Unreadable(const DriveNode& node) {
  return {node.content != nullptr ? node.content->host : node.Host(), "cannot be read whole",
          "leave the tablet's folder alone while it runs"};
}

void WriteData(DriveNode& node, std::span<const std::uint8_t> data) {
  if (node.ReplaceData(data) == 0) return;
  throw InputError(node.Host(), "cannot be written", "check the folder's permissions and free space");
}

}  // namespace

void Drive::SetCurrentDirectory(std::u16string path) {
  current_directory_ = std::move(path);
  state_->ForgetFolders();
}

bool Drive::Exists(std::u16string_view path) const { return state_->Lookup(path, current_directory_) != nullptr; }

FileFacts Drive::Facts(std::u16string_view path) const {
  auto const node = state_->Lookup(path, current_directory_);
  if (node == nullptr) throw std::out_of_range("no such path on drive C:: " + ToUtf8(path));
  return node->Facts();
}

std::vector<std::uint8_t> Drive::Contents(std::u16string_view path) const {
  auto const node = state_->Lookup(path, current_directory_);
  if (node == nullptr || node->folder) throw std::out_of_range("no such file on drive C:: " + ToUtf8(path));
  std::vector<std::uint8_t> data;
  if (!node->ReadAll(data)) throw Unreadable(*node);
  node->SyncTimes();
  return data;
}

std::uint32_t Drive::Sum(std::u16string_view path) const {
  auto const node = state_->Lookup(path, current_directory_);
  if (node == nullptr || node->folder) throw std::out_of_range("no such file on drive C:: " + ToUtf8(path));
  FileContent* const content = node->content.get();
  if (content != nullptr && content->sum) return *content->sum;
  std::optional<std::uint32_t> sum;
  if (content != nullptr && content->host.empty()) {
    sum = SumOfBytes(content->bytes);
  } else {
    sum = SumOfHost(content != nullptr ? node->OpenHostContent() : OpenHost(node->Host(), O_RDONLY), node->size);
  }
  if (!sum) throw Unreadable(*node);
  if (content != nullptr) content->sum = sum;
  return *sum;
}

void Drive::Put(std::u16string_view path, std::span<const std::uint8_t> data, std::uint32_t attributes) {
  DrivePlace place;
  WinError const error = ParseDrivePath(path, current_directory_, false, place.parsed);
  if (error != kSuccess || place.parsed.parts.empty()) {
    throw InputError(ToUtf8(path), "is not the path of a file on drive C:", "");
  }
  DrivePath folder = place.parsed;
  folder.parts.pop_back();
  PutFolder(folder.Text());
  state_->Follow(place);
  if (place.node == nullptr) {
    auto const node = state_->MakeNode(*place.folder, place.name, false);
    WriteData(*node, data);
    state_->Adopt(*place.folder, node, attributes);
    return;
  }
  if (place.node->folder) throw InputError(ToUtf8(path), "is a folder", "");
  WriteData(*place.node, data);
  place.node->SetAttributes(attributes);
  place.node->times.access = place.node->times.write = state_->clock.UtcNow();
  place.node->SyncTimes();
}

void Drive::PutFolder(std::u16string_view path, std::uint32_t attributes) {
  DrivePath parsed;
  if (ParseDrivePath(path, current_directory_, false, parsed) != kSuccess) {
    throw InputError(ToUtf8(path), "is not the path of a folder on drive C:", "");
  }
  DriveNode* folder = state_->root.get();
  for (const std::u16string& part : parsed.parts) {
    DriveNode* child = folder->Child(part);
    if (child != nullptr && !child->folder) throw InputError(ToUtf8(child->Path()), "is a file", "");
    if (child == nullptr) {
      auto const made = state_->MakeNode(*folder, part, true);
      if (int const error = made->MakeFolder()) throw InputError(made->Host(), std::strerror(error), "");
      bool const is_last = &part == &parsed.parts.back();
      state_->Adopt(*folder, made, is_last ? attributes : kAttributeDirectory);
      child = made.get();
    }
    folder = child;
  }
}

void Drive::Remove(std::u16string_view path) {
  DrivePlace place;
  if (state_->Find(path, current_directory_, place) != kSuccess || place.node == nullptr) return;
  if (place.folder == nullptr) throw InputError(ToUtf8(path), "the root cannot be removed", "");
  if (!state_->host->in_memory) std::filesystem::remove_all(place.node->Host());
  state_->ForgetFolders();
  place.folder->children.erase(place.node->shared_from_this());
  place.folder->TouchFolder(state_->clock.UtcNow());
}

std::filesystem::path Drive::HostPath(std::u16string_view path) const {
  DrivePath parsed;
  if (ParseDrivePath(path, current_directory_, false, parsed) != kSuccess) {
    throw InputError(ToUtf8(path), "is not a path on drive C:", "");
  }
  // The caller is going to look there.
  state_->CatchUp();
  // What is there is named as the host has it, the rest as asked.
  std::filesystem::path host = state_->root->Host();
  const DriveNode* node = state_->root.get();
  for (const std::u16string& part : parsed.parts) {
    if (node != nullptr) node = node->Child(part);
    host /= ToUtf8(node == nullptr ? part : node->name);
  }
  return host;
}

void Drive::OverrideVersionBlockSize(std::u16string_view path, std::uint32_t bytes) {
  DrivePath parsed;
  if (ParseDrivePath(path, current_directory_, false, parsed) != kSuccess) {
    throw InputError(ToUtf8(path), "is not a path on drive C:", "");
  }
  state_->version_block_sizes[FoldCase(parsed.Text())] = bytes;
}

std::optional<std::uint32_t> Drive::OverriddenVersionBlockSize(std::u16string_view path) const {
  DrivePath parsed;
  if (ParseDrivePath(path, current_directory_, false, parsed) != kSuccess) return std::nullopt;
  auto const found = state_->version_block_sizes.find(FoldCase(parsed.Text()));
  if (found == state_->version_block_sizes.end()) return std::nullopt;
  return found->second;
}

void Drive::LimitSpace(std::uint64_t bytes) { state_->host->free_bytes = bytes; }

std::optional<std::uint64_t> Drive::FreeBytes() const { return state_->host->free_bytes; }

bool Drive::Lock(std::u16string_view path) {
  DriveNode* const node = state_->Lookup(path, current_directory_);
  if (node == nullptr || node->folder) return false;
  std::shared_ptr<OpenFile> file;
  if (OpenNode(*node, {.rights = kMayRead, .share = 0}, {}, state_->clock, on_read, file) != kSuccess) return false;
  state_->locks.push_back(std::move(file));
  return true;
}

std::vector<FileChange> Drive::Changes() const {
  std::vector<FileChange> changes;
  Walk(*state_->root, [&](const DriveNode& node) {
    if (!node.created && !node.written && !node.facts_changed && node.moved_from.empty()) return;
    changes.push_back({.path = node.Path(),
                       .moved_from = node.moved_from,
                       .created = node.created,
                       .written = node.written,
                       .attributes = node.facts_changed,
                       .attributes_before = node.first_attributes.value_or(node.attributes),
                       .attributes_now = node.attributes,
                       .folder = node.folder,
                       .bytes = node.size});
  });
  std::sort(changes.begin(), changes.end(),
            [](const FileChange& left, const FileChange& right) { return LessIgnoringCase(left.path, right.path); });
  return changes;
}

void Drive::SaveSideFile() const {
  if (state_->host->in_memory) return;
  state_->CatchUp();
  if (state_->host->keeps_attributes && !std::filesystem::exists(state_->side_file)) return;
  std::vector<SideFileEntry> entries;
  Walk(*state_->root, [&](const DriveNode& node) {
    bool const plain = node.attributes == (node.folder ? kAttributeDirectory : kAttributeArchive);
    if (&node == state_->root.get() || (plain && !node.creation_known)) return;
    std::optional<FileTicks> creation;
    if (node.creation_known) creation = node.times.creation;
    entries.push_back({node.Path(), node.attributes, creation});
  });
  WriteSideFile(state_->side_file, entries);
}

}  // namespace tablet
