// A cfgmgr32.dll for tests under Wine, placed beside the unchanged program under test. It supplies what Wine lacks:
// - lists and notifications of device interfaces;
// - event tracing: it redirects the program's imports and records each message;
// - each status, as the service manager shows it right after the report;
// - controls that cannot be sent: it turns the tests' user-defined control into the described one.
#pragma once

#include <windows.h>

#include <string>

namespace supply {

/// The key under which a test describes the control to deliver: DWORDs "Control" and "EventType", binary "EventData".
inline constexpr const WCHAR kControlKey[] = L"SOFTWARE\\VantordTest";
/// The user-defined control that becomes the described one.
inline constexpr DWORD kDescribedControl = 255;

/// The service under test.
inline constexpr const WCHAR kServiceName[] = L"Vantord";

/// The record: one JSON object a line, in order of time. Any thread may add lines.
inline constexpr const WCHAR kRecordFile[] = L"C:\\vantord-test\\record.jsonl";

/// Adds a line to the record. `members` follow the member "thread", the id of the calling thread.
void Record(const std::string& members);

/// A text as a JSON string, quotes included.
std::string Quoted(const std::wstring& text);

/// Redirects the program's import of `name`, from any library, to `function`. Returns the previous address, or null if
/// the program does not import it.
void* Redirect(const char* name, void* function);

void RedirectTracing();
/// For Wine on ARM64 only.
void RedirectArguments();
void RedirectControls();
void RedirectStatus();

}  // namespace supply
