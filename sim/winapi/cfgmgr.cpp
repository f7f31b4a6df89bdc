// The configuration manager's lists of present device interfaces. Its calls return codes of their own and leave
// the last error alone.
#include "sim/winapi/call.h"

#include <cfgmgr32.h>

#include "sim/winapi/guid.h"

namespace {

/// The links of a class, each with its terminator, then one more terminator.
std::u16string MultiStringOf(const GUID& interface_class) {
  std::u16string list;
  for (const std::u16string& link : win32::Machine().devices().Links(win32::ToGuid(interface_class))) {
    list += link;
    list += u'\0';
  }
  return list + u'\0';
}

void RefuseOtherLists(const char* call, const WCHAR* device, ULONG flags) {
  if (device != nullptr) win32::RefuseUnmodelled(call, "the interfaces of one device");
  if (flags != CM_GET_DEVICE_INTERFACE_LIST_PRESENT) {
    win32::RefuseUnmodelled(call, fmt::format("flags {:#x}; only those of present interfaces are listed", flags));
  }
}

}  // namespace

CONFIGRET WINAPI CM_Get_Device_Interface_List_SizeW(PULONG length, LPGUID interfaceClass, DEVINSTID_W device,
                                                    ULONG flags) {
  auto describe = [&] {
    return fmt::format("{}, {}", win32::ShowGuid(interfaceClass), length == nullptr ? "null" : std::to_string(*length));
  };
  win32::Call call("CM_Get_Device_Interface_List_SizeW", describe);
  RefuseOtherLists("CM_Get_Device_Interface_List_SizeW", device, flags);
  if (call.fault() != 0) return call.Done(CONFIGRET{call.fault()});
  if (length == nullptr || interfaceClass == nullptr) return call.Done(CONFIGRET{CR_INVALID_POINTER});
  *length = static_cast<ULONG>(MultiStringOf(*interfaceClass).size());
  return call.Done(CONFIGRET{CR_SUCCESS});
}

CONFIGRET WINAPI CM_Get_Device_Interface_ListW(LPGUID interfaceClass, DEVINSTID_W device, PWSTR buffer, ULONG length,
                                               ULONG flags) {
  auto describe = [&] { return fmt::format("{}, {} characters", win32::ShowGuid(interfaceClass), length); };
  win32::Call call("CM_Get_Device_Interface_ListW", describe);
  RefuseOtherLists("CM_Get_Device_Interface_ListW", device, flags);
  if (call.fault() != 0) return call.Done(CONFIGRET{call.fault()});
  if (interfaceClass == nullptr || buffer == nullptr || length == 0) return call.Done(CONFIGRET{CR_INVALID_POINTER});
  std::u16string const list = MultiStringOf(*interfaceClass);
  if (list.size() > length) {
    *buffer = 0;
    return call.Done(CONFIGRET{CR_BUFFER_SMALL});
  }
  list.copy(buffer, list.size());
  return call.Done(CONFIGRET{CR_SUCCESS});
}
