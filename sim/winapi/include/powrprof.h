// Power-setting notifications.
#pragma once

#ifndef VANTORD_WINDOWS_H
#error "include <windows.h> first, as for Windows' own header"
#endif

extern "C" {
DWORD WINAPI PowerSettingRegisterNotification(LPCGUID setting, DWORD flags, HANDLE recipient,
                                              PHPOWERNOTIFY registration);
DWORD WINAPI PowerSettingUnregisterNotification(HPOWERNOTIFY registration);
}
