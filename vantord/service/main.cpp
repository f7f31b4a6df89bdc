// Process entry. The service manager starts the program; its arguments mean nothing to it.
#include <windows.h>

#include "vantord/service/vantord.h"

extern "C" int wmain(int, WCHAR**) {
  CVantord service;
  CServiceBase::Run(service);
  return 0;
}
