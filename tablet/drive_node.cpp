#include "tablet/drive_node.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "tablet/input_error.h"
#include "tablet/text.h"

namespace tablet {

namespace {

constexpr std::int64_t kNanosPerTick = 100;
constexpr std::int64_t kTicksPerSecondSigned = static_cast<std::int64_t>(kTicksPerSecond);

FileTicks ToTicks(const timespec& time) {
  std::int64_t const unix_ticks = time.tv_sec * kTicksPerSecondSigned + time.tv_nsec / kNanosPerTick;
  return static_cast<FileTicks>(std::max<std::int64_t>(0, unix_ticks + static_cast<std::int64_t>(kUnixEpoch)));
}

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

}  // namespace

void DriveHost::CatchUp() {
  while (!behind.empty()) (*behind.begin())->CatchUp();
}

DriveNode::~DriveNode() {
  if (drive_host != nullptr) drive_host->behind.erase(this);
}

std::shared_ptr<DriveNode> DriveNode::Child(std::u16string_view child_name) const {
  // Names are short: no string is made of one that is only looked up.
  std::array<char16_t, 256> upper;
  if (child_name.size() > upper.size()) return nullptr;
  std::transform(child_name.begin(), child_name.end(), upper.begin(), [](char16_t c) { return FoldCase(c); });
  auto const found = children.find(std::u16string_view(upper.data(), child_name.size()));
  return found == children.end() ? nullptr : found->second;
}

void DriveNode::SetAttributes(std::uint32_t new_attributes) {
  attributes = (new_attributes & kKeptAttributes) | (folder ? kAttributeDirectory : 0);
  if (drive_host->in_memory || host_attributes == attributes) return;
  // What is read from a file that nobody described needs no description.
  bool const plain = attributes == (folder ? kAttributeDirectory : kAttributeArchive);
  if (plain && !host_attributes && !drive_host->has_side_file) return;
  if (!WriteAttributes(host, attributes)) drive_host->keeps_attributes = false;
  host_attributes = attributes;
}

void DriveNode::SetCreation(FileTicks creation) {
  times.creation = creation;
  creation_known = true;
  SyncTimes();
}

void DriveNode::SyncTimes() {
  if (!drive_host->in_memory) drive_host->behind.insert(this);
}

void DriveNode::CatchUp(int descriptor) {
  if (drive_host->behind.erase(this) == 0 || drive_host->in_memory) return;
  // A file without a time of creation of its own was created when it was written.
  bool const implied = times.creation == times.write && !host_creation && !drive_host->has_side_file;
  if (!implied && host_creation != times.creation) {
    if (!WriteCreation(host, times.creation)) drive_host->keeps_attributes = false;
    host_creation = times.creation;
  }
  std::array<timespec, 2> const host_times = {ToTimespec(times.access), ToTimespec(times.write)};
  if (descriptor >= 0) {
    ::futimens(descriptor, host_times.data());
  } else {
    ::utimensat(AT_FDCWD, host.c_str(), host_times.data(), AT_SYMLINK_NOFOLLOW);
  }
}

int DriveNode::MakeEmptyFile(int* descriptor) {
  data.clear();
  if (drive_host->in_memory) return 0;
  int const opened = ::open(host.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (opened < 0) return errno;
  if (descriptor != nullptr) {
    *descriptor = opened;
  } else {
    ::close(opened);
  }
  return 0;
}

int DriveNode::MakeFolder() const {
  if (drive_host->in_memory) return 0;
  return ::mkdir(host.c_str(), 0777) == 0 ? 0 : errno;
}

int DriveNode::Rename(const std::string& to) {
  if (!drive_host->in_memory && std::rename(host.c_str(), to.c_str()) != 0) return errno;
  host = to;
  return 0;
}

int DriveNode::ReplaceData(std::span<const std::uint8_t> with) {
  if (drive_host->in_memory) {
    data.assign(with.begin(), with.end());
  } else {
    std::ofstream out(host, std::ios::binary | std::ios::trunc);
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
  return std::all_of(openers.begin(), openers.end(), [&](const Opener& other) {
    return other.rights == 0 || ((opener.rights & ~other.share) == 0 && (other.rights & ~opener.share) == 0);
  });
}

std::shared_ptr<DriveNode> LoadNode(const std::filesystem::path& host, std::u16string name, std::u16string path,
                                    std::shared_ptr<DriveHost> drive_host, const KeptFacts* kept) {
  struct stat status;
  if (::lstat(host.c_str(), &status) != 0) {
    throw InputError(host.string(), std::strerror(errno), "make it readable or remove it");
  }
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
    throw InputError(host.string(), "is neither a file nor a folder", "replace it by what it stands for");
  }
  KeptFacts const own = ReadExtendedAttributes(host);
  KeptFacts facts = own;
  if (kept != nullptr) {
    if (!facts.attributes) facts.attributes = kept->attributes;
    if (!facts.creation) facts.creation = kept->creation;
  }
  auto node = std::make_shared<DriveNode>();
  node->name = std::move(name);
  node->path = std::move(path);
  node->host = host.string();
  node->host_attributes = own.attributes;
  node->host_creation = own.creation;
  node->drive_host = std::move(drive_host);
  node->folder = S_ISDIR(status.st_mode);
  std::uint32_t const kind = node->folder ? kAttributeDirectory : 0;
  // What nobody described is as Windows makes it: a new file is to be archived.
  node->attributes = (facts.attributes.value_or(node->folder ? 0 : kAttributeArchive) & kKeptAttributes) | kind;
  node->times = {.creation = 0, .access = ToTicks(status.st_atim), .write = ToTicks(status.st_mtim)};
  node->creation_known = facts.creation.has_value();
  node->times.creation = facts.creation.value_or(node->times.write);
  node->size = node->folder ? 0 : static_cast<std::uint64_t>(status.st_size);
  return node;
}

}  // namespace tablet
