// What tests put in the place of the program that tells the user of a crash: it leaves a note of how it was started, as
// one JSON object in C:\vantord-test\toast.json, and ends.
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

/// The parts of a command line and of a variable that a test looks at are plain ASCII; anything else becomes a "?".
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
  std::FILE* const note = std::fopen("C:\\vantord-test\\toast.json", "ab");
  if (note == nullptr) return 1;
  std::fprintf(note, "{\"program\": \"%s\", \"command_line\": \"%s\", \"session\": %lu}\n", Plain(path).c_str(),
               Plain(::GetCommandLineW()).c_str(), session);
  return std::fclose(note) == 0 ? 0 : 1;
}
