#include "sim/tablet/drive/drive.h"

#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_state.h"

namespace tablet {

namespace {

constexpr std::uint32_t kGenericRead = 0x80000000;
constexpr std::uint32_t kGenericWrite = 0x40000000;
constexpr std::uint32_t kGenericAll = 0x10000000;

enum Disposition : std::uint32_t { kCreateNew = 1, kCreateAlways, kOpenExisting, kOpenAlways, kTruncateExisting };

/// Truncating an existing file needs its hidden and system bits in the request.
bool LacksHiddenOrSystem(std::uint32_t requested, std::uint32_t present) {
  return (present & (kAttributeHidden | kAttributeSystem) & ~requested) != 0;
}

/// Why a request for an existing file fails, checked in the order of Windows.
WinError RefusalOf(const DriveNode& node, const OpenRequest& request, const Opener& opener) {
  if (request.disposition == kCreateNew) return kFileExists;
  if (node.folder) return kAccessDenied;
  bool const empties = request.disposition == kCreateAlways || request.disposition == kTruncateExisting;
  bool const writes = empties || (opener.rights & kMayWrite) != 0;
  if (writes && (node.attributes & kAttributeReadOnly) != 0) return kAccessDenied;
  // Emptying a file is writing to it, whatever the handle may do later.
  Opener const at_open{opener.rights | (empties ? kMayWrite : 0), opener.share};
  if (!node.SharesWith(at_open)) return kSharingViolation;
  if (empties && LacksHiddenOrSystem(request.flags_and_attributes, node.attributes)) return kAccessDenied;
  return kSuccess;
}

/// CREATE_ALWAYS and TRUNCATE_EXISTING on an existing file: its data go and its attributes are replaced; it keeps its
/// name's case and its time of creation.
WinError EmptyFile(DriveNode& node, std::uint32_t attributes, FileTicks now, Descriptor& file) {
  if (int const error = node.MakeEmptyFile(&file)) return FromHostError(error);
  if (node.drive().free_bytes) *node.drive().free_bytes += node.size;
  node.size = 0;
  ++node.version;
  node.written = true;
  node.ChangeAttributes(attributes | kAttributeArchive);
  node.times.access = node.times.write = now;
  node.SyncTimes();
  return kSuccess;
}

}  // namespace

WinError FromHostError(int error) {
  switch (error) {
    case ENOSPC:
    case EDQUOT:
      return kDiskFull;
    case EACCES:
    case EPERM:
    case EROFS:
      return kAccessDenied;
    case ENAMETOOLONG:  // the host counts bytes where Windows counts characters
      return kInvalidName;
    case ENOENT:
      return kFileNotFound;
    default:
      return kIoDevice;
  }
}

std::uint32_t RightsOf(std::uint32_t access) {
  std::uint32_t rights = 0;
  if ((access & kGenericRead) != 0) rights |= kMayRead;
  if ((access & kGenericWrite) != 0) rights |= kMayWrite;
  if ((access & kGenericAll) != 0) rights |= kMayAll;
  return rights;
}

std::shared_ptr<DriveNode> Drive::Implementation::MakeNode(DriveNode& folder, std::u16string_view name,
                                                           bool is_folder) {
  auto node = std::make_shared<DriveNode>();
  node->name = name;
  node->in = folder.own;
  if (is_folder) node->BecomeFolder();
  return node;
}

void Drive::Implementation::Adopt(DriveNode& folder, const std::shared_ptr<DriveNode>& child,
                                  std::uint32_t attributes) const {
  FileTicks const now = clock.UtcNow();
  folder.children.insert(child);
  child->SetAttributes(attributes);
  child->SetCreation(now);
  child->times.access = child->times.write = now;
  child->SyncTimes();
  folder.TouchFolder(now);
}

Drive::Drive(std::filesystem::path root, std::filesystem::path side_file, const Clock& clock)
    : state_(std::make_unique<Implementation>(std::move(root), std::move(side_file), clock)) {}

Drive::~Drive() { state_->CatchUp(); }

WinError Drive::Open(std::u16string_view path, const OpenRequest& request, std::shared_ptr<OpenFile>& out,
                     bool& existed) {
  existed = false;
  DrivePlace place;
  if (WinError const error = state_->Find(path, current_directory_, place)) return error;
  if (place.trailing_separator) return kInvalidName;  // only folders may have one
  Opener const opener{RightsOf(request.access), request.share & kMayAll};
  existed = place.node != nullptr;
  Descriptor file;  // if it is made or emptied here
  if (existed) {
    if (WinError const error = RefusalOf(*place.node, request, opener)) return error;
    if (request.disposition == kCreateAlways || request.disposition == kTruncateExisting) {
      FileTicks const now = state_->clock.UtcNow();
      WinError const error = EmptyFile(*place.node, request.flags_and_attributes, now, file);
      if (error != kSuccess) return error;
    }
  } else {
    if (request.disposition == kOpenExisting || request.disposition == kTruncateExisting) return kFileNotFound;
    auto const made = state_->MakeNode(*place.folder, place.name, false);
    if (int const error = made->MakeEmptyFile(&file)) return FromHostError(error);
    made->created = true;
    state_->Adopt(*place.folder, made, request.flags_and_attributes | kAttributeArchive);
    place.node = made.get();
  }
  WinError const error = OpenNode(*place.node, opener, std::move(file), state_->clock, on_read, out);
  if (error == kSuccess && existed && (opener.rights & kMayRead) != 0 && on_open) on_open(place.node->Path());
  return error;
}

WinError Drive::Attributes(std::u16string_view path, std::uint32_t& attributes) const {
  DrivePlace place;
  if (WinError const error = state_->Find(path, current_directory_, place)) return error;
  if (place.node == nullptr) return kFileNotFound;
  if (place.trailing_separator && !place.node->folder) return kInvalidName;
  attributes = place.node->attributes == 0 ? kAttributeNormal : place.node->attributes;
  return kSuccess;
}

WinError Drive::SetAttributes(std::u16string_view path, std::uint32_t attributes) {
  DrivePlace place;
  if (WinError const error = state_->Find(path, current_directory_, place)) return error;
  if (place.node == nullptr) return kFileNotFound;
  if (place.trailing_separator && !place.node->folder) return kInvalidName;
  place.node->ChangeAttributes(attributes);
  place.node->facts_changed = true;
  return kSuccess;
}

WinError Drive::MakeDirectory(std::u16string_view path) {
  DrivePlace place;
  WinError const error = ParseDrivePath(path, current_directory_, false, place.parsed);
  // Folders have a limit, and a code for it, of their own.
  if (place.parsed.Text().size() >= kMaxFolderPath && error != kInvalidName) return kFilenameTooLong;
  if (error != kSuccess) return error;
  if (place.parsed.parts.empty()) return kAccessDenied;
  if (WinError const missing = state_->Follow(place)) return missing;
  if (place.node != nullptr) return kAlreadyExists;
  auto const node = state_->MakeNode(*place.folder, place.name, true);
  if (int const failure = node->MakeFolder()) return FromHostError(failure);
  node->created = true;
  state_->Adopt(*place.folder, node, kAttributeDirectory);
  return kSuccess;
}

}  // namespace tablet
