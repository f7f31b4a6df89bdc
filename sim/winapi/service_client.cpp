// The service manager, seen from a program that configures, starts and controls services.
#include <windows.h>

#include <winsvc.h>

#include <algorithm>

#include "sim/winapi/call.h"

using win32::Call;
using win32::Machine;
using win32::Number;
using win32::RefuseUnmodelled;
using win32::Show;
using win32::ShowHandle;

namespace {

constexpr SC_HANDLE kNone = nullptr;

class ManagerObject final : public tablet::Object {
 public:
  std::string_view kind() const override { return "service manager"; }
};

/// An opened service: the one whose process is simulated, or the partner.
class ServiceObject final : public tablet::Object {
 public:
  explicit ServiceObject(bool partner) : m_partner(partner) {}
  std::string_view kind() const override { return "service"; }
  bool partner() const { return m_partner; }

 private:
  bool m_partner;
};

std::shared_ptr<ServiceObject> Service(SC_HANDLE handle) {
  return Machine().handles().Get<ServiceObject>(Number(handle));
}

tablet::ServiceStatus StatusOf(const ServiceObject& service) {
  return service.partner() ? Machine().partner().Status() : Machine().services().status();
}

/// Whether ControlService gives the status with this error.
bool FillsStatus(DWORD error) {
  return error == NO_ERROR || error == tablet::kInvalidServiceControl || error == tablet::kServiceCannotAcceptControl ||
         error == tablet::kServiceNotActive;
}

/// What failure actions become: null members leave what was there, no actions in an array delete them.
tablet::FailureActions Changed(tablet::FailureActions actions, const SERVICE_FAILURE_ACTIONSW& given) {
  if (given.lpRebootMsg != nullptr) actions.reboot_message = given.lpRebootMsg;
  if (given.lpCommand != nullptr) actions.command = given.lpCommand;
  if (given.lpsaActions == nullptr) return actions;
  actions.reset_seconds = given.cActions == 0 ? 0 : given.dwResetPeriod;
  actions.actions.clear();
  std::for_each_n(given.lpsaActions, given.cActions, [&](const SC_ACTION& action) {
    actions.actions.push_back({static_cast<std::uint32_t>(action.Type), action.Delay});
  });
  return actions;
}

}  // namespace

extern "C" {

SC_HANDLE WINAPI OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access) {
  auto describe = [&] { return fmt::format("{:#x}", access); };
  Call call("OpenSCManagerW", describe);
  if (machine != nullptr || database != nullptr) RefuseUnmodelled("OpenSCManagerW", "another machine or database");
  if (call.fault() != 0) return call.Fail(kNone);
  if (Machine().services().manager_denied()) return call.Fail(kNone, ERROR_ACCESS_DENIED);
  return call.Done(win32::ToHandle<SC_HANDLE>(Machine().handles().Add(std::make_shared<ManagerObject>())));
}

SC_HANDLE WINAPI OpenServiceW(SC_HANDLE manager, LPCWSTR name, DWORD access) {
  auto describe = [&] { return fmt::format("{}, {:#x}", Show(name), access); };
  Call call("OpenServiceW", describe);
  if (call.fault() != 0) return call.Fail(kNone);
  if (!Machine().handles().Get<ManagerObject>(Number(manager))) return call.Fail(kNone, ERROR_INVALID_HANDLE);
  bool const own = tablet::EqualIgnoringCase(name, Machine().services().name());
  bool const partner = tablet::EqualIgnoringCase(name, u"Pelt") && Machine().partner().present();
  if (!own && !partner) return call.Fail(kNone, ERROR_SERVICE_DOES_NOT_EXIST);
  return call.Done(win32::ToHandle<SC_HANDLE>(Machine().handles().Add(std::make_shared<ServiceObject>(partner))));
}

BOOL WINAPI CloseServiceHandle(SC_HANDLE handle) {
  auto describe = [&] { return ShowHandle(handle); };
  Call call("CloseServiceHandle", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  tablet::HandleTable& handles = Machine().handles();
  if (!Service(handle) && !handles.Get<ManagerObject>(Number(handle))) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  handles.Close(Number(handle));
  return call.Done(TRUE);
}

BOOL WINAPI QueryServiceStatusEx(SC_HANDLE service, SC_STATUS_TYPE level, LPBYTE buffer, DWORD size, LPDWORD needed) {
  auto describe = [&] { return fmt::format("{}, {} bytes", ShowHandle(service), size); };
  Call call("QueryServiceStatusEx", describe);
  if (level != SC_STATUS_PROCESS_INFO) RefuseUnmodelled("QueryServiceStatusEx", "an unknown level");
  if (call.fault() != 0) return call.Fail(FALSE);
  auto const object = Service(service);
  if (!object) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  *needed = sizeof(SERVICE_STATUS_PROCESS);
  if (size < sizeof(SERVICE_STATUS_PROCESS)) return call.Fail(FALSE, ERROR_INSUFFICIENT_BUFFER);
  tablet::ServiceStatus const status = StatusOf(*object);
  auto* const out = reinterpret_cast<SERVICE_STATUS_PROCESS*>(buffer);
  *out = {.dwServiceType = status.type,
          .dwCurrentState = status.state,
          .dwControlsAccepted = status.controls_accepted,
          .dwWin32ExitCode = status.exit_code,
          .dwServiceSpecificExitCode = status.specific_exit_code,
          .dwCheckPoint = status.check_point,
          .dwWaitHint = status.wait_hint,
          .dwProcessId = 0,
          .dwServiceFlags = 0};
  return call.Done(TRUE);
}

BOOL WINAPI StartServiceW(SC_HANDLE service, DWORD argumentCount, LPCWSTR* arguments) {
  auto describe = [&] { return ShowHandle(service); };
  Call call("StartServiceW", describe);
  if (argumentCount != 0 || arguments != nullptr) RefuseUnmodelled("StartServiceW", "arguments");
  if (call.fault() != 0) return call.Fail(FALSE);
  auto const object = Service(service);
  if (!object) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if (!object->partner()) RefuseUnmodelled("StartServiceW", "a service that starts itself");
  DWORD error = Machine().services().AwaitTurn("StartServiceW");
  if (error == NO_ERROR) error = Machine().partner().Start();
  return error == NO_ERROR ? call.Done(TRUE) : call.Fail(FALSE, error);
}

BOOL WINAPI ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status) {
  auto describe = [&] { return fmt::format("{}, {}", ShowHandle(service), control); };
  Call call("ControlService", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  auto const object = Service(service);
  if (!object) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if (!object->partner()) RefuseUnmodelled("ControlService", "a service that controls itself");
  DWORD error = Machine().services().AwaitTurn("ControlService");
  if (error == NO_ERROR) error = Machine().partner().Control(control);
  if (!FillsStatus(error)) return call.Fail(FALSE, error);
  tablet::ServiceStatus const now = Machine().partner().Status();
  *status = {.dwServiceType = now.type,
             .dwCurrentState = now.state,
             .dwControlsAccepted = now.controls_accepted,
             .dwWin32ExitCode = now.exit_code,
             .dwServiceSpecificExitCode = now.specific_exit_code,
             .dwCheckPoint = now.check_point,
             .dwWaitHint = now.wait_hint};
  return error == NO_ERROR ? call.Done(TRUE) : call.Fail(FALSE, error);
}

BOOL WINAPI ChangeServiceConfig2W(SC_HANDLE service, DWORD level, LPVOID info) {
  auto describe = [&] { return fmt::format("{}, level {}", ShowHandle(service), level); };
  Call call("ChangeServiceConfig2W", describe);
  if (level != SERVICE_CONFIG_FAILURE_ACTIONS) RefuseUnmodelled("ChangeServiceConfig2W", "a level other than 2");
  if (call.fault() != 0) return call.Fail(FALSE);
  auto const object = Service(service);
  if (!object) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if (object->partner()) RefuseUnmodelled("ChangeServiceConfig2W", "the partner's configuration");
  tablet::ServiceManager& services = Machine().services();
  services.SetFailureActions(Changed(services.failure_actions(), *static_cast<const SERVICE_FAILURE_ACTIONSW*>(info)));
  return call.Done(TRUE);
}
}
