#include "sim/tablet/kernel/heap.h"

namespace tablet {

void* Heap::Allocate(HeapKind kind, std::size_t bytes) {
  // One byte at least: blocks differ by their addresses.
  auto memory = std::make_unique<std::byte[]>(bytes == 0 ? 1 : bytes);
  void* const address = memory.get();
  blocks_.emplace(address, Block{kind, scheduler_.current_process(), next_order_++, bytes, std::move(memory)});
  return address;
}

bool Heap::Free(HeapKind kind, const void* memory) {
  auto const block = blocks_.find(memory);
  if (block == blocks_.end() || block->second.kind != kind) return false;
  blocks_.erase(block);
  return true;
}

std::vector<std::size_t> Heap::LiveBlocks(ProcessId process) const {
  std::map<std::uint64_t, std::size_t> by_order;
  for (const auto& [address, block] : blocks_) {
    if (block.process == process) by_order.emplace(block.order, block.bytes);
  }
  std::vector<std::size_t> sizes;
  for (const auto& [order, bytes] : by_order) sizes.push_back(bytes);
  return sizes;
}

}  // namespace tablet
