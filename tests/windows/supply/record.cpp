#include <cstdio>

#include "tests/windows/supply/supply.h"

namespace supply {

namespace {

/// Wine seeks to the end before it appends: two threads would write to the same place.
SRWLOCK g_lock = SRWLOCK_INIT;

/// Opened for the first line.
HANDLE RecordFile() {
  static HANDLE const file = ::CreateFileW(kRecordFile, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  return file;
}

}  // namespace

std::string Quoted(const std::wstring& text) {
  std::string quoted = "\"";
  for (WCHAR const character : text) {
    // Anything but ASCII is escaped, surrogates one by one, so that the line is always JSON.
    if (character >= 0x20 && character < 0x7F && character != L'"' && character != L'\\') {
      quoted += static_cast<char>(character);
      continue;
    }
    char number[8] = {};
    std::snprintf(number, sizeof(number), "\\u%04x", static_cast<unsigned>(character));
    quoted += number;
  }
  return quoted + '"';
}

void Record(const std::string& members) {
  // The caller's last error must survive.
  DWORD const lastError = ::GetLastError();
  std::string const line = "{\"thread\":" + std::to_string(::GetCurrentThreadId()) + "," + members + "}\n";
  DWORD written = 0;
  ::AcquireSRWLockExclusive(&g_lock);
  ::WriteFile(RecordFile(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  ::ReleaseSRWLockExclusive(&g_lock);
  ::SetLastError(lastError);
}

}  // namespace supply
