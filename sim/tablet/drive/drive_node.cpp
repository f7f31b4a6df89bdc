#include "sim/tablet/drive/drive_node.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"

namespace tablet {

namespace {

constexpr std::int64_t kNanosPerTick = 100;
constexpr std::int64_t kTicksPerSecondSigned = static_cast<std::int64_t>(kTicksPerSecond);

timespec ToTimespec(FileTicks ticks) {
  std::int64_t const unix_ticks = static_cast<std::int64_t>(ticks) - static_cast<std::int64_t>(kUnixEpoch);
  std::int64_t seconds = unix_ticks / kTicksPerSecondSigned;
  std::int64_t rest = unix_ticks % kTicksPerSecondSigned;
  if (rest < 0) {
    --seconds;
    rest += kTicksPerSecondSigned;
  }
  return {.tv_sec = seconds, .tv_nsec = rest * kNanosPerTick};
}

/// The longest name that the usual file systems of the host take, in bytes.
constexpr std::size_t kLongestHostName = 255;

}  // namespace

FileTicks ToTicks(const timespec& time) {
  std::int64_t const unix_ticks = time.tv_sec * kTicksPerSecondSigned + time.tv_nsec / kNanosPerTick;
  return static_cast<FileTicks>(std::max<std::int64_t>(0, unix_ticks + static_cast<std::int64_t>(kUnixEpoch)));
}

// FNV-1a, character by character.
std::size_t NodeNameHash::operator()(std::u16string_view name) const {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (char16_t const c : name) hash = (hash ^ FoldCase(c)) * 0x100000001B3;
  return hash;
}

std::size_t NodeNameHash::operator()(const std::shared_ptr<DriveNode>& node) const { return (*this)(node->name); }

bool NodeNameEqual::operator()(std::u16string_view name, const std::shared_ptr<DriveNode>& node) const {
  return EqualIgnoringCase(name, node->name);
}

bool NodeNameEqual::operator()(const std::shared_ptr<DriveNode>& left, const std::shared_ptr<DriveNode>& right) const {
  return EqualIgnoringCase(left->name, right->name);
}

std::string DriveNode::Host() const {
  if (name.empty()) return in->host.substr(0, in->host.size() - 1);
  return in->host + ToUtf8(name);
}

DriveNode* DriveNode::Child(std::u16string_view child_name) const {
  auto const found = children.find(child_name);
  return found == children.end() ? nullptr : found->get();
}

std::vector<DriveNode*> DriveNode::ChildrenInOrder() const {
  std::vector<DriveNode*> nodes;
  nodes.reserve(children.size());
  for (const std::shared_ptr<DriveNode>& child : children) nodes.push_back(child.get());
  std::sort(nodes.begin(), nodes.end(),
            [](const DriveNode* left, const DriveNode* right) { return LessIgnoringCase(left->name, right->name); });
  return nodes;
}

void DriveNode::BecomeFolder() {
  folder = true;
  own = in;  // of the root
  if (name.empty()) return;
  own = std::make_shared<FolderPlace>(FolderPlace{Path() + u'\\', Host() + '/', in->drive});
}

void DriveNode::SetAttributes(std::uint32_t new_attributes) {
  attributes = (new_attributes & kKeptAttributes) | (folder ? kAttributeDirectory : 0);
  if (drive().in_memory || host_attributes == attributes) return;
  // A file without a description gets these attributes when it is loaded.
  bool const plain = attributes == (folder ? kAttributeDirectory : kAttributeArchive);
  if (plain && !host_attributes && !drive().has_side_file) return;
  if (!WriteAttributes(Host(), attributes)) drive().keeps_attributes = false;
  host_attributes = attributes;
}

void DriveNode::ChangeAttributes(std::uint32_t new_attributes) {
  if (!first_attributes) first_attributes = attributes;
  SetAttributes(new_attributes);
}

void DriveNode::SetCreation(FileTicks creation) {
  times.creation = creation;
  creation_known = true;
  SyncTimes();
}

void DriveNode::SyncTimes() {
  if (drive().in_memory) return;
  is_behind = true;
  drive().is_behind = true;
}

void DriveNode::CatchUpBelow() {
  CatchUp();
  for (const std::shared_ptr<DriveNode>& child : children) child->CatchUpBelow();
}

void DriveNode::CatchUp(const Descriptor& file) {
  if (!is_behind || drive().in_memory) return;
  is_behind = false;
  // A file without a time of creation of its own was created when it was written.
  bool const implied = times.creation == times.write && !host_creation && !drive().has_side_file;
  if (!implied && host_creation != times.creation) {
    if (!WriteCreation(Host(), times.creation)) drive().keeps_attributes = false;
    host_creation = times.creation;
  }
  std::array<timespec, 2> const host_times = {ToTimespec(times.access), ToTimespec(times.write)};
  if (file.valid()) {
    ::futimens(file.get(), host_times.data());
  } else {
    ::utimensat(AT_FDCWD, Host().c_str(), host_times.data(), AT_SYMLINK_NOFOLLOW);
  }
}

void DriveNode::LeaveHost() {
  if (folder) return;
  content = std::make_shared<FileContent>();
  content->host = Host();
  // Not `times.write`: a host stores no times before its own oldest one.
  struct stat status;
  content->host_written = ::lstat(content->host.c_str(), &status) == 0 ? ToTicks(status.st_mtim) : times.write;
  content->host_size = size;
}

Descriptor DriveNode::OpenHostContent() const {
  Descriptor file = OpenContent(*content);
  if (!file.valid()) drive().changed_file = content->host;
  return file;
}

bool DriveNode::ReadAll(std::vector<std::uint8_t>& out) const {
  if (content == nullptr) return ReadWhole(OpenHost(Host(), O_RDONLY), size, out);
  if (!content->host.empty()) return ReadWhole(OpenHostContent(), size, out);
  out = content->bytes;
  return true;
}

std::vector<std::uint8_t>* DriveNode::Writable() {
  if (!content->host.empty()) {
    auto read = std::make_shared<FileContent>();
    if (!ReadAll(read->bytes)) return nullptr;
    content = std::move(read);
  } else if (content.use_count() > 1) {
    content = std::make_shared<FileContent>(*content);
  }
  content->sum.reset();
  return &content->bytes;
}

int DriveNode::MakeEmptyFile(Descriptor* file) {
  if (drive().in_memory) {
    content = std::make_shared<FileContent>();
    return ToUtf8(name).size() > kLongestHostName ? ENAMETOOLONG : 0;
  }
  Descriptor opened(::open(Host().c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (!opened.valid()) return errno;
  if (file != nullptr) *file = std::move(opened);
  return 0;
}

int DriveNode::MakeFolder() const {
  if (drive().in_memory) return ToUtf8(name).size() > kLongestHostName ? ENAMETOOLONG : 0;
  return ::mkdir(Host().c_str(), 0777) == 0 ? 0 : errno;
}

int DriveNode::Rename(const std::string& to) const {
  return drive().in_memory || std::rename(Host().c_str(), to.c_str()) == 0 ? 0 : errno;
}

int DriveNode::ReplaceData(std::span<const std::uint8_t> with) {
  if (drive().in_memory) {
    content = std::make_shared<FileContent>();
    content->bytes.assign(with.begin(), with.end());
  } else {
    std::ofstream out(Host(), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(with.data()), static_cast<std::streamsize>(with.size()));
    out.close();
    if (!out) return EIO;
  }
  size = with.size();
  ++version;
  return 0;
}

void DriveNode::TouchFolder(FileTicks now) {
  times.access = times.write = now;
  SyncTimes();
}

bool DriveNode::SharesWith(const Opener& opener) const {
  if (opener.rights == 0) return true;
  for (const Opener* other = openers; other != nullptr; other = other->next) {
    if (other->rights == 0) continue;
    if ((opener.rights & ~other->share) != 0 || (other->rights & ~opener.share) != 0) return false;
  }
  return true;
}

std::shared_ptr<DriveNode> LoadNode(std::shared_ptr<const FolderPlace> in, std::u16string name, const KeptFacts* kept) {
  auto node = std::make_shared<DriveNode>();
  node->name = std::move(name);
  node->in = std::move(in);
  std::filesystem::path const host = node->Host();
  struct stat status;
  if (::lstat(host.c_str(), &status) != 0) {
    throw InputError(host.string(), std::strerror(errno), "make it readable or remove it");
  }
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
    throw InputError(host.string(), "is neither a file nor a folder", "replace it by the file or folder it refers to");
  }
  KeptFacts const own = ReadExtendedAttributes(host);
  KeptFacts facts = own;
  if (kept != nullptr) {
    if (!facts.attributes) facts.attributes = kept->attributes;
    if (!facts.creation) facts.creation = kept->creation;
  }
  node->host_attributes = own.attributes;
  node->host_creation = own.creation;
  if (S_ISDIR(status.st_mode)) node->BecomeFolder();
  std::uint32_t const kind = node->folder ? kAttributeDirectory : 0;
  // Without a description it is as Windows makes it: a new file is to be archived.
  node->attributes = (facts.attributes.value_or(node->folder ? 0 : kAttributeArchive) & kKeptAttributes) | kind;
  node->times = {.creation = 0, .access = ToTicks(status.st_atim), .write = ToTicks(status.st_mtim)};
  node->creation_known = facts.creation.has_value();
  node->times.creation = facts.creation.value_or(node->times.write);
  node->size = node->folder ? 0 : static_cast<std::uint64_t>(status.st_size);
  return node;
}

}  // namespace tablet
