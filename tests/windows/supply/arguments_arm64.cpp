// Debian's Wine for ARM64 consists of Linux libraries, which expect a va_list in Linux' layout but get one in Windows'
// layout from a Windows program. The program under test passes a va_list in one place.
#include <cstdarg>

#include "tests/windows/supply/supply.h"

namespace supply {

namespace {

/// Linux' va_list: the rest of the saved registers, counted from their ends, then the stack. A Windows list is
/// consecutive slots of 8 bytes, all of them on the stack.
struct LinuxArguments {
  void* stack;
  void* generalEnd = nullptr;
  void* vectorEnd = nullptr;
  int generalLeft = 0;
  int vectorLeft = 0;
};
static_assert(sizeof(LinuxArguments) == 32);

// A structure of this size is passed by reference.
using FormatOfLinux = int (*)(WCHAR*, std::size_t, const WCHAR*, LinuxArguments*);
FormatOfLinux g_format;

int Format(WCHAR* out, std::size_t count, const WCHAR* format, std::va_list arguments) {
  LinuxArguments list = {reinterpret_cast<void*>(arguments)};
  return g_format(out, count, format, &list);
}

}  // namespace

void RedirectArguments() {
  g_format = reinterpret_cast<FormatOfLinux>(Redirect("_vsnwprintf", reinterpret_cast<void*>(&Format)));
}

}  // namespace supply
