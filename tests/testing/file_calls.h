// Short forms of the file calls for tests, with everything that a test does not care about left at the product's usual
// values.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace testing_support {

/// A handle that is closed at the end, through the Windows API.
class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() { Close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  operator HANDLE() const { return handle_; }
  bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }
  void Close() {
    if (valid()) ::CloseHandle(handle_);
    handle_ = INVALID_HANDLE_VALUE;
  }

 private:
  HANDLE handle_;
};

inline HANDLE OpenForReading(const WCHAR* path, DWORD share = FILE_SHARE_READ) {
  return ::CreateFileW(path, GENERIC_READ, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

inline HANDLE CreateAlways(const WCHAR* path, DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  return ::CreateFileW(path, GENERIC_ALL, 0, nullptr, CREATE_ALWAYS, attributes, nullptr);
}

/// Reads at most `bytes` at the current position.
inline std::string ReadText(HANDLE file, DWORD bytes) {
  std::string text(bytes, '\0');
  DWORD read = 0;
  if (!::ReadFile(file, text.data(), bytes, &read, nullptr)) return "read failed";
  text.resize(read);
  return text;
}

inline bool WriteText(HANDLE file, std::string_view text) {
  DWORD written = 0;
  BOOL const done = ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  return done && written == text.size();
}

}  // namespace testing_support
