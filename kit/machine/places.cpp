#include "kit/machine/places.h"

// These need <windows.h> before them.
#include <evntrace.h>
#include <winsvc.h>

#include <sstream>

#include "kit/machine/service_control.h"

namespace kit {

namespace {

constexpr DWORD kLongestPath = 32768;

class File {
 public:
  explicit File(HANDLE handle) : handle_(handle) {}
  ~File() {
    if (valid()) ::CloseHandle(handle_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

/// The form without a limit of length.
std::wstring Unlimited(const std::wstring& path) { return L"\\\\?\\" + path; }

bool RemoveBelow(const std::wstring& folder) {
  WIN32_FIND_DATAW found = {};
  HANDLE const search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
  bool done = true;
  if (search != INVALID_HANDLE_VALUE) {
    do {
      std::wstring const name = found.cFileName;
      if (name == L"." || name == L"..") continue;
      std::wstring const path = folder + L"\\" + name;
      ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
      bool const is_folder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
      done = (is_folder ? RemoveBelow(path) : ::DeleteFileW(path.c_str()) != FALSE) && done;
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
  }
  return ::RemoveDirectoryW(folder.c_str()) && done;
}

/// True if no session of this name is left.
bool EndSession(const WCHAR* name) {
  std::vector<BYTE> memory(sizeof(EVENT_TRACE_PROPERTIES) + 2 * 1024 * sizeof(WCHAR));
  auto* const properties = reinterpret_cast<EVENT_TRACE_PROPERTIES*>(memory.data());
  properties->Wnode.BufferSize = static_cast<ULONG>(memory.size());
  properties->LoggerNameOffset = sizeof(EVENT_TRACE_PROPERTIES);
  properties->LogFileNameOffset = sizeof(EVENT_TRACE_PROPERTIES) + 1024 * sizeof(WCHAR);
  ULONG const error = ::ControlTraceW(0, name, properties, EVENT_TRACE_CONTROL_STOP);
  // A user who is no administrator could not have started one.
  return error == ERROR_SUCCESS || error == ERROR_WMI_INSTANCE_NOT_FOUND || error == ERROR_ACCESS_DENIED ||
         error == ERROR_CALL_NOT_IMPLEMENTED;
}

}  // namespace

const std::wstring& Folder() {
  static std::wstring const folder = [] {
    std::vector<WCHAR> path(kLongestPath);
    ::GetTempPathW(kLongestPath, path.data());
    std::vector<WCHAR> whole(kLongestPath);
    // The form with long names, so that the lengths of paths are those that are counted.
    DWORD const length = ::GetLongPathNameW(path.data(), whole.data(), kLongestPath);
    return std::wstring(length == 0 ? path.data() : whole.data()) + L"vantord-check";
  }();
  return folder;
}

std::wstring OwnPath() {
  std::vector<WCHAR> path(kLongestPath);
  ::GetModuleFileNameW(nullptr, path.data(), kLongestPath);
  return path.data();
}

std::string ToUtf8(const std::wstring& text) {
  auto const size = static_cast<int>(text.size());
  int const bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(bytes), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, out.data(), bytes, nullptr, nullptr);
  return out;
}

std::wstring ToWide(const std::string& text) {
  auto const size = static_cast<int>(text.size());
  int const characters = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  std::wstring out(static_cast<std::size_t>(characters), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, out.data(), characters);
  return out;
}

bool RemoveFolder(const std::wstring& folder) {
  if (::GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES) return true;
  return RemoveBelow(Unlimited(folder));
}

std::string CleanUp() {
  std::string left;
  for (const WCHAR* name : {kFirstService, kSecondService}) {
    if (!RemoveService(name)) left += "service " + ToUtf8(name) + "\n";
  }
  for (const WCHAR* name : {kFirstSession, kSecondSession}) {
    if (!EndSession(name)) left += "trace session " + ToUtf8(name) + "\n";
  }
  LSTATUS const error = ::RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
  if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) left += "key HKEY_CURRENT_USER\\" + ToUtf8(kKey) + "\n";
  if (!RemoveFolder(Folder())) left += "folder " + ToUtf8(Folder()) + "\n";
  return left;
}

std::string ReadFileText(const std::wstring& path) {
  File const file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
  std::string text;
  char part[4096];
  DWORD bytes = 0;
  while (file.valid() && ::ReadFile(file.get(), part, sizeof(part), &bytes, nullptr) && bytes > 0) {
    text.append(part, bytes);
  }
  return text;
}

bool WriteFileText(const std::wstring& path, const std::string& text) {
  File const file(
      ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  return file.valid() && ::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
         written == text.size();
}

void AppendText(const std::wstring& path, const std::string& text) {
  File const file(::CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  if (file.valid()) ::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

std::string Field(const std::string& value) {
  std::string field;
  for (char const one : value) {
    field += one == '\t' ? "\\t" : one == '\n' ? "\\n" : one == '\\' ? "\\\\" : std::string(1, one);
  }
  return field;
}

std::string FromField(const std::string& field) {
  std::string value;
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\' || i + 1 == field.size()) {
      value += field[i];
      continue;
    }
    char const next = field[++i];
    value += next == 't' ? '\t' : next == 'n' ? '\n' : next;
  }
  return value;
}

std::vector<std::string> Fields(const std::string& line, std::size_t count) {
  std::vector<std::string> fields;
  std::istringstream in(line);
  for (std::string field; std::getline(in, field, '\t');) fields.push_back(FromField(field));
  fields.resize(count);
  return fields;
}

}  // namespace kit
