// Notifications of power settings: mingw-w64 10 has them in the import library of powrprof.dll, but no such header.
#pragma once
#pragma GCC system_header

extern "C" {
DWORD WINAPI PowerSettingRegisterNotification(LPCGUID setting, DWORD flags, HANDLE recipient,
                                              PHPOWERNOTIFY notification);
DWORD WINAPI PowerSettingUnregisterNotification(HPOWERNOTIFY notification);
}
