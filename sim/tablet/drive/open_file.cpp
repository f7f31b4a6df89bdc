#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "sim/tablet/drive/drive_state.h"

namespace tablet {

namespace {

constexpr std::size_t kPageSize = 4096;

class NodeFile final : public OpenFile {
 public:
  using OnRead = std::function<void(const std::u16string&, std::uint64_t, std::uint64_t)>;

  NodeFile(DriveNode& node, const Opener& opener, Descriptor file, const Clock& clock, const OnRead& on_read)
      : node_(node.shared_from_this()), opener_(opener), file_(std::move(file)), clock_(clock), on_read_(on_read) {
    opener_.next = std::exchange(node.openers, &opener_);
  }
  ~NodeFile() override {
    Opener** link = &node_->openers;
    while (*link != &opener_) link = &(*link)->next;
    *link = opener_.next;
    if (node_->openers == nullptr) node_->CatchUp(file_);
  }
  NodeFile(const NodeFile&) = delete;
  NodeFile& operator=(const NodeFile&) = delete;

  WinError Read(std::span<std::uint8_t> out, std::uint32_t& read) override;
  bool TakeByte(std::uint8_t& out) override;
  WinError Write(std::span<const std::uint8_t> data, std::uint32_t& written) override;
  WinError Seek(std::int64_t distance, std::uint32_t origin, std::uint64_t& position) override;
  WinError SetTimes(const FileTimes& times) override;
  std::uint64_t size() const override { return node_->size; }
  std::uint64_t position() const override { return position_; }
  std::u16string path() const override { return node_->Path(); }

 private:
  struct Page {
    std::array<std::uint8_t, kPageSize> bytes;
    std::uint64_t start = 0;
    std::size_t size = 0;
    std::uint64_t version = 0;
  };

  /// Reads up to the buffer's size at an offset; -1 with errno set.
  ssize_t ReadHost(std::span<std::uint8_t> out, std::uint64_t offset);
  ssize_t ReadMemory(std::span<std::uint8_t> out, std::uint64_t offset) const;
  /// Whether a page holds the byte at the current position of the file as it is now.
  bool Holds(const Page& page) const {
    return position_ >= page.start && position_ < page.start + page.size && page.version == node_->version;
  }
  /// The part of the page at the current position; empty at the end of the file. False when the host failed.
  bool FillPage(std::span<const std::uint8_t>& rest);

  std::shared_ptr<DriveNode> node_;
  Opener opener_;
  Descriptor file_;  ///< of the host; none: it is opened for its attributes only, or was not read yet
  const Clock& clock_;
  const OnRead& on_read_;
  std::uint64_t position_ = 0;

  // Archives are read byte by byte in places, now in their directory, now in front of an entry: two pages are kept,
  // until anybody changes the file. Made by the first small read.
  std::unique_ptr<std::array<Page, 2>> pages_;
  Page* page_ = nullptr;  ///< the one that was used last

  // Times that SetTimes gave stay: what this handle writes later does not move them.
  bool write_time_set_ = false;
  bool access_time_set_ = false;
};

ssize_t NodeFile::ReadMemory(std::span<std::uint8_t> out, std::uint64_t offset) const {
  std::span<const std::uint8_t> const all = node_->content->bytes;
  auto const rest = all.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(offset, all.size())));
  std::size_t const count = std::min(out.size(), rest.size());
  std::copy_n(rest.begin(), count, out.begin());
  return static_cast<ssize_t>(count);
}

ssize_t NodeFile::ReadHost(std::span<std::uint8_t> out, std::uint64_t offset) {
  if (node_->content != nullptr) {
    if (node_->content->host.empty()) return ReadMemory(out, offset);
    if (!file_.valid()) file_ = node_->OpenHostContent();
    if (!file_.valid()) return -1;
  }
  std::size_t done = 0;
  while (done < out.size()) {
    ssize_t const count = ::pread(file_.get(), out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(done);
}

bool NodeFile::FillPage(std::span<const std::uint8_t>& rest) {
  if (pages_ == nullptr) pages_ = std::make_unique<std::array<Page, 2>>();
  if (page_ == nullptr) page_ = &pages_->front();
  if (!Holds(*page_)) page_ = page_ == &pages_->front() ? &pages_->back() : &pages_->front();
  Page& page = *page_;
  if (!Holds(page)) {
    page.start = position_ - position_ % kPageSize;
    ssize_t const count = ReadHost(page.bytes, page.start);
    page.size = count < 0 ? 0 : static_cast<std::size_t>(count);
    page.version = node_->version;
    if (count < 0) return false;
  }
  std::size_t const skip = static_cast<std::size_t>(std::min<std::uint64_t>(position_ - page.start, page.size));
  rest = std::span<const std::uint8_t>(page.bytes).subspan(skip, page.size - skip);
  return true;
}

bool NodeFile::TakeByte(std::uint8_t& out) {
  // Only a file opened for reading has pages.
  const Page* const page = page_;
  if (page == nullptr || on_read_) return false;
  std::uint64_t const at = position_ - page->start;
  if (at >= page->size || page->version != node_->version) return false;
  out = page->bytes[at];
  ++position_;
  return true;
}

WinError NodeFile::Read(std::span<std::uint8_t> out, std::uint32_t& read) {
  read = 0;
  if ((opener_.rights & kMayRead) == 0) return kAccessDenied;
  std::uint64_t const start = position_;
  if (out.size() >= kPageSize) {
    ssize_t const count = ReadHost(out, position_);
    if (count < 0) return kIoDevice;
    position_ += static_cast<std::uint64_t>(count);
  } else {
    while (!out.empty()) {
      std::span<const std::uint8_t> rest;
      if (!FillPage(rest)) return kIoDevice;
      if (rest.empty()) break;
      std::size_t const count = std::min(out.size(), rest.size());
      std::memcpy(out.data(), rest.data(), count);
      out = out.subspan(count);
      position_ += count;
    }
  }
  read = static_cast<std::uint32_t>(position_ - start);
  if (on_read_) on_read_(node_->Path(), start, read);
  return kSuccess;
}

WinError NodeFile::Write(std::span<const std::uint8_t> data, std::uint32_t& written) {
  written = 0;
  if ((opener_.rights & kMayWrite) == 0) return kAccessDenied;
  if (data.empty()) return kSuccess;
  std::uint64_t const end = position_ + data.size();
  std::uint64_t const growth = end > node_->size ? end - node_->size : 0;
  std::optional<std::uint64_t>& room = node_->drive().free_bytes;
  if (room && growth > *room) return kDiskFull;
  std::size_t done = 0;
  int failure = 0;
  if (node_->content != nullptr) {
    std::vector<std::uint8_t>* const all = node_->Writable();
    if (all == nullptr) return kIoDevice;
    std::size_t const start = static_cast<std::size_t>(position_);
    if (all->size() < start + data.size()) all->resize(start + data.size());
    std::copy(data.begin(), data.end(), all->begin() + static_cast<std::ptrdiff_t>(start));
    done = data.size();
  }
  while (done < data.size() && failure == 0) {
    ssize_t const count =
        ::pwrite(file_.get(), data.data() + done, data.size() - done, static_cast<off_t>(position_ + done));
    if (count >= 0) done += static_cast<std::size_t>(count);
    if (count < 0 && errno != EINTR) failure = errno;
  }
  ++node_->version;
  if (failure != 0) {
    // Windows extends a file before it writes: a write that does not fit leaves the length alone.
    static_cast<void>(!::ftruncate(file_.get(), static_cast<off_t>(node_->size)));
    node_->SyncTimes();
    return FromHostError(failure);
  }
  position_ += done;
  written = static_cast<std::uint32_t>(done);
  node_->size = std::max(node_->size, position_);
  if (room) *room -= growth;
  node_->written = true;
  if ((node_->attributes & kAttributeArchive) == 0) node_->ChangeAttributes(node_->attributes | kAttributeArchive);
  FileTicks const now = clock_.UtcNow();
  if (!write_time_set_) node_->times.write = now;
  if (!access_time_set_) node_->times.access = now;
  node_->SyncTimes();
  return kSuccess;
}

WinError NodeFile::Seek(std::int64_t distance, std::uint32_t origin, std::uint64_t& position) {
  position = position_;
  if (origin > 2) return kInvalidParameter;
  std::uint64_t const base = origin == 0 ? 0 : origin == 1 ? position_ : node_->size;
  std::int64_t target = 0;
  if (__builtin_add_overflow(static_cast<std::int64_t>(base), distance, &target)) return kInvalidParameter;
  if (target < 0) return kNegativeSeek;
  position_ = position = static_cast<std::uint64_t>(target);
  return kSuccess;
}

WinError NodeFile::SetTimes(const FileTimes& times) {
  if ((opener_.rights & kMayWrite) == 0) return kAccessDenied;
  if (times.creation != 0) node_->SetCreation(times.creation);
  if (times.access != 0) node_->times.access = times.access;
  if (times.write != 0) node_->times.write = times.write;
  access_time_set_ = access_time_set_ || times.access != 0;
  write_time_set_ = write_time_set_ || times.write != 0;
  node_->facts_changed = true;
  node_->SyncTimes();
  return kSuccess;
}

}  // namespace

WinError OpenNode(DriveNode& node, const Opener& opener, Descriptor file, const Clock& clock,
                  const std::function<void(const std::u16string&, std::uint64_t, std::uint64_t)>& on_read,
                  std::shared_ptr<OpenFile>& out) {
  if (opener.rights == 0) file = Descriptor();
  if (opener.rights != 0 && !file.valid() && !node.drive().in_memory) {
    std::string const host = node.Host();
    file = OpenHost(host, (opener.rights & kMayWrite) != 0 ? O_RDWR : O_RDONLY);
    if (!file.valid()) return FromHostError(errno);
  }
  out = std::make_shared<NodeFile>(node, opener, std::move(file), clock, on_read);
  return kSuccess;
}

}  // namespace tablet
