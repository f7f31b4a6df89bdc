// Windows' file calls, each one call of the host, linked in place of the simulated tablet's. The difference is the
// tablet's cost. Paths are relative to the folder of drive C: and case-sensitive; attributes, sharing, journal and
// faults are not modelled.
#include <windows.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

#include "sim/tablet/machine/tablet.h"

namespace {

[[noreturn]] void Refuse(const char* call) {
  std::fprintf(stderr, "%s is not among the plain file calls\n", call);
  std::abort();
}

HANDLE ToHandle(int file) { return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(file) + 1); }
int FromHandle(HANDLE handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1); }

/// "c:\a\b" as a path of the host. The drive's folder is the current directory.
std::array<char, 1024> HostPath(LPCWSTR path) {
  std::array<char, 1024> out{};
  std::size_t length = 0;
  if (path[0] != 0 && path[1] == u':') path += 2;
  while (*path == u'\\' || *path == u'/') ++path;
  for (; *path != 0 && length + 1 < out.size(); ++path) out[length++] = *path == u'\\' ? '/' : static_cast<char>(*path);
  if (length == 0) out[0] = '.';
  return out;
}

timespec ToTimespec(const FILETIME* time) {
  std::uint64_t const ticks = static_cast<std::uint64_t>(time->dwHighDateTime) << 32 | time->dwLowDateTime;
  std::uint64_t const since = ticks - tablet::kUnixEpoch;
  return {.tv_sec = static_cast<time_t>(since / tablet::kTicksPerSecond),
          .tv_nsec = static_cast<long>(since % tablet::kTicksPerSecond * 100)};
}

}  // namespace

HANDLE WINAPI CreateFileW(LPCWSTR fileName, DWORD access, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
  int const flags = access == GENERIC_READ ? O_RDONLY : O_RDWR | O_CREAT | O_TRUNC;
  int const file = ::open(HostPath(fileName).data(), flags | O_CLOEXEC, 0666);
  return file < 0 ? INVALID_HANDLE_VALUE : ToHandle(file);
}

BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD bytesToRead, LPDWORD bytesRead, LPOVERLAPPED) {
  ssize_t const count = ::read(FromHandle(file), buffer, bytesToRead);
  *bytesRead = count < 0 ? 0 : static_cast<DWORD>(count);
  return count >= 0;
}

BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD bytesToWrite, LPDWORD bytesWritten, LPOVERLAPPED) {
  ssize_t const count = ::write(FromHandle(file), buffer, bytesToWrite);
  *bytesWritten = count < 0 ? 0 : static_cast<DWORD>(count);
  return count == static_cast<ssize_t>(bytesToWrite);
}

DWORD WINAPI SetFilePointer(HANDLE file, LONG distance, PLONG, DWORD method) {
  off_t const offset = method == FILE_BEGIN ? static_cast<off_t>(static_cast<DWORD>(distance)) : distance;
  return static_cast<DWORD>(::lseek(FromHandle(file), offset, static_cast<int>(method)));
}

BOOL WINAPI SetFileTime(HANDLE file, const FILETIME*, const FILETIME* access, const FILETIME* write) {
  timespec const times[] = {ToTimespec(access), ToTimespec(write)};
  return ::futimens(FromHandle(file), times) == 0;
}

DWORD WINAPI GetFileAttributesW(LPCWSTR fileName) {
  struct stat status;
  if (::stat(HostPath(fileName).data(), &status) != 0) return INVALID_FILE_ATTRIBUTES;
  return S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
}

BOOL WINAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES) { return ::mkdir(HostPath(path).data(), 0777) == 0; }

DWORD WINAPI GetCurrentDirectoryW(DWORD, LPWSTR buffer) {
  buffer[0] = u'\\';
  buffer[1] = 0;
  return 1;
}

BOOL WINAPI CloseHandle(HANDLE object) { return ::close(FromHandle(object)) == 0; }

BOOL WINAPI SetFileAttributesW(LPCWSTR, DWORD) { Refuse("SetFileAttributesW"); }
BOOL WINAPI MoveFileExW(LPCWSTR, LPCWSTR, DWORD) { Refuse("MoveFileExW"); }
