// A folder to work in, removed at the end: also when a signal ends the program.
#pragma once

#include <filesystem>
#include <functional>

namespace cli {

class WorkFolder {
 public:
  /// Makes the folder `path`, which must not exist; throws InputError.
  explicit WorkFolder(std::filesystem::path path);
  /// In the host's folder for temporary files.
  static WorkFolder Temporary();
  ~WorkFolder();
  WorkFolder(WorkFolder&& other) noexcept;
  WorkFolder& operator=(WorkFolder&&) = delete;

  const std::filesystem::path& path() const { return path_; }
  /// Renames the folder to `target`, which must not exist; it is then no longer removed.
  void KeepAs(const std::filesystem::path& target);

 private:
  std::filesystem::path path_;
};

/// While it runs, a signal waits with ending the program: something is being kept that must not be left half done.
class SignalsWait {
 public:
  SignalsWait();
  ~SignalsWait();
  SignalsWait(const SignalsWait&) = delete;
  SignalsWait& operator=(const SignalsWait&) = delete;
};

/// Removes the work folders of this process now, for ends that run no destructors.
void RemoveWorkFolders() noexcept;

/// From now on SIGINT, SIGTERM and SIGHUP end the program in an orderly way: `restore` runs, the work folders are
/// removed, the exit code is kInterrupted. Call once, before any thread is made.
void EndOrderlyOnSignals(std::function<void()> restore);

}  // namespace cli
