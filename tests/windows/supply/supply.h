// A cfgmgr32.dll for tests under Wine. Put beside the program under test, it supplies what Wine lacks:
// - lists of device interfaces and notifications of them, which Wine's own cfgmgr32.dll has not;
// - event tracing: it calls itself in the place of the program's imports and writes each message to a file;
// - controls that nobody can send: a user-defined control of the test's is turned into them on its way to the handler.
// The program under test is the shipped one, unchanged.
#pragma once

#include <windows.h>

#include <string>

namespace supply {

/// The key under which a test describes the control to deliver: DWORDs "Control" and "EventType", binary "EventData".
inline constexpr const WCHAR kControlKey[] = L"SOFTWARE\\VantordTest";
/// The user-defined control that is turned into the described one.
inline constexpr DWORD kDescribedControl = 255;

/// Full path of a file beside this library.
std::wstring BesideThisLibrary(const WCHAR* name);

/// Makes the program's own import of `name` lead to `function`, wherever it comes from. Returns what was there; null
/// when the program does not import it.
void* Redirect(const char* name, void* function);

void RedirectTracing();
void RedirectControls();

}  // namespace supply
