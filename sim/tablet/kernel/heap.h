// The heaps of the simulated processes: real memory, with a list of who holds which block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

/// Which pair of calls a block belongs to; a block is freed by the calls it came from.
enum class HeapKind { kProcess, kLocal, kEnvironment };

class Heap {
 public:
  explicit Heap(const Scheduler& scheduler) : scheduler_(scheduler) {}

  /// A new block of the running process, aligned for any type; zeroed. Never null: a request of 0 bytes gives a block
  /// of its own as well.
  void* Allocate(HeapKind kind, std::size_t bytes);
  /// False, with nothing freed, if `memory` is not a live block of that kind.
  bool Free(HeapKind kind, const void* memory);
  /// Sizes in bytes of the blocks a process holds, in the order they were allocated.
  std::vector<std::size_t> LiveBlocks(ProcessId process) const;

 private:
  struct Block {
    HeapKind kind;
    ProcessId process;
    std::uint64_t order;
    std::size_t bytes;
    std::unique_ptr<std::byte[]> memory;
  };
  const Scheduler& scheduler_;
  std::uint64_t next_order_ = 1;
  std::map<const void*, Block> blocks_;
};

}  // namespace tablet
