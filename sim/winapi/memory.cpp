// The process heap and the local heap.
#include <windows.h>

#include "sim/tablet/kernel/fault_catalog.h"
#include "sim/winapi/call.h"
#include "sim/winapi/service_memory.h"

using win32::Call;
using win32::Machine;
using win32::RefuseUnmodelled;

namespace {

// An address that no other handle has.
constexpr tablet::HandleValue kProcessHeap = 0x10000;

// No machine has as much: a larger request fails, as on Windows.
constexpr SIZE_T kMostBytes = SIZE_T{1} << 40;

// How a block looks in the journal, whose text must be the same at every run: addresses are not.
constexpr std::string_view kBlock = "a block";

/// Fills a block whose content Windows leaves undefined, so that no caller can rely on zeros.
void* MakeBlock(tablet::HeapKind kind, SIZE_T bytes, bool zeroed) {
  void* const memory = Machine().heap().Allocate(kind, bytes);
  if (!zeroed) std::memset(memory, 0xCD, bytes);
  return memory;
}

}  // namespace

namespace win32 {

bool AllocationFails() {
  tablet::OutsideProduct const outside;
  // While the library is loaded, the service does not run.
  if (Machine().scheduler().current_process() == tablet::kMachineProcess) return false;
  return Machine().faults().Ask(tablet::kAllocation) != 0;
}

void* AllocateInProgram(std::size_t bytes, bool array) {
  return array ? ::operator new[](bytes) : ::operator new(bytes);
}

}  // namespace win32

// Cannot fail and touches nothing shared: neither a hand-over nor a line in the journal.
HANDLE GetProcessHeap() { return win32::ToHandle(kProcessHeap); }

LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes) {
  auto describe = [&] { return fmt::format("{:#x}, {} bytes", flags, bytes); };
  Call call("HeapAlloc", describe);
  if (call.fault() != 0 || bytes > kMostBytes) return call.Done(LPVOID{nullptr});  // the last error stays
  if (heap != GetProcessHeap()) RefuseUnmodelled("HeapAlloc", "a heap other than the process heap");
  if ((flags & ~HEAP_ZERO_MEMORY) != 0) RefuseUnmodelled("HeapAlloc", fmt::format("flags {:#x}", flags));
  call.Done(kBlock);
  return MakeBlock(tablet::HeapKind::kProcess, bytes, (flags & HEAP_ZERO_MEMORY) != 0);
}

BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID memory) {
  auto describe = [&] { return memory == nullptr ? std::string("null") : std::string(kBlock); };
  Call call("HeapFree", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (heap != GetProcessHeap() || flags != 0) RefuseUnmodelled("HeapFree", "another heap, or flags");
  if (memory == nullptr) return call.Done(TRUE);
  if (!Machine().heap().Free(tablet::HeapKind::kProcess, memory)) {
    RefuseUnmodelled("HeapFree", "memory that HeapAlloc did not give or that is freed already");
  }
  return call.Done(TRUE);
}

HLOCAL LocalAlloc(UINT flags, SIZE_T bytes) {
  auto describe = [&] { return fmt::format("{:#x}, {} bytes", flags, bytes); };
  Call call("LocalAlloc", describe);
  if (call.fault() != 0) return call.Fail(HLOCAL{nullptr});
  if (bytes > kMostBytes) return call.Fail(HLOCAL{nullptr}, ERROR_NOT_ENOUGH_MEMORY);
  if ((flags & ~LPTR) != 0) RefuseUnmodelled("LocalAlloc", fmt::format("flags {:#x}", flags));
  call.Done(kBlock);
  return MakeBlock(tablet::HeapKind::kLocal, bytes, (flags & LMEM_ZEROINIT) != 0);
}

HLOCAL LocalFree(HLOCAL memory) {
  auto describe = [&] { return memory == nullptr ? std::string("null") : std::string(kBlock); };
  Call call("LocalFree", describe);
  if (call.fault() != 0) return call.Fail(memory);
  if (memory == nullptr) return call.Done(HLOCAL{nullptr});
  if (!Machine().heap().Free(tablet::HeapKind::kLocal, memory)) {
    RefuseUnmodelled("LocalFree", "memory that LocalAlloc did not give or that is freed already");
  }
  return call.Done(HLOCAL{nullptr});
}
