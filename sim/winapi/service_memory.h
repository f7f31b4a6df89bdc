// Memory of the service's library, which asks for it by operators of its own: each request is one occurrence of the
// fault "allocation".
#pragma once

#include <cstddef>

namespace win32 {

/// Counts a request of the service for memory. True if it must fail.
bool AllocationFails();

/// Memory of the program, by the operator of single objects or that of arrays. Throws std::bad_alloc.
void* AllocateInProgram(std::size_t bytes, bool array);

}  // namespace win32
