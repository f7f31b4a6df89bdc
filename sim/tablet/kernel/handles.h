// The handle table of the simulated processes: files, keys, events, devices, tokens, searches.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

using HandleValue = std::uint64_t;

class OpenFile;

/// What a handle refers to. Shared by its handles and by the threads that wait for it. The calls of the Windows API use
/// its operations, on the simulated thread that calls; the scheduler asks `signaled` on the thread that gives up its
/// turn.
class Object {
 public:
  virtual ~Object() = default;
  /// "file", "event", "key": what it is, for leak reports and refusals.
  virtual std::string_view kind() const = 0;
  /// Whether a wait on it would end now. Only objects that can be waited for override these.
  virtual bool waitable() const { return false; }
  virtual bool signaled() const { return false; }
  /// The object itself if it is a file of drive C:, else null. Called at every read.
  virtual OpenFile* AsFile() { return nullptr; }
  /// A wait has ended by this object; an auto-reset event resets itself here.
  virtual void Consume() {}
};

class HandleTable {
 public:
  explicit HandleTable(const Scheduler& scheduler) : scheduler_(scheduler) {}

  /// A new handle of the running process. Values are multiples of 4 and are never used twice.
  HandleValue Add(std::shared_ptr<Object> object);
  /// The object of a handle; null if the handle is not open.
  std::shared_ptr<Object> Find(HandleValue handle) const;
  /// The file of drive C: of a handle, not owned: it exists as long as the handle is open. Null if the handle is not
  /// open or refers to something else.
  OpenFile* FindFile(HandleValue handle) const { return handle == last_ ? last_file_ : SearchFile(handle); }
  /// The same when it is a `T`; null otherwise.
  template <typename T>
  std::shared_ptr<T> Get(HandleValue handle) const {
    return std::dynamic_pointer_cast<T>(Find(handle));
  }
  /// False when the handle is not open.
  bool Close(HandleValue handle);
  void CloseAllOf(ProcessId process);
  /// The kinds of the open handles of a process, in the order they were opened.
  std::vector<std::string> OpenKinds(ProcessId process) const;

 private:
  struct Entry {
    HandleValue handle;
    ProcessId process;
    std::shared_ptr<Object> object;
  };
  std::vector<Entry>::const_iterator Search(HandleValue handle) const;
  OpenFile* SearchFile(HandleValue handle) const;
  void ForgetLast() {
    last_ = 0;
    last_file_ = nullptr;
  }

  const Scheduler& scheduler_;
  HandleValue next_ = 0x40;
  std::vector<Entry> entries_;  ///< in the order of their handles, which is the one they were opened in
  // The latest result of FindFile: a file is read many times in a row.
  mutable HandleValue last_ = 0;  ///< 0 is not a handle and has no file
  mutable OpenFile* last_file_ = nullptr;
};

}  // namespace tablet
