// The service control manager, seen from a service process.
#include "sim/winapi/call.h"

#include <winsvc.h>

using win32::Call;
using win32::Machine;
using win32::Number;
using win32::RefuseUnmodelled;
using win32::Show;

namespace {

/// Calls a service's main function with arguments that live as long as it runs.
void RunServiceMain(LPSERVICE_MAIN_FUNCTIONW function, std::vector<std::u16string> arguments) {
  std::vector<LPWSTR> pointers;
  for (std::u16string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  function(static_cast<DWORD>(arguments.size()), pointers.data());
}

}  // namespace

extern "C" {

BOOL WINAPI StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table) {
  auto describe = [&] { return Show(table->lpServiceName); };
  Call call("StartServiceCtrlDispatcherW", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (table[0].lpServiceProc == nullptr || table[1].lpServiceProc != nullptr) {
    RefuseUnmodelled("StartServiceCtrlDispatcherW", "a table of any number of services but one");
  }
  DWORD const error = Machine().services().RunDispatcher(
      table->lpServiceName, [main = table->lpServiceProc](const auto& arguments) { RunServiceMain(main, arguments); });
  return error == NO_ERROR ? call.Done(TRUE) : call.Fail(FALSE, error);
}

SERVICE_STATUS_HANDLE WINAPI RegisterServiceCtrlHandlerExW(LPCWSTR serviceName, LPHANDLER_FUNCTION_EX handler,
                                                           LPVOID context) {
  auto describe = [&] { return Show(serviceName); };
  Call call("RegisterServiceCtrlHandlerExW", describe);
  SERVICE_STATUS_HANDLE const none = nullptr;
  if (call.fault() != 0) return call.Fail(none);
  auto deliver = [handler, context](DWORD control, DWORD eventType, void* data) {
    tablet::InsideProduct const inside;
    return handler(control, eventType, data, context);
  };
  tablet::HandleValue const handle = Machine().services().RegisterHandler(serviceName, deliver);
  if (handle == 0) return call.Fail(none, ERROR_SERVICE_NOT_IN_EXE);
  return call.Done(win32::ToHandle<SERVICE_STATUS_HANDLE>(handle));
}

BOOL WINAPI SetServiceStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status) {
  auto describe = [&] {
    return fmt::format("state={}, accepted={:#x}, exit={}, check_point={}, wait_hint={}",
                       tablet::StateName(status->dwCurrentState), status->dwControlsAccepted, status->dwWin32ExitCode,
                       status->dwCheckPoint, status->dwWaitHint);
  };
  Call call("SetServiceStatus", describe);
  // A report that fails has been with the service manager too.
  tablet::HappensBefore(&Machine().services().status());
  if (call.fault() != 0) return call.Fail(FALSE);
  DWORD const error =
      Machine().services().Report(Number(handle), {.type = status->dwServiceType,
                                                   .state = status->dwCurrentState,
                                                   .controls_accepted = status->dwControlsAccepted,
                                                   .exit_code = status->dwWin32ExitCode,
                                                   .specific_exit_code = status->dwServiceSpecificExitCode,
                                                   .check_point = status->dwCheckPoint,
                                                   .wait_hint = status->dwWaitHint});
  return error == NO_ERROR ? call.Done(TRUE) : call.Fail(FALSE, error);
}
}
