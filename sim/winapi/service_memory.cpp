// The operators of the service's library. What they give is the program's memory, which the usual operators free.
#include "sim/winapi/service_memory.h"

#include <new>

namespace {

void* Allocate(std::size_t bytes, bool array) {
  if (win32::AllocationFails()) throw std::bad_alloc();
  return win32::AllocateInProgram(bytes, array);
}

void* AllocateOrNull(std::size_t bytes, bool array) noexcept {
  try {
    return Allocate(bytes, array);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

void* operator new(std::size_t bytes) { return Allocate(bytes, false); }
void* operator new[](std::size_t bytes) { return Allocate(bytes, true); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return AllocateOrNull(bytes, false); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return AllocateOrNull(bytes, true); }
