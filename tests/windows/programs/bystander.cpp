// A process that is only there: tests start it as winlogon.exe, by which the service knows a logon session.
#include <windows.h>

extern "C" int wmain() {
  ::Sleep(INFINITE);
  return 0;
}
