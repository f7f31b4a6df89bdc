// Replaces the notification program in tests: it records how it was started, as one JSON object in
// C:\vantord-test\toast.json, and exits.
#include <windows.h>

#include <string>

#include "tests/windows/programs/note.h"

namespace {

/// The tests look at ASCII only; any other character becomes "?".
std::string Plain(const WCHAR* text) {
  std::string plain;
  for (; *text != 0; ++text) {
    bool const isPlain = *text >= 0x20 && *text < 0x7F && *text != L'"';
    if (*text == L'\\') plain += '\\';
    plain += isPlain ? static_cast<char>(*text) : '?';
  }
  return plain;
}

}  // namespace

extern "C" int wmain() {
  DWORD session = ~0ul;
  ::ProcessIdToSessionId(::GetCurrentProcessId(), &session);
  WCHAR path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::string const line = "{\"program\": \"" + Plain(path) + "\", \"command_line\": \"" + Plain(::GetCommandLineW()) +
                           "\", \"session\": " + std::to_string(session) + "}";
  return Note("C:\\vantord-test\\toast.json", line.c_str()) ? 0 : 1;
}
