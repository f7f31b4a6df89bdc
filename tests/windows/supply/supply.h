// A cfgmgr32.dll for tests under Wine. Put beside the program under test, it supplies what Wine lacks:
// - lists of device interfaces and notifications of them, which Wine's own cfgmgr32.dll has not;
// - event tracing: it calls itself in the place of the program's imports and records each message;
// - each status report, as the service manager shows it at once afterwards;
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

/// The service under test.
inline constexpr const WCHAR kServiceName[] = L"Vantord";

/// The record: one JSON object a line, in the order of what happened. Lines are whole whichever threads write them.
inline constexpr const WCHAR kRecordFile[] = L"C:\\vantord-test\\record.jsonl";

/// Adds a line to the record; `members` are the object's members after "thread", the number of the calling thread.
void Record(const std::string& members);

/// A text as a JSON string, quotes included.
std::string Quoted(const std::wstring& text);

/// Makes the program's own import of `name` lead to `function`, wherever it comes from. Returns what was there; null
/// when the program does not import it.
void* Redirect(const char* name, void* function);

void RedirectTracing();
/// For Wine on ARM64 alone.
void RedirectArguments();
void RedirectControls();
void RedirectStatus();

}  // namespace supply
