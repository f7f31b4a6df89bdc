// What processes there are and what they run.
#pragma once

#ifndef VANTORD_WINDOWS_H
#error "include <windows.h> first, as for Windows' own header"
#endif

extern "C" {
/// Stores as many process ids as fit; `bytesStored` counts bytes. A full array may not be the whole list.
BOOL WINAPI K32EnumProcesses(DWORD* ids, DWORD bytes, LPDWORD bytesStored);
/// Stores as many modules as fit, the executable's own first; `bytesNeeded` is what all of them take.
BOOL WINAPI K32EnumProcessModules(HANDLE process, HMODULE* modules, DWORD bytes, LPDWORD bytesNeeded);
/// The length of the name, 0 for a failure. A longer name is cut.
DWORD WINAPI K32GetModuleBaseNameW(HANDLE process, HMODULE module, LPWSTR name, DWORD characters);
}
