// Copying a tablet's files as they are: data, times, extended attributes.
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "sim/tablet/base/descriptor.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/folder/folder.h"

namespace tablet {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const fs::path& place, const char* what) {
  throw InputError(place.string(), fmt::format("{}: {}", what, std::strerror(errno)),
                   "check the folder's rights and space");
}

Descriptor Open(const fs::path& path, int flags, mode_t mode = 0) {
  Descriptor file(::open(path.c_str(), flags | O_CLOEXEC, mode));
  if (!file.valid()) Fail(path, "cannot open");
  return file;
}

void CopyExtendedAttributes(const fs::path& from, int source, int target) {
  ssize_t const size = ::flistxattr(source, nullptr, 0);
  if (size <= 0) return;  // none, or a file system without them
  std::string names(static_cast<std::size_t>(size), '\0');
  ssize_t const got = ::flistxattr(source, names.data(), names.size());
  for (ssize_t at = 0; at < got; at += static_cast<ssize_t>(std::strlen(&names[static_cast<std::size_t>(at)])) + 1) {
    const char* const name = &names[static_cast<std::size_t>(at)];
    if (std::strncmp(name, "user.", 5) != 0) continue;
    std::array<char, 256> value{};
    ssize_t const length = ::fgetxattr(source, name, value.data(), value.size());
    if (length < 0) Fail(from, "cannot read an extended attribute");
    if (::fsetxattr(target, name, value.data(), static_cast<std::size_t>(length), 0) != 0) {
      Fail(from, "its extended attributes cannot be kept in the copy");
    }
  }
}

void CopyData(const fs::path& from, int source, int target) {
  if (::ioctl(target, FICLONE, source) == 0) return;
  constexpr std::size_t kPiece = 64 << 20;
  for (;;) {
    ssize_t const moved = ::copy_file_range(source, nullptr, target, nullptr, kPiece, 0);
    if (moved == 0) return;
    if (moved > 0) continue;
    if (errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) Fail(from, "cannot copy");
    break;
  }
  std::vector<char> buffer(1 << 20);
  for (;;) {
    ssize_t const count = ::read(source, buffer.data(), buffer.size());
    if (count < 0) Fail(from, "cannot read");
    if (count == 0) return;
    for (ssize_t done = 0; done < count;) {
      ssize_t const written = ::write(target, buffer.data() + done, static_cast<std::size_t>(count - done));
      if (written < 0) Fail(from, "cannot copy");
      done += written;
    }
  }
}

void CopyTimes(const struct stat& facts, int target, const fs::path& to) {
  std::array<timespec, 2> const times{facts.st_atim, facts.st_mtim};
  if (::futimens(target, times.data()) != 0) Fail(to, "cannot set times");
}

struct stat FactsOf(const fs::path& path) {
  struct stat facts {};
  if (::lstat(path.c_str(), &facts) != 0) Fail(path, "cannot read");
  return facts;
}

}  // namespace

void CopyTree(const fs::path& from, const fs::path& to) {
  struct stat const facts = FactsOf(from);
  if (S_ISLNK(facts.st_mode)) {
    std::error_code failure;
    fs::copy_symlink(from, to, failure);
    if (failure) throw InputError(to.string(), "cannot copy: " + failure.message(), "check the folder's rights");
  } else if (S_ISDIR(facts.st_mode)) {
    if (::mkdir(to.c_str(), 0777) != 0) Fail(to, "cannot make the folder");
    for (const fs::directory_entry& entry : fs::directory_iterator(from))
      CopyTree(entry.path(), to / entry.path().filename());
    Descriptor const source = Open(from, O_RDONLY | O_DIRECTORY);
    Descriptor const target = Open(to, O_RDONLY | O_DIRECTORY);
    CopyExtendedAttributes(from, source.get(), target.get());
    CopyTimes(facts, target.get(), to);
  } else if (S_ISREG(facts.st_mode)) {
    Descriptor const source = Open(from, O_RDONLY);
    Descriptor const target = Open(to, O_WRONLY | O_CREAT | O_EXCL, 0666);
    CopyData(from, source.get(), target.get());
    CopyExtendedAttributes(from, source.get(), target.get());
    CopyTimes(facts, target.get(), to);
  } else {
    throw InputError(from.string(), "is neither a file nor a folder", "remove it from the tablet");
  }
}

}  // namespace tablet
