// overrun BYTES: prints the guard of the stack, then writes that many bytes into a buffer of 16. Exit code 0 if the
// function with the buffer returned.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cwchar>

extern "C" std::uintptr_t __stack_chk_guard;

namespace {

__attribute__((noinline)) char Fill(long bytes) {
  char buffer[16] = {};
  for (long i = 0; i < bytes; ++i) static_cast<volatile char*>(buffer)[i] = 'x';
  return static_cast<volatile char*>(buffer)[3];
}

}  // namespace

extern "C" int wmain(int count, WCHAR** arguments) {
  std::printf("%llx\n", static_cast<unsigned long long>(__stack_chk_guard));
  std::fflush(stdout);
  return count == 2 && Fill(::wcstol(arguments[1], nullptr, 10)) == 'x' ? 0 : 1;
}
