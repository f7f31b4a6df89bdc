// Debian's Wine for ARM64 is made of Linux libraries: what takes a list of arguments expects it as Linux lays it out,
// and gets it from a Windows program as Windows does. The program under test hands on such a list in one place.
#include <cstdarg>

#include "tests/windows/supply/supply.h"

namespace supply {

namespace {

/// Linux' list: what is left in the saved registers, counted from their ends, then the stack. Of a list that Windows
/// made, whose arguments stand one behind the other in 8 bytes each, all is on the stack.
struct LinuxArguments {
  void* stack;
  void* generalEnd = nullptr;
  void* vectorEnd = nullptr;
  int generalLeft = 0;
  int vectorLeft = 0;
};
static_assert(sizeof(LinuxArguments) == 32);

// A structure of that size goes by reference.
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
