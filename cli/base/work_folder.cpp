#include "cli/base/work_folder.h"

#include <fmt/format.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "cli/base/exit_code.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

/// The folders of this process. Never destroyed: the signal thread may need it while the program ends.
struct Folders {
  std::mutex mutex;
  std::vector<fs::path> paths;
  pid_t owner = ::getpid();
};

Folders& AllFolders() {
  static auto* const folders = new Folders;
  return *folders;
}

/// Held by whoever keeps a tablet, and by the signal thread once it ends the program.
std::mutex& EndsMutex() {
  static auto* const mutex = new std::mutex;
  return *mutex;
}

void Add(const fs::path& path) {
  Folders& folders = AllFolders();
  std::lock_guard const lock(folders.mutex);
  if (folders.owner != ::getpid()) {
    folders.owner = ::getpid();
    folders.paths.clear();
  }
  folders.paths.push_back(path);
}

void Forget(const fs::path& path) {
  Folders& folders = AllFolders();
  std::lock_guard const lock(folders.mutex);
  std::erase(folders.paths, path);
}

void RemoveAll(const fs::path& path) noexcept {
  // A simulated thread may still be writing into the folder while a signal ends the program.
  for (int attempt = 0; attempt < 20; ++attempt) {
    std::error_code failure;
    fs::remove_all(path, failure);
    if (!failure) return;
  }
}

}  // namespace

WorkFolder::WorkFolder(fs::path path) : path_(std::move(path)) {
  std::error_code failure;
  bool const made = fs::create_directory(path_, failure);
  if (!made) {
    throw tablet::InputError(path_.string(),
                             "cannot be made: " + (failure ? failure.message() : std::string("it exists already")),
                             "choose a folder that can be written");
  }
  Add(path_);
}

WorkFolder WorkFolder::Temporary() {
  static int count = 0;
  return WorkFolder(fs::temp_directory_path() / fmt::format("vantord-tablet-{}-{}", ::getpid(), ++count));
}

WorkFolder::~WorkFolder() {
  if (path_.empty()) return;
  RemoveAll(path_);
  Forget(path_);
}

WorkFolder::WorkFolder(WorkFolder&& other) noexcept : path_(std::exchange(other.path_, {})) {}

void WorkFolder::KeepAs(const fs::path& target) {
  std::error_code failure;
  fs::rename(path_, target, failure);
  if (failure)
    throw tablet::InputError(target.string(), "cannot be made: " + failure.message(), "choose another folder");
  Forget(path_);
  path_.clear();
}

SignalsWait::SignalsWait() { EndsMutex().lock(); }
SignalsWait::~SignalsWait() { EndsMutex().unlock(); }

void RemoveWorkFolders() noexcept {
  Folders& folders = AllFolders();
  std::lock_guard const lock(folders.mutex);
  if (folders.owner != ::getpid()) return;
  for (const fs::path& path : folders.paths) RemoveAll(path);
  folders.paths.clear();
}

void EndOrderlyOnSignals(std::function<void()> restore) {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  std::thread([ends, restore = std::move(restore)] {
    int signal = 0;
    sigwait(&ends, &signal);
    EndsMutex().lock();
    restore();
    RemoveWorkFolders();
    ::_exit(kInterrupted);
  }).detach();
}

}  // namespace cli
