// What -fstack-protector needs at run time, with a guard that differs from process to process. The guard of zig's run
// time is a constant, and that of GNU's is in a library of its own.
#include <stdint.h>
#include <windows.h>

// Until the constructor runs: bytes that end a string.
uintptr_t __stack_chk_guard = 0x000aff0d;

__attribute__((noreturn)) void __stack_chk_fail(void);

// Ends the process at once with STATUS_STACK_BUFFER_OVERRUN, as __fastfail(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE) does:
// no handler runs on a stack that is damaged.
void __stack_chk_fail(void) {
#if defined(__aarch64__)
  __asm__ volatile("mov w0, #2\n\tbrk #0xf003");
#else
  __asm__ volatile("movl $2, %ecx\n\tint $0x29");
#endif
  __builtin_unreachable();
}

static uint64_t Mixed(uint64_t sum, uint64_t more) {
  sum = (sum ^ more) * 0x9e3779b97f4a7c15u;
  return sum ^ (sum >> 29);
}

// Before all other constructors. From the sources that Microsoft's C run time takes.
__attribute__((constructor(101))) static void ChooseGuard(void) {
  LARGE_INTEGER counter;
  FILETIME time;
  QueryPerformanceCounter(&counter);
  GetSystemTimeAsFileTime(&time);
  uint64_t sum = Mixed((uint64_t)counter.QuadPart, ((uint64_t)time.dwHighDateTime << 32) | time.dwLowDateTime);
  sum = Mixed(sum, ((uint64_t)GetCurrentProcessId() << 32) | GetCurrentThreadId());
  sum = Mixed(sum, (uint64_t)(uintptr_t)&counter);
  sum = Mixed(sum, (uint64_t)(uintptr_t)&__stack_chk_guard);
  // The lowest byte, which a string that overflows reaches first, ends that string.
  __stack_chk_guard = (uintptr_t)(sum & ~(uint64_t)0xff);
}
