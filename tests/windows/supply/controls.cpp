// Controls that cannot be sent under Wine (power events, preshutdown, device events): the test describes one in the
// registry and sends a user-defined control, which the program's handler receives as the described one, on its thread.
#include "tests/windows/supply/supply.h"

#include <vector>

// Needs <windows.h> before it.
#include <winsvc.h>

namespace supply {

namespace {

using RegisterHandler = SERVICE_STATUS_HANDLE(WINAPI*)(LPCWSTR, LPHANDLER_FUNCTION_EX, LPVOID);
RegisterHandler g_register;
LPHANDLER_FUNCTION_EX g_handler;

DWORD Number(const WCHAR* name) {
  DWORD number = 0;
  DWORD bytes = sizeof(number);
  ::RegGetValueW(HKEY_LOCAL_MACHINE, kControlKey, name, RRF_RT_REG_DWORD, nullptr, &number, &bytes);
  return number;
}

DWORD WINAPI Handle(DWORD control, DWORD eventType, LPVOID eventData, LPVOID context) {
  if (control != kDescribedControl) return g_handler(control, eventType, eventData, context);
  std::vector<BYTE> data(1024);
  DWORD bytes = static_cast<DWORD>(data.size());
  LSTATUS const given =
      ::RegGetValueW(HKEY_LOCAL_MACHINE, kControlKey, L"EventData", RRF_RT_REG_BINARY, nullptr, data.data(), &bytes);
  return g_handler(Number(L"Control"), Number(L"EventType"), given == ERROR_SUCCESS ? data.data() : nullptr, context);
}

SERVICE_STATUS_HANDLE WINAPI Register(LPCWSTR name, LPHANDLER_FUNCTION_EX handler, LPVOID context) {
  g_handler = handler;
  return g_register(name, &Handle, context);
}

}  // namespace

void RedirectControls() {
  g_register =
      reinterpret_cast<RegisterHandler>(Redirect("RegisterServiceCtrlHandlerExW", reinterpret_cast<void*>(&Register)));
}

}  // namespace supply
