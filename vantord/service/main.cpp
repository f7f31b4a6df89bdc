// Process entry. The service manager starts the program; the arguments are ignored.
#include <windows.h>

#include "vantord/service/vantord.h"

extern "C" int wmain(int, WCHAR**) {
  CVantord service;
  CServiceBase::Run(service);
  return 0;
}
