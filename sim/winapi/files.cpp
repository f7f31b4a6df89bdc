// Files and folders of drive C:, and closing any handle. Devices are opened here too; requests to them are in
// devices.cpp.
#include <windows.h>

#include <algorithm>
#include <span>

#include "sim/tablet/drive/drive_path.h"
#include "sim/winapi/call.h"
#include "sim/winapi/paths.h"

namespace win32 {

namespace {

constexpr DWORD kModelledAccess = GENERIC_READ | GENERIC_WRITE | GENERIC_ALL;
constexpr DWORD kModelledShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
/// Every attribute that may be given at creation; the directory bit is dropped, as Windows does.
constexpr DWORD kModelledAttributes = 0x1 | 0x2 | 0x4 | 0x10 | 0x20 | 0x80 | 0x100 | 0x1000 | 0x2000;
/// What a server may do with the caller's identity: nothing that a local file or driver looks at.
constexpr DWORD kSecurityOfService = 0x001F0000;

/// Stops the run for what CreateFileW takes on Windows and does not here.
void RefuseUnmodelledOpen(DWORD access, DWORD share, const void* security, DWORD flags, HANDLE template_file) {
  if (security != nullptr) RefuseUnmodelled("CreateFileW", "security attributes");
  if (template_file != nullptr) RefuseUnmodelled("CreateFileW", "a template file");
  if ((access & ~kModelledAccess) != 0) RefuseUnmodelled("CreateFileW", fmt::format("desired access {:#x}", access));
  if ((share & ~kModelledShare) != 0) RefuseUnmodelled("CreateFileW", fmt::format("share mode {:#x}", share));
  if ((flags & ~(kModelledAttributes | kSecurityOfService | FILE_FLAG_OVERLAPPED)) != 0) {
    RefuseUnmodelled("CreateFileW", fmt::format("flags {:#x}", flags));
  }
}

DWORD OpenDevice(LPCWSTR path, DWORD disposition, HANDLE& out) {
  if (disposition != OPEN_EXISTING) {
    RefuseUnmodelled("CreateFileW", fmt::format("a device opened with disposition {}", disposition));
  }
  std::shared_ptr<tablet::DeviceFile> device;
  if (DWORD const error = Machine().devices().Open(path, device)) return error;
  out = ToHandle(Machine().handles().Add(std::move(device)));
  return NO_ERROR;
}

DWORD OpenOnDrive(LPCWSTR path, const tablet::OpenRequest& request, HANDLE& out, bool& existed) {
  std::u16string_view const target = DrivePathOf("CreateFileW", path);
  // An empty name is not a file, whatever the access.
  if (target.empty()) return ERROR_PATH_NOT_FOUND;
  if ((request.flags_and_attributes & FILE_FLAG_OVERLAPPED) != 0) {
    RefuseUnmodelled("CreateFileW", "overlapped reading and writing of files");
  }
  if (tablet::NamesDosDevice(target)) {
    RefuseUnmodelled("CreateFileW", fmt::format("the device name {}", Show(path)));
  }
  if (request.disposition < CREATE_NEW || request.disposition > TRUNCATE_EXISTING) return ERROR_INVALID_PARAMETER;
  if (request.disposition == TRUNCATE_EXISTING && (request.access & GENERIC_WRITE) == 0) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<tablet::OpenFile> file;
  if (DWORD const error = Machine().drive().Open(target, request, file, existed)) return error;
  out = ToHandle(Machine().handles().Add(std::move(file)));
  return NO_ERROR;
}

/// Stops the run for a valid handle that is not a file on drive C:.
[[gnu::noinline]] void RefuseDevice(const char* call, HANDLE handle) {
  auto const object = Machine().handles().Find(Number(handle));
  if (object != nullptr && object->kind() == "device") RefuseUnmodelled(call, "a device's handle");
}

/// The open file of a handle; null if the handle is not a file's. It stays open until the call yields, which it does at
/// its beginning only.
inline tablet::OpenFile* FileBehind(const char* call, HANDLE handle) {
  tablet::OpenFile* const file = Machine().handles().FindFile(Number(handle));
  if (file == nullptr) [[unlikely]]
    RefuseDevice(call, handle);
  return file;
}

[[gnu::noinline]] void RefuseUnmodelledTransfer(const char* call, const void* buffer, DWORD bytes, const void* done,
                                                const void* overlapped) {
  if (overlapped != nullptr) RefuseUnmodelled(call, "overlapped operation");
  if (done == nullptr) RefuseUnmodelled(call, "no place for the number of bytes; Windows would fault");
  if (buffer == nullptr && bytes != 0) RefuseUnmodelled(call, "a null buffer");
}

/// ReadFile of one byte, where nothing but the byte comes of it: by far the most frequent call, as the fields of an
/// archive's headers are read so. False, with nothing done, where there is more to it.
bool ReadByteQuietly(HANDLE file, LPVOID buffer) {
  tablet::OutsideProduct const outside;
  tablet::Tablet& machine = Machine();
  if (machine.journal().wants_calls() || !machine.faults().AsksNothing()) return false;
  if (!machine.scheduler().IsNextUneventful()) return false;
  tablet::OpenFile* const open = machine.handles().FindFile(Number(file));
  if (open == nullptr || !open->TakeByte(*static_cast<std::uint8_t*>(buffer))) return false;
  machine.scheduler().CountCall();
  return true;
}

}  // namespace

}  // namespace win32

using namespace win32;

HANDLE WINAPI CreateFileW(LPCWSTR fileName, DWORD access, DWORD shareMode, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile) {
  auto const describe = [&] {
    return fmt::format("{}, {:#x}, {:#x}, {}, {:#x}", Show(fileName), access, shareMode, disposition,
                       flagsAndAttributes);
  };
  Call call("CreateFileW", describe, fileName);
  if (call.fault() != 0) return call.Fail(INVALID_HANDLE_VALUE);
  RefuseUnmodelledOpen(access, shareMode, security, flagsAndAttributes, templateFile);
  HANDLE handle = INVALID_HANDLE_VALUE;
  bool existed = false;
  DWORD error = NO_ERROR;
  if (IsDevicePath(fileName)) {
    error = OpenDevice(fileName, disposition, handle);
  } else {
    error = OpenOnDrive(fileName, {access, shareMode, disposition, flagsAndAttributes}, handle, existed);
  }
  if (error != NO_ERROR) return call.Fail(INVALID_HANDLE_VALUE, error);
  // The last error of these two says whether the file existed; the others leave it unchanged.
  if (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS) {
    Machine().scheduler().last_error() = existed ? ERROR_ALREADY_EXISTS : NO_ERROR;
  }
  return call.Done(handle);
}

namespace win32 {
namespace {

[[gnu::noinline]] BOOL ReadPiece(HANDLE file, LPVOID buffer, DWORD bytesToRead, LPDWORD bytesRead,
                                 LPOVERLAPPED overlapped) {
  auto const describe = [&] {
    return fmt::format("{}, {} -> {}", ShowHandle(file), bytesToRead, bytesRead == nullptr ? 0 : *bytesRead);
  };
  Call call("ReadFile", describe);
  if (buffer == nullptr || bytesRead == nullptr || overlapped != nullptr) {
    RefuseUnmodelledTransfer("ReadFile", buffer, bytesToRead, bytesRead, overlapped);
  }
  *bytesRead = 0;
  if (call.fault() != 0) return call.Fail(FALSE);
  auto* const open = FileBehind("ReadFile", file);
  if (open == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  std::uint32_t read = 0;
  DWORD const error = open->Read({static_cast<std::uint8_t*>(buffer), bytesToRead}, read);
  if (error != NO_ERROR) return call.Fail(FALSE, error);
  *bytesRead = read;
  return call.Done(TRUE);
}

}  // namespace
}  // namespace win32

BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD bytesToRead, LPDWORD bytesRead, LPOVERLAPPED overlapped) {
  bool const plain = bytesToRead == 1 && buffer != nullptr && bytesRead != nullptr && overlapped == nullptr;
  if (!plain || !ReadByteQuietly(file, buffer)) return ReadPiece(file, buffer, bytesToRead, bytesRead, overlapped);
  *bytesRead = 1;
  return TRUE;
}

BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD bytesToWrite, LPDWORD bytesWritten, LPOVERLAPPED overlapped) {
  auto const describe = [&] {
    return fmt::format("{}, {} -> {}", ShowHandle(file), bytesToWrite, bytesWritten == nullptr ? 0 : *bytesWritten);
  };
  Call call("WriteFile", describe);
  if (buffer == nullptr || bytesWritten == nullptr || overlapped != nullptr) {
    RefuseUnmodelledTransfer("WriteFile", buffer, bytesToWrite, bytesWritten, overlapped);
  }
  *bytesWritten = 0;
  if (call.fault() != 0) return call.Fail(FALSE);
  auto* const open = FileBehind("WriteFile", file);
  if (open == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  std::uint32_t written = 0;
  DWORD const error = open->Write({static_cast<const std::uint8_t*>(buffer), bytesToWrite}, written);
  *bytesWritten = written;
  if (error != NO_ERROR) return call.Fail(FALSE, error);
  return call.Done(TRUE);
}

DWORD WINAPI SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD method) {
  auto const describe = [&] { return fmt::format("{}, {}, {}", ShowHandle(file), distance, method); };
  Call call("SetFilePointer", describe);
  if (call.fault() != 0) return call.Fail(INVALID_SET_FILE_POINTER);
  auto* const open = FileBehind("SetFilePointer", file);
  if (open == nullptr) return call.Fail(INVALID_SET_FILE_POINTER, ERROR_INVALID_HANDLE);
  // Without a high half the low one is signed, and the new position must fit into 32 bits.
  std::int64_t offset = distance;
  if (distanceHigh != nullptr) {
    offset = static_cast<std::int64_t>(static_cast<std::uint64_t>(*distanceHigh) << 32 | static_cast<DWORD>(distance));
  }
  std::uint64_t const before = open->position();
  std::uint64_t position = 0;
  DWORD error = open->Seek(offset, method, position);
  if (error == NO_ERROR && distanceHigh == nullptr && position > UINT32_MAX) {
    open->Seek(static_cast<std::int64_t>(before), FILE_BEGIN, position);
    error = ERROR_INVALID_PARAMETER;
  }
  if (error != NO_ERROR) return call.Fail(INVALID_SET_FILE_POINTER, error);
  if (distanceHigh != nullptr) *distanceHigh = static_cast<LONG>(position >> 32);
  DWORD const low = static_cast<DWORD>(position);
  // The last error distinguishes a position from the failure value.
  if (low == INVALID_SET_FILE_POINTER) Machine().scheduler().last_error() = NO_ERROR;
  return call.Done(low);
}

DWORD WINAPI GetFileAttributesW(LPCWSTR fileName) {
  auto const describe = [&] { return Show(fileName); };
  Call call("GetFileAttributesW", describe, fileName);
  if (call.fault() != 0) return call.Fail(INVALID_FILE_ATTRIBUTES);
  std::uint32_t attributes = 0;
  DWORD const error = Machine().drive().Attributes(DrivePathOf("GetFileAttributesW", fileName), attributes);
  if (error != NO_ERROR) return call.Fail(INVALID_FILE_ATTRIBUTES, error);
  return call.Done(DWORD{attributes});
}

BOOL WINAPI SetFileAttributesW(LPCWSTR fileName, DWORD attributes) {
  auto const describe = [&] { return fmt::format("{}, {:#x}", Show(fileName), attributes); };
  Call call("SetFileAttributesW", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  DWORD const error = Machine().drive().SetAttributes(DrivePathOf("SetFileAttributesW", fileName), attributes);
  if (error != NO_ERROR) return call.Fail(FALSE, error);
  return call.Done(TRUE);
}

BOOL WINAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES security) {
  auto const describe = [&] { return Show(path); };
  Call call("CreateDirectoryW", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (security != nullptr) RefuseUnmodelled("CreateDirectoryW", "security attributes");
  DWORD const error = Machine().drive().MakeDirectory(DrivePathOf("CreateDirectoryW", path));
  if (error != NO_ERROR) return call.Fail(FALSE, error);
  return call.Done(TRUE);
}

BOOL WINAPI MoveFileExW(LPCWSTR existing, LPCWSTR target, DWORD flags) {
  auto const describe = [&] { return fmt::format("{}, {}, {:#x}", Show(existing), Show(target), flags); };
  Call call("MoveFileExW", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (flags != 0) RefuseUnmodelled("MoveFileExW", fmt::format("flags {:#x}", flags));
  std::u16string_view const from = DrivePathOf("MoveFileExW", existing);
  std::u16string_view const to = DrivePathOf("MoveFileExW", target);
  std::uint32_t attributes = 0;
  if (Machine().drive().Attributes(from, attributes) == NO_ERROR && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    RefuseUnmodelled("MoveFileExW", fmt::format("the folder {}", Show(existing)));
  }
  DWORD const error = Machine().drive().Move(from, to);
  if (error != NO_ERROR) return call.Fail(FALSE, error);
  return call.Done(TRUE);
}

DWORD WINAPI GetCurrentDirectoryW(DWORD bufferLength, LPWSTR buffer) {
  auto const describe = [&] { return fmt::format("{}", bufferLength); };
  Call call("GetCurrentDirectoryW", describe);
  if (call.fault() != 0) return call.Fail(DWORD{0});
  const std::u16string& directory = Machine().drive().current_directory();
  DWORD const length = static_cast<DWORD>(directory.size());
  // A buffer that is too small is not an error: the result is then the size needed, with the terminator.
  if (bufferLength <= length) return call.Done(length + 1);
  if (buffer == nullptr) RefuseUnmodelled("GetCurrentDirectoryW", "a null buffer with a length");
  std::copy_n(directory.c_str(), length + 1, buffer);
  return call.Done(length);
}

BOOL WINAPI CloseHandle(HANDLE object) {
  auto const describe = [&] { return ShowHandle(object); };
  Call call("CloseHandle", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  // The handle of the process itself is not in the handle table; closing it has no effect.
  if (object == ::GetCurrentProcess()) return call.Done(TRUE);
  auto const found = Machine().handles().Find(Number(object));
  // A search is not a kernel object: only FindClose closes it.
  if (found == nullptr || found->kind() == "search") return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  Machine().handles().Close(Number(object));
  return call.Done(TRUE);
}
