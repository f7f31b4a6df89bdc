#include "cli/import/hive_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <hivex.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unordered_set>
#include <utility>

#include "cli/import/hive_head.h"
#include "sim/tablet/base/descriptor.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

constexpr std::size_t kDeepestKey = 512;
constexpr const char* kCopyAgain = "copy the hive again from the Windows volume, or let Windows repair it";

struct Freed {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename Item>
using Owned = std::unique_ptr<Item, Freed>;

/// A copy in memory: a file that is cut while it is mapped would end the program.
tablet::Descriptor CopyOf(const std::filesystem::path& file, const std::string& shown) {
  tablet::Descriptor const source(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  tablet::Descriptor copy(::memfd_create("hive", MFD_CLOEXEC));
  struct stat facts {};
  bool good = source.valid() && copy.valid() && ::fstat(source.get(), &facts) == 0 && S_ISREG(facts.st_mode);
  constexpr std::size_t kPiece = 64 << 20;
  for (ssize_t count = 1; good && count > 0;) {
    count = ::sendfile(copy.get(), source.get(), nullptr, kPiece);
    good = count >= 0;
  }
  if (!good)
    throw tablet::InputError(shown, fmt::format("cannot be read: {}", std::strerror(errno)), "check its rights");
  return copy;
}

std::vector<std::uint8_t> HeadOf(const tablet::Descriptor& copy) {
  std::vector<std::uint8_t> head(kHivePage);
  ssize_t const count = ::pread(copy.get(), head.data(), head.size(), 0);
  head.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return head;
}

std::u16string Joined(std::u16string_view path, std::u16string_view name) {
  return path.empty() ? std::u16string(name) : std::u16string(path) + u'\\' + std::u16string(name);
}

/// The name that the library returned; nothing where a zero character hides the rest of it, or it is not text.
std::optional<std::u16string> NameOf(const Owned<char>& name, std::size_t length) {
  if (name == nullptr || std::strlen(name.get()) != length) return std::nullopt;
  return tablet::ToUtf16(name.get());
}

/// Whether a line of registry text can hold it.
bool IsWritable(std::u16string_view name) { return name.find_first_of(u"\r\n") == name.npos; }

}  // namespace

class HiveFile::Handle {
 public:
  Handle(const tablet::Descriptor& copy, const std::string& shown)
      : hive_(::hivex_open(fmt::format("/proc/self/fd/{}", copy.get()).c_str(), 0)) {
    if (hive_ != nullptr) return;
    throw tablet::InputError(shown, fmt::format("is a damaged hive: {}", std::strerror(errno)), kCopyAgain);
  }
  ~Handle() { ::hivex_close(hive_); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  hive_h* get() const { return hive_; }

 private:
  hive_h* hive_;
};

/// One way through the keys. Each key is met once in a hive that is whole, and the data is less than the file.
class HiveFile::Walk {
 public:
  explicit Walk(const HiveFile& file) : file_(file), hive_(file.hive_->get()), data_left_(file.bytes_) {}

  /// 0 where the key does not exist.
  hive_node_h Find(std::u16string_view path) {
    hive_node_h node = ::hivex_root(hive_);
    if (node == 0) Fail({}, "has no root key");
    for (std::u16string done; !path.empty() && node != 0;) {
      std::u16string_view const name = path.substr(0, path.find(u'\\'));
      path.remove_prefix(std::min(path.size(), name.size() + 1));
      node = ChildOf(node, name, done);
      done = Joined(done, name);
    }
    return node;
  }

  std::vector<hive_node_h> ChildrenOf(hive_node_h node, const std::u16string& path) {
    Owned<hive_node_h> const children(::hivex_node_children(hive_, node));
    if (children == nullptr) Fail(path, "its sub-keys cannot be read");
    std::vector<hive_node_h> list;
    for (const hive_node_h* child = children.get(); *child != 0; ++child) list.push_back(*child);
    return list;
  }

  std::optional<std::u16string> NameOfKey(hive_node_h node) {
    Owned<char> const name(::hivex_node_name(hive_, node));
    return NameOf(name, name == nullptr ? 0 : ::hivex_node_name_len(hive_, node));
  }

  void CopyKey(hive_node_h node, const std::u16string& path, const std::u16string& to, std::size_t depth,
               tablet::Registry& registry) {
    if (depth > kDeepestKey) Fail(path, fmt::format("has keys more than {} deep", kDeepestKey));
    if (!met_.insert(node).second) Fail(path, "is a key in two places");
    registry.MakeKey(to);
    Owned<hive_value_h> const values(::hivex_node_values(hive_, node));
    if (values == nullptr) Fail(path, "its values cannot be read");
    for (const hive_value_h* value = values.get(); *value != 0; ++value) CopyValue(*value, path, to, registry);
    for (hive_node_h const child : ChildrenOf(node, path)) {
      std::optional<std::u16string> const name = NameOfKey(child);
      bool const good = name && !name->empty() && name->size() <= tablet::kLongestKeyName &&
                        name->find(u'\\') == name->npos && IsWritable(*name);
      if (!good) Fail(path, "a sub-key has a name that is no text of a line");
      CopyKey(child, Joined(path, *name), Joined(to, *name), depth + 1, registry);
    }
  }

  tablet::RegistryValue DataOf(hive_value_h value, const std::u16string& place) {
    tablet::RegistryValue data;
    hive_type type{};
    std::size_t declared = 0;
    std::size_t length = 0;
    bool const known = ::hivex_value_type(hive_, value, &type, &declared) == 0;
    Owned<char> const bytes(known ? ::hivex_value_value(hive_, value, &type, &length) : nullptr);
    if (bytes == nullptr) Fail(place, fmt::format("the data cannot be read: {}", std::strerror(errno)));
    if (length != declared) Fail(place, fmt::format("has {} of {} bytes", length, declared));
    if (length > data_left_) Fail(place, "has more data than the file");
    data_left_ -= length;
    static_assert(sizeof(type) == sizeof(data.type));
    std::memcpy(&data.type, &type, sizeof(type));  // any number may be stored, not those of the enumeration alone
    data.data.assign(bytes.get(), bytes.get() + length);
    return data;
  }

  std::optional<std::u16string> NameOfValue(hive_value_h value) {
    Owned<char> const name(::hivex_value_key(hive_, value));
    return NameOf(name, name == nullptr ? 0 : ::hivex_value_key_len(hive_, value));
  }

  [[noreturn]] void Fail(const std::u16string& path, const std::string& problem) const {
    std::string const place = path.empty() ? file_.shown_ : file_.shown_ + ": " + tablet::ToUtf8(path);
    throw tablet::InputError(place, "damaged: " + problem, kCopyAgain);
  }

 private:
  /// A key whose name cannot be read is not the one that is looked for.
  hive_node_h ChildOf(hive_node_h node, std::u16string_view wanted, const std::u16string& path) {
    for (hive_node_h const child : ChildrenOf(node, path)) {
      std::optional<std::u16string> const name = NameOfKey(child);
      if (name && tablet::EqualIgnoringCase(*name, wanted)) return child;
    }
    return 0;
  }

  void CopyValue(hive_value_h value, const std::u16string& path, const std::u16string& to, tablet::Registry& registry) {
    std::optional<std::u16string> const name = NameOfValue(value);
    if (!name || !IsWritable(*name)) Fail(path, "a value has a name that is no text of a line");
    registry.Put(to, *name, DataOf(value, Joined(path, *name)));
  }

  const HiveFile& file_;
  hive_h* hive_;
  std::unordered_set<hive_node_h> met_;
  std::size_t data_left_;
};

HiveFile::HiveFile(const std::filesystem::path& file, Options options) : shown_(std::move(options.shown)) {
  tablet::Descriptor const copy = CopyOf(file, shown_);
  struct stat facts {};
  ::fstat(copy.get(), &facts);
  bytes_ = static_cast<std::size_t>(facts.st_size);
  std::vector<std::uint8_t> const head = HeadOf(copy);
  CheckHiveHead(head, bytes_, shown_);
  pending_ = PendingChanges(head, options.logs);
  if (!pending_.empty() && !options.take_dirty) {
    throw tablet::InputError(
        shown_, "is not up to date: " + pending_,
        "let Windows write what is pending (shut it down properly, or \"reg load\" and \"reg unload\" the file with its "
        "logs), or add --dirty to read it as it is");
  }
  hive_ = std::make_unique<Handle>(copy, shown_);
}

HiveFile::~HiveFile() = default;

bool HiveFile::Has(std::u16string_view path) const { return Walk(*this).Find(path) != 0; }

std::vector<std::u16string> HiveFile::SubKeys(std::u16string_view path) const {
  Walk walk(*this);
  hive_node_h const node = walk.Find(path);
  std::vector<std::u16string> names;
  if (node == 0) return names;
  for (hive_node_h const child : walk.ChildrenOf(node, std::u16string(path))) {
    if (std::optional<std::u16string> name = walk.NameOfKey(child)) names.push_back(*std::move(name));
  }
  return names;
}

std::optional<std::uint32_t> HiveFile::Dword(std::u16string_view path, std::u16string_view value) const {
  tablet::Registry registry;
  Walk walk(*this);
  hive_node_h const node = walk.Find(path);
  if (node == 0) return std::nullopt;
  std::u16string const place(path);
  Owned<hive_value_h> const values(::hivex_node_values(hive_->get(), node));
  if (values == nullptr) walk.Fail(place, "its values cannot be read");
  for (const hive_value_h* one = values.get(); *one != 0; ++one) {
    std::optional<std::u16string> const name = walk.NameOfValue(*one);
    if (!name || !tablet::EqualIgnoringCase(*name, value)) continue;
    registry.Put(u"", value, walk.DataOf(*one, Joined(place, value)));
  }
  return registry.GetDword(u"", value);
}

bool HiveFile::Copy(std::u16string_view path, std::u16string_view to, tablet::Registry& registry) const {
  Walk walk(*this);
  hive_node_h const node = walk.Find(path);
  if (node == 0) return false;
  walk.CopyKey(node, std::u16string(path), std::u16string(to), 1, registry);
  return true;
}

}  // namespace cli
