// A process that does nothing. Tests start it as winlogon.exe, by which the service finds a logon session.
#include <windows.h>

extern "C" int wmain() {
  ::Sleep(INFINITE);
  return 0;
}
