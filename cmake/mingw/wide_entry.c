// The program's start for a tool chain whose start-up code knows main and not wmain.
#include <windows.h>

int wmain(int count, WCHAR** arguments);

// What the C run time of Windows takes as its last argument: whether a failed allocation calls the new handler.
struct NewMode {
  int mode;
};
_CRTIMP int __cdecl __wgetmainargs(int* count, WCHAR*** arguments, WCHAR*** environment, int expandWildcards,
                                   struct NewMode* mode);

// The run time has parsed the command line before this is called; the narrow arguments are not used.
int main(void) {
  int count = 0;
  WCHAR** arguments = NULL;
  WCHAR** environment = NULL;
  struct NewMode mode = {0};
  if (__wgetmainargs(&count, &arguments, &environment, 0, &mode) < 0) return 255;
  return wmain(count, arguments);
}
