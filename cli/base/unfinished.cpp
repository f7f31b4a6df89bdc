#include "cli/base/unfinished.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "cli/base/exit_code.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

std::atomic<bool> signal_has_arrived = false;

namespace fs = std::filesystem;

constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz234567";
constexpr std::size_t kSuffix = 6;

/// The paths of this process. Never destroyed: the signal thread may need it while the program ends.
struct Paths {
  std::mutex mutex;
  std::vector<fs::path> paths;
  pid_t owner = ::getpid();
};

Paths& AllPaths() {
  static auto* const paths = new Paths;
  return *paths;
}

/// Held while a tablet is being kept, and by the signal thread once it ends the program.
std::mutex& EndsMutex() {
  static auto* const mutex = new std::mutex;
  return *mutex;
}

void Add(const fs::path& path) {
  Paths& all = AllPaths();
  std::lock_guard const lock(all.mutex);
  if (all.owner != ::getpid()) {  // a child: what its parent makes is the parent's
    all.owner = ::getpid();
    all.paths.clear();
  }
  all.paths.push_back(path);
}

void Forget(const fs::path& path) {
  Paths& all = AllPaths();
  std::lock_guard const lock(all.mutex);
  std::erase(all.paths, path);
}

void RemoveAll(const fs::path& path) noexcept {
  // A simulated thread may still be writing into the folder while a signal ends the program.
  for (int attempt = 0; attempt < 20; ++attempt) {
    std::error_code failure;
    fs::remove_all(path, failure);
    if (!failure) return;
  }
}

void RemoveUnfinished() noexcept {
  Paths& all = AllPaths();
  std::lock_guard const lock(all.mutex);
  if (all.owner != ::getpid()) return;
  for (const fs::path& path : all.paths) RemoveAll(path);
  all.paths.clear();
}

enum class Locked { kYes, kNo, kUnknown };  ///< kUnknown: this file system has no locks

/// kNo: another process has the lock, or the path has gone.
Locked Lock(int descriptor, const fs::path& path) {
  if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) return errno == EWOULDBLOCK ? Locked::kNo : Locked::kUnknown;
  struct stat opened = {};
  struct stat named = {};
  bool const same = ::fstat(descriptor, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
                    opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
  return same ? Locked::kYes : Locked::kNo;
}

bool IsMadeFrom(const std::string& name, const std::string& stem) {
  return name.size() == stem.size() + kSuffix && name.starts_with(stem) &&
         name.find_first_not_of(kLetters, stem.size()) == std::string::npos;
}

void RemoveAbandoned(const fs::path& stem) {
  std::string const prefix = stem.filename().string();
  std::error_code failure;
  std::vector<fs::path> found;
  fs::path const folder = stem.has_parent_path() ? stem.parent_path() : fs::path(".");
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end; entry.increment(failure)) {
    if (IsMadeFrom(entry->path().filename().string(), prefix)) found.push_back(entry->path());
  }
  for (const fs::path& path : found) {
    int const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0) continue;
    if (Lock(descriptor, path) == Locked::kYes) RemoveAll(path);
    ::close(descriptor);
  }
}

std::string Suffix() {
  std::array<unsigned char, kSuffix> bytes{};
  if (::getrandom(bytes.data(), bytes.size(), 0) < 0) bytes.fill(static_cast<unsigned char>(::getpid()));
  std::string text;
  for (unsigned char const byte : bytes) text += kLetters[byte % kLetters.size()];
  return text;
}

/// With the rights that the user's mask gives; -1 and errno.
int Make(Unfinished::Kind kind, const fs::path& path) {
  if (kind == Unfinished::Kind::kFile) return ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (::mkdir(path.c_str(), 0777) != 0) return -1;
  int const descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  // Another process took the new folder for an abandoned one: as if the name had been taken.
  if (descriptor < 0 && errno == ENOENT) errno = EEXIST;
  return descriptor;
}

}  // namespace

Unfinished::Unfinished(Kind kind, const fs::path& stem) {
  RemoveAbandoned(stem);
  for (;;) {
    path_ = stem.string() + Suffix();
    descriptor_ = Make(kind, path_);
    if (descriptor_ < 0 && errno == EEXIST) continue;
    if (descriptor_ < 0) break;
    if (Lock(descriptor_, path_) != Locked::kNo) {
      Add(path_);
      return;
    }
    // Another process took the new path for an abandoned one.
    ::close(std::exchange(descriptor_, -1));
  }
  std::string const why = std::strerror(errno);
  throw tablet::InputError(std::exchange(path_, {}).parent_path().string(), "cannot be made: " + why,
                           "choose a folder that can be written");
}

Unfinished::~Unfinished() {
  if (!path_.empty()) {
    RemoveAll(path_);
    Forget(path_);
  }
  if (descriptor_ >= 0) ::close(descriptor_);
}

Unfinished::Unfinished(Unfinished&& other) noexcept
    : path_(std::exchange(other.path_, {})), descriptor_(std::exchange(other.descriptor_, -1)) {}

void Unfinished::KeepAs(const fs::path& target) {
  std::error_code failure;
  fs::rename(path_, target, failure);
  if (failure)
    throw tablet::InputError(target.string(), "cannot be made: " + failure.message(), "choose another place");
  Forget(path_);
  path_.clear();
}

void Unfinished::Replace(const fs::path& target) {
  std::error_code ignored;
  if (!fs::exists(target, ignored)) return KeepAs(target);
  if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) != 0) {
    throw tablet::InputError(target.string(), std::string("cannot be replaced: ") + std::strerror(errno),
                             "remove it, or name another folder");
  }
  RemoveAll(path_);  // what was there before
  Forget(path_);
  path_.clear();
}

SignalsWait::SignalsWait() { EndsMutex().lock(); }
SignalsWait::~SignalsWait() { EndsMutex().unlock(); }

bool SignalHasArrived() noexcept { return signal_has_arrived; }

void EndNow(int code) {
  RemoveUnfinished();
  ::_exit(code);
}

void EndForClosedPipe() {
  RemoveUnfinished();
  std::signal(SIGPIPE, SIG_DFL);
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
  ::raise(SIGPIPE);
  ::_exit(128 + SIGPIPE);
}

void EndOrderlyOnSignals(std::function<void()> restore) {
  // A file that is opened later must not become a standard stream. These refuse what is read or written.
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    if (::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream) std::abort();
  }
  // What these would end the program for is an error of write.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  std::thread([ends, restore = std::move(restore)] {
    int signal = 0;
    sigwait(&ends, &signal);
    signal_has_arrived = true;
    EndsMutex().lock();
    restore();
    EndNow(kInterrupted);
  }).detach();
}

}  // namespace cli
