// Files and folders that are still being made: removed when the program ends early, and after a killed one by the next.
#pragma once

#include <filesystem>
#include <functional>

namespace cli {

/// A new file or folder `stem` + six letters. While it is open, a lock on it shows that its process runs.
class Unfinished {
 public:
  enum class Kind { kFile, kFolder };

  /// Removes what killed processes left under the same stem, then makes a new one with the usual rights. Throws
  /// InputError.
  Unfinished(Kind kind, const std::filesystem::path& stem);
  /// Removes it unless it was kept.
  ~Unfinished();
  Unfinished(Unfinished&& other) noexcept;
  Unfinished& operator=(Unfinished&&) = delete;

  const std::filesystem::path& path() const { return path_; }
  int descriptor() const { return descriptor_; }
  /// Renames it; throws InputError. A file replaces what is there, a folder an empty folder.
  void KeepAs(const std::filesystem::path& target);
  /// KeepAs for a folder, in place of one that need not be empty and is removed. At every moment one of both is there;
  /// throws InputError where the host's file system cannot exchange two names.
  void Replace(const std::filesystem::path& target);

 private:
  std::filesystem::path path_;
  int descriptor_ = -1;
};

/// While it exists, a signal waits with ending the program: something is being kept that must not be left half done.
class SignalsWait {
 public:
  SignalsWait();
  ~SignalsWait();
  SignalsWait(const SignalsWait&) = delete;
  SignalsWait& operator=(const SignalsWait&) = delete;
};

/// Whether one of the signals of EndOrderlyOnSignals has arrived and waits for SignalsWait.
bool SignalHasArrived() noexcept;

/// Ends the program on any thread, without destructors: what is unfinished is removed.
[[noreturn]] void EndNow(int code);
/// The same for a reader of standard output that went away: quietly, as SIGPIPE does.
[[noreturn]] void EndForClosedPipe();

/// From now on SIGINT, SIGTERM and SIGHUP end the program in an orderly way: `restore` runs, what is unfinished is
/// removed, the exit code is kInterrupted. Standard streams that are closed become ones that fail. Call once, before
/// any thread is made.
void EndOrderlyOnSignals(std::function<void()> restore);

}  // namespace cli
