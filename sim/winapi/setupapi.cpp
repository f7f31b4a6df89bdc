// Device-interface enumeration: a set of the present interfaces of one class, its members, their paths.
#include "sim/winapi/call.h"

#include <setupapi.h>

#include <cstddef>
#include <cstring>

#include "sim/winapi/guid.h"

namespace {

/// The size field of a record is not the one this call takes.
constexpr DWORD kInvalidUserBuffer = 1784;
constexpr DWORD kActive = 1;

/// The interfaces that were present when the set was made. A handle of the machine's table, though no CloseHandle ends
/// it on Windows.
class DeviceSet : public tablet::Object {
 public:
  DeviceSet(tablet::Guid guid, std::vector<std::u16string> links) : interface_class(guid), links(std::move(links)) {}
  std::string_view kind() const override { return "device set"; }

  tablet::Guid const interface_class;
  std::vector<std::u16string> const links;
};

std::shared_ptr<DeviceSet> SetOf(HDEVINFO set) { return win32::Machine().handles().Get<DeviceSet>(win32::Number(set)); }

}  // namespace

HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, LPCWSTR enumerator, HWND parent, DWORD flags) {
  auto describe = [&] { return fmt::format("{}, {:#x}", win32::ShowGuid(classGuid), flags); };
  win32::Call call("SetupDiGetClassDevsW", describe);
  if (enumerator != nullptr || parent != nullptr) {
    win32::RefuseUnmodelled("SetupDiGetClassDevsW", "an enumerator or a window");
  }
  if (flags != (DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {
    win32::RefuseUnmodelled("SetupDiGetClassDevsW", fmt::format("flags {:#x}", flags));
  }
  if (call.fault() != 0) return call.Fail(HDEVINFO{INVALID_HANDLE_VALUE});
  if (classGuid == nullptr) return call.Fail(HDEVINFO{INVALID_HANDLE_VALUE}, ERROR_INVALID_PARAMETER);
  tablet::Tablet& machine = win32::Machine();
  tablet::Guid const guid = win32::ToGuid(*classGuid);
  auto set = std::make_shared<DeviceSet>(guid, machine.devices().Links(guid));
  return call.Done(win32::ToHandle<HDEVINFO>(machine.handles().Add(std::move(set))));
}

BOOL WINAPI SetupDiEnumDeviceInterfaces(HDEVINFO set, PSP_DEVINFO_DATA device, const GUID* interfaceClass, DWORD index,
                                        PSP_DEVICE_INTERFACE_DATA data) {
  auto describe = [&] { return fmt::format("{}, {}", win32::ShowHandle(set), index); };
  win32::Call call("SetupDiEnumDeviceInterfaces", describe);
  if (device != nullptr) win32::RefuseUnmodelled("SetupDiEnumDeviceInterfaces", "the interfaces of one device");
  if (call.fault() != 0) return call.Fail(FALSE);
  std::shared_ptr<DeviceSet> const found = SetOf(set);
  if (found == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if (interfaceClass == nullptr || data == nullptr) return call.Fail(FALSE, ERROR_INVALID_PARAMETER);
  if (data->cbSize != sizeof(SP_DEVICE_INTERFACE_DATA)) return call.Fail(FALSE, kInvalidUserBuffer);
  if (index >= found->links.size() || win32::ToGuid(*interfaceClass) != found->interface_class) {
    return call.Fail(FALSE, ERROR_NO_MORE_ITEMS);
  }
  data->InterfaceClassGuid = *interfaceClass;
  data->Flags = kActive;
  // Private to these calls: the member's number, from 1, so that a zeroed record names none.
  data->Reserved = ULONG_PTR{index} + 1;
  return call.Done(TRUE);
}

BOOL WINAPI SetupDiGetDeviceInterfaceDetailW(HDEVINFO set, PSP_DEVICE_INTERFACE_DATA data,
                                             PSP_DEVICE_INTERFACE_DETAIL_DATA_W detail, DWORD detailSize,
                                             PDWORD requiredSize, PSP_DEVINFO_DATA device) {
  auto describe = [&] { return fmt::format("{}, {} bytes", win32::ShowHandle(set), detailSize); };
  win32::Call call("SetupDiGetDeviceInterfaceDetailW", describe);
  if (device != nullptr) win32::RefuseUnmodelled("SetupDiGetDeviceInterfaceDetailW", "the device of an interface");
  if (call.fault() != 0) return call.Fail(FALSE);
  std::shared_ptr<DeviceSet> const found = SetOf(set);
  if (found == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if (data == nullptr) return call.Fail(FALSE, ERROR_INVALID_PARAMETER);
  bool const bad_detail = detail == nullptr ? detailSize != 0 : detail->cbSize != sizeof(*detail);
  if (data->cbSize != sizeof(SP_DEVICE_INTERFACE_DATA) || bad_detail) return call.Fail(FALSE, kInvalidUserBuffer);
  if (data->Reserved == 0 || data->Reserved > found->links.size()) return call.Fail(FALSE, ERROR_INVALID_PARAMETER);

  const std::u16string& link = found->links[data->Reserved - 1];
  std::size_t const path_bytes = (link.size() + 1) * sizeof(WCHAR);
  auto const required = static_cast<DWORD>(offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath) + path_bytes);
  if (requiredSize != nullptr) *requiredSize = required;
  if (detailSize < required) return call.Fail(FALSE, ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(reinterpret_cast<BYTE*>(detail) + offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath), link.c_str(),
              path_bytes);
  return call.Done(TRUE);
}

BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set) {
  auto describe = [&] { return win32::ShowHandle(set); };
  win32::Call call("SetupDiDestroyDeviceInfoList", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (SetOf(set) == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  win32::Machine().handles().Close(win32::Number(set));
  return call.Done(TRUE);
}
