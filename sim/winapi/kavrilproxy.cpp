// The radio interface layer's proxy library, as the service imports it.
#include <windows.h>

#include "sim/winapi/call.h"
// The declarations that the service is compiled with: the two cannot drift apart.
#include "vantord/radio/kavrilproxy.h"

using win32::Call;
using win32::Machine;
using win32::Number;
using win32::RefuseUnmodelled;
using win32::Show;
using win32::ShowHandle;

namespace {

constexpr HRESULT kOk = 0;
constexpr HRESULT kFalse = 1;
constexpr HRESULT kFailed = static_cast<HRESULT>(0x80004005);
constexpr HRESULT kBadHandle = static_cast<HRESULT>(0x80070006);

/// A fault's number as a result; an error code of Windows becomes a failure, as HRESULT_FROM_WIN32 makes one. S_FALSE
/// stays what it is.
HRESULT FromFault(DWORD fault) {
  if (fault == static_cast<DWORD>(kFalse)) return kFalse;
  return static_cast<HRESULT>((fault & 0x80000000u) != 0 ? fault : 0x80070000u | (fault & 0xFFFFu));
}

/// Whether the call does nothing but return the fault; one that returns S_FALSE does its work.
bool Fails(DWORD fault) { return FromFault(fault) < 0; }

/// What a call returns that did its work.
HRESULT Success(DWORD fault) { return fault == 0 ? kOk : FromFault(fault); }

}  // namespace

extern "C" {

HRESULT WINAPI RIL_Initialize(DWORD port, RILRESULTCALLBACK onResult, RILNOTIFYCALLBACK onNotify,
                              DWORD* notificationClasses, DWORD reserved, void* context, const WCHAR* clientName,
                              HRIL* handle) {
  auto describe = [&] { return fmt::format("{}, classes={:#x}, {}", port, *notificationClasses, Show(clientName)); };
  Call call("RIL_Initialize", describe);
  if (port != 1 || reserved != 0) RefuseUnmodelled("RIL_Initialize", "a port other than 1 or a reserved argument");
  if (call.fault() != 0 && Fails(call.fault())) return call.Done(FromFault(call.fault()));
  tablet::RadioProxy::Client client;
  client.on_result = [=](bool withContext) {
    tablet::InsideProduct const inside;
    onResult(0, 0, 0, 0, 0, withContext ? context : nullptr);
  };
  client.on_notify = [=](bool withContext) {
    tablet::InsideProduct const inside;
    onNotify(0, 0, 0, 0, withContext ? context : nullptr);
  };
  tablet::HandleValue connection = 0;
  if (!Machine().radio().Connect(std::move(client), connection)) return call.Done(kFailed);
  *handle = win32::ToHandle(connection);
  return call.Done(Success(call.fault()));
}

HRESULT WINAPI RIL_Release(HRIL handle) {
  auto describe = [&] { return ShowHandle(handle); };
  Call call("RIL_Release", describe);
  if (call.fault() != 0 && Fails(call.fault())) return call.Done(FromFault(call.fault()));
  return call.Done(Machine().radio().Release(Number(handle)) ? Success(call.fault()) : kBadHandle);
}

HRESULT WINAPI RIL_RadioCommand(HRIL handle, void* reserved, DWORD value) {
  auto describe = [&] { return fmt::format("{}, {}", ShowHandle(handle), value); };
  Call call("RIL_RadioCommand", describe);
  if (reserved != nullptr) RefuseUnmodelled("RIL_RadioCommand", "a second argument other than null");
  if (call.fault() != 0 && Fails(call.fault())) return call.Done(FromFault(call.fault()));
  return call.Done(Machine().radio().Command(Number(handle), value) ? Success(call.fault()) : kBadHandle);
}
}
