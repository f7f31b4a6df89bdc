#include "kit/run/restore.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <sstream>

#include "kit/machine/places.h"
#include "kit/machine/service_control.h"
#include "kit/run/vantord_facts.h"

namespace kit {

namespace {

constexpr const WCHAR* kJournal = L"run-journal.txt";
constexpr DWORD kLongestName = 16384;
constexpr DWORD kLongestData = 1 << 20;

std::wstring JournalPath() { return Folder() + L"\\" + kJournal; }

std::string Hex(const BYTE* bytes, DWORD count) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (DWORD i = 0; i < count; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

std::vector<BYTE> Bytes(const std::string& hex) {
  std::vector<BYTE> bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<BYTE>(std::strtoul(hex.substr(i, 2).c_str(), nullptr, 16)));
  }
  return bytes;
}

void AddValues(const std::wstring& path, std::vector<std::string>& lines) {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  std::vector<WCHAR> name(kLongestName);
  std::vector<BYTE> data(kLongestData);
  for (DWORD index = 0;; ++index) {
    DWORD length = kLongestName;
    DWORD bytes = kLongestData;
    DWORD type = 0;
    if (::RegEnumValueW(key, index, name.data(), &length, nullptr, &type, data.data(), &bytes) != ERROR_SUCCESS) break;
    lines.push_back(Field(ToUtf8(path)) + "\t" + Field(ToUtf8(std::wstring(name.data(), length))) + "\t" +
                    std::to_string(type) + "\t" + Hex(data.data(), bytes));
  }
  for (DWORD index = 0;; ++index) {
    DWORD length = kLongestName;
    if (::RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    AddValues(path + L"\\" + name.data(), lines);
  }
  ::RegCloseKey(key);
}

void AddFiles(const std::wstring& folder, std::vector<std::string>& lines) {
  WIN32_FIND_DATAW found = {};
  HANDLE const search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return;
  do {
    std::wstring const name = found.cFileName;
    bool const is_folder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (is_folder) continue;
    unsigned long long const size = static_cast<unsigned long long>(found.nFileSizeHigh) << 32 | found.nFileSizeLow;
    lines.push_back(Field(ToUtf8(folder + L"\\" + name)) + "\t" + std::to_string(size) + "\t" +
                    std::to_string(found.dwFileAttributes));
  } while (::FindNextFileW(search, &found));
  ::FindClose(search);
}

/// The values of the key of modems alone: those of the service go with it.
std::vector<std::string> ModemValues() {
  std::vector<std::string> lines;
  AddValues(kModemClass, lines);
  std::ranges::sort(lines);
  return lines;
}

void PutValue(const std::string& line) {
  std::vector<std::string> const fields = Fields(line, 4);
  std::vector<BYTE> const data = Bytes(fields[3]);
  HKEY key = nullptr;
  if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, ToWide(fields[0]).c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key,
                        nullptr) != ERROR_SUCCESS) {
    return;
  }
  ::RegSetValueExW(key, ToWide(fields[1]).c_str(), 0, std::strtoul(fields[2].c_str(), nullptr, 10), data.data(),
                   static_cast<DWORD>(data.size()));
  ::RegCloseKey(key);
}

void DeleteValue(const std::string& line) {
  std::vector<std::string> const fields = Fields(line, 4);
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, ToWide(fields[0]).c_str(), 0, KEY_SET_VALUE, &key) != ERROR_SUCCESS) return;
  ::RegDeleteValueW(key, ToWide(fields[1]).c_str());
  ::RegCloseKey(key);
}

/// A process that has just ended may still hold its program.
bool RemoveProgram(const std::wstring& program) {
  constexpr int kTries = 30;
  for (int i = 0; i < kTries; ++i) {
    ::SetFileAttributesW(program.c_str(), FILE_ATTRIBUTE_NORMAL);
    if (::DeleteFileW(program.c_str()) || ::GetLastError() == ERROR_FILE_NOT_FOUND) return true;
    ::Sleep(100);
  }
  return false;
}

/// Whether the service manager knows the service, or something is left of it.
bool IsInstalled() {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kVantordKey, 0, KEY_READ, &key) == ERROR_SUCCESS) {
    ::RegCloseKey(key);
    return true;
  }
  ScHandle const manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  ScHandle const service(::OpenServiceW(manager, kVantord, SERVICE_QUERY_STATUS));
  return service != nullptr;
}

}  // namespace

std::vector<std::string> RunValues() {
  std::vector<std::string> lines = ModemValues();
  AddValues(kVantordKey, lines);
  std::ranges::sort(lines);
  return lines;
}

std::vector<std::string> RunFiles() {
  std::vector<std::string> lines;
  for (const std::wstring& folder : {SystemFolder(), SystemFolder() + kArchives, SystemFolder() + kDumps}) {
    AddFiles(folder, lines);
  }
  std::ranges::sort(lines);
  return lines;
}

std::string WhyNoRun() {
  if (ScHandle(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE)) == nullptr) {
    return "--run needs an administrator: start it from an elevated prompt";
  }
  if (IsInstalled()) return "Vantord is installed here: --run is for a test device without it";
  for (const WCHAR* name : {kProgram, kArchives, kDumps, kToast}) {
    std::wstring const path = SystemFolder() + name;
    if (::GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) continue;
    return ToUtf8(path) + " exists: Vantord would deploy firmware or move dumps here, which --run cannot undo";
  }
  WCHAR state[64] = {};
  DWORD bytes = sizeof(state) - sizeof(WCHAR);
  bool const known =
      ::RegGetValueW(HKEY_LOCAL_MACHINE, kSetupKey, kSetupValue, RRF_RT_REG_SZ, nullptr, state, &bytes) == 0;
  if (known && std::wstring(state) != kSetupDone) {
    return "Windows is not set up: Vantord would write firmware variables here, which --run cannot undo";
  }
  return {};
}

bool BeginRun() {
  std::string text;
  for (const std::string& line : ModemValues()) text += line + "\n";
  return WriteFileText(JournalPath(), text);
}

std::string UndoRun() {
  if (::GetFileAttributesW(JournalPath().c_str()) == INVALID_FILE_ATTRIBUTES) return {};
  std::string left;
  if (!EndAndDeleteService(kVantord)) left += "service Vantord\n";
  std::wstring const program = SystemFolder() + kProgram;
  if (!RemoveProgram(program)) left += ToUtf8(program) + "\n";
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kVantordKey);

  std::set<std::string> before;
  std::istringstream journal(ReadFileText(JournalPath()));
  for (std::string line; std::getline(journal, line);) before.insert(line);
  for (const std::string& line : ModemValues()) {
    if (!before.contains(line)) DeleteValue(line);
  }
  std::vector<std::string> const now = ModemValues();
  for (const std::string& line : before) {
    if (!std::ranges::binary_search(now, line)) PutValue(line);
  }
  std::vector<std::string> const restored = ModemValues();
  if (!std::ranges::equal(restored, before)) left += "values of HKEY_LOCAL_MACHINE\\" + ToUtf8(kModemClass) + "\n";
  if (left.empty()) ::DeleteFileW(JournalPath().c_str());
  return left;
}

}  // namespace kit
