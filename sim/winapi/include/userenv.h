// Environment blocks of users.
#pragma once

#ifndef VANTORD_WINDOWS_H
#error "include <windows.h> first, as for Windows' own header"
#endif

extern "C" {
BOOL WINAPI CreateEnvironmentBlock(LPVOID* environment, HANDLE token, BOOL inherit);
BOOL WINAPI DestroyEnvironmentBlock(LPVOID environment);
}
