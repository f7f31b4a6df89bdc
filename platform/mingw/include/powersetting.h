// mingw-w64 has no header of this name; its powrprof import library has the calls. Declared as Microsoft documents
// them. On the include path of mingw-w64 builds only.
#pragma once

#include <windows.h>

extern "C" {
DWORD WINAPI PowerSettingRegisterNotification(LPCGUID setting, DWORD flags, HANDLE recipient,
                                              PHPOWERNOTIFY registration);
DWORD WINAPI PowerSettingUnregisterNotification(HPOWERNOTIFY registration);
}
