#include "vantord/uefi/safi_driver.h"

#include <windows.h>

#include <setupapi.h>

#include <cstddef>
#include <cstring>
#include <initializer_list>

#include "vantord/common/handles.h"

namespace {

constexpr GUID kSafiInterfaceClass = {0xFD9FF848, 0x46D1, 0x4CE7, {0x89, 0x40, 0x6D, 0xF2, 0xF1, 0xE6, 0xEF, 0xF6}};

// Kept on purpose: the requests count as buffered, for which the method bits of the codes would be 0. The driver
// answers to these numbers, so they are not composed (SafiDriver.AsksForTheSizeTwiceAndThenReads).
constexpr DWORD IOCTL_SAFI_WRITE_VARIABLE = 0x68922002;
constexpr DWORD IOCTL_SAFI_READ_VARIABLE = 0x68922006;
constexpr DWORD IOCTL_SAFI_GET_VARIABLE_SIZE = 0x6892200A;

constexpr DWORD kDevicePathCharacters = 512;
/// Bytes of key and namespace that reach the driver, of the 520 that the request has room for.
constexpr std::size_t kCopiedBytes = 260;
constexpr WCHAR kProvisioningNamespace[kCopiedBytes / sizeof(WCHAR)] = TEXT("OEM");

#pragma pack(push, 1)
struct SafiRequestHeader {
  WCHAR VariableKey[kSafiKeyCharacters];
  WCHAR Namespace[260];
};
struct SafiReadRequest {
  SafiRequestHeader Header;
  DWORD DataSize;
};
struct SafiWriteRequest {
  SafiRequestHeader Header;
  DWORD DataSize;
  BYTE Data[kSafiWriteBytes];
  BYTE Spare;
};
struct SafiStatus {
  DWORD Pstatus;  ///< 0: done; else a Windows error code
};
struct SafiSizeReply {
  SafiStatus Status;
  DWORD DataSize;
};
#pragma pack(pop)
static_assert(sizeof(SafiRequestHeader) == 1040);
static_assert(sizeof(SafiReadRequest) == 1044 && offsetof(SafiReadRequest, DataSize) == 1040);
static_assert(sizeof(SafiWriteRequest) == 1055 && offsetof(SafiWriteRequest, Data) == 1044);
static_assert(sizeof(SafiSizeReply) == 8);
static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W) == 8);

/// A read's reply: the status, the data and one spare byte.
constexpr std::size_t ReadReplyBytes(DWORD size) { return sizeof(SafiStatus) + size + 1; }

/// Writes about a failed enumeration, when the system has a text for its error.
void ReportEnumerationFailure() {
  KeepLastError const keep;
  WCHAR* description = nullptr;
  DWORD const length =
      ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, ::GetLastError(), 0, reinterpret_cast<WCHAR*>(&description), 0, nullptr);
  if (length == 0) return;
  LocalMemoryKeepingError const text(description);
  WriteDebugger("SetupDiEnumDeviceInterfaces failed: %s\r\n");
}

/// Copies `text` into the device path; false when it had to be cut.
/// Kept on purpose: a path of 512 characters or more is no path at all; one would expect a buffer of its length
/// (SafiDriver.APathThatDoesNotEndWithin512CharactersFails).
bool CopyDevicePath(WCHAR (&path)[kDevicePathCharacters], const WCHAR* text) {
  for (DWORD i = 0; i < kDevicePathCharacters; ++i) {
    path[i] = text[i];
    if (text[i] == 0) return true;
  }
  path[kDevicePathCharacters - 1] = 0;
  return false;
}

/// Finds the path of the first interface in `deviceSet`, which it destroys.
bool SafiGetDevicePath(HDEVINFO deviceSet, WCHAR (&path)[kDevicePathCharacters]) {
  DeviceSetKeepingError const set(deviceSet);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof(data);
  if (!::SetupDiEnumDeviceInterfaces(set.get(), nullptr, &kSafiInterfaceClass, 0, &data)) {
    ReportEnumerationFailure();
    return false;
  }

  // This call fails as a rule and tells the size; a failure of another kind tells none.
  DWORD size = 0;
  ::SetupDiGetDeviceInterfaceDetailW(set.get(), &data, nullptr, 0, &size, nullptr);
  if (size < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W)) {
    WriteDebugger("Error in SetupDiGetDeviceInterfaceDetail: %s\r\n");
    return false;
  }
  LocalMemoryKeepingError const memory = AllocateLocal(size);
  auto* const detail = memory.As<SP_DEVICE_INTERFACE_DETAIL_DATA_W>();
  if (detail == nullptr) {
    WriteDebugger("Failed to allocate memory.\r\n");
    return false;
  }
  detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
  if (!::SetupDiGetDeviceInterfaceDetailW(set.get(), &data, detail, size, nullptr, nullptr)) {
    WriteDebugger("Error in SetupDiGetDeviceInterfaceDetail: %s\r\n");
    return false;
  }
  return CopyDevicePath(path, detail->DevicePath);
}

FileHandleKeepingError OpenSAFIDriver() {
  HDEVINFO const set =
      ::SetupDiGetClassDevsW(&kSafiInterfaceClass, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
  if (set == INVALID_HANDLE_VALUE) {
    WriteDebugger("SetupDiGetClassDevs failed!\r\n");
    return FileHandleKeepingError();
  }
  WCHAR path[kDevicePathCharacters] = {};
  if (!SafiGetDevicePath(set, path)) return FileHandleKeepingError();

  WriteDebugger("DeviceName = (%S)\r\n");
  FileHandleKeepingError device(::CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!device) {
    WriteDebugger("Failed to open the device, error - %d\r\n");
  } else {
    WriteDebugger("Opened the device successfully.\r\n");
  }
  return device;
}

/// Kept on purpose: key and namespace have room for 520 bytes, of which only 260 are filled; one would expect the whole
/// key to be copied (SafiDriver.OnlyTheFirst130CharactersOfTheKeyReachTheDriver).
void FillHeader(SafiRequestHeader& header, const WCHAR* key) {
  std::memcpy(header.VariableKey, key, kCopiedBytes);
  std::memcpy(header.Namespace, kProvisioningNamespace, kCopiedBytes);
}

/// Sends one request and waits for its reply. False with the reply's status, or with the last error of the call that
/// failed, as the last error.
/// Kept on purpose: every request opens a driver handle of its own and closes it; one would expect one handle for all
/// requests of a read (SafiDriver.EveryRequestOpensTheDriverAndClosesIt).
bool SendRequest(DWORD code, void* request, DWORD requestBytes, SafiStatus* reply, DWORD replyBytes) {
  // Kept on purpose: a failed I/O control that has not reached the driver leaves last error 1, not its own, so even
  // ERROR_IO_DEVICE from there is not tried again (SafiDriver.AFailedRequestLeavesLastErrorOne).
  reply->Pstatus = 1;
  FileHandleKeepingError const driver = OpenSAFIDriver();
  if (!driver) {
    WriteDebugger("Error :OpenSAFIDriver\n");
    return false;
  }
  DWORD returned = 0;
  bool const sent =
      ::DeviceIoControl(driver.get(), code, request, requestBytes, reply, replyBytes, &returned, nullptr) != FALSE;
  if (!sent) {
    if (code == IOCTL_SAFI_GET_VARIABLE_SIZE) {
      WriteDebugger("Error : IOCTL call failed read size\n");
    } else {
      WriteDebugger("Error : IOCTL call failed\n");
    }
  }
  if (reply->Pstatus != 0) {
    WriteDebugger("Error : Provisiong process failed: IoctlStatus->Pstatus: %d\n");
    ::SetLastError(reply->Pstatus);
    return false;
  }
  return sent;
}

void ReportNoMemory() { WriteDebugger("Error : Invalid memory for input payload. Provisioning will not continue\n"); }

/// The size of a variable in bytes, 0 on failure.
DWORD SafiGetVariableSize(const WCHAR* key) {
  LocalMemoryKeepingError const requestMemory = AllocateLocal(sizeof(SafiRequestHeader));
  LocalMemoryKeepingError const replyMemory = AllocateLocal(sizeof(SafiSizeReply));
  auto* const request = requestMemory.As<SafiRequestHeader>();
  auto* const reply = replyMemory.As<SafiSizeReply>();
  if (request == nullptr || reply == nullptr) {
    ReportNoMemory();
    return 0;
  }
  FillHeader(*request, key);
  if (!SendRequest(IOCTL_SAFI_GET_VARIABLE_SIZE, request, sizeof(*request), &reply->Status, sizeof(*reply))) return 0;
  return reply->DataSize;
}

bool SafiReadVariable(const WCHAR* key, void* buffer, DWORD size) {
  DWORD const replyBytes = static_cast<DWORD>(ReadReplyBytes(size));
  LocalMemoryKeepingError const requestMemory = AllocateLocal(sizeof(SafiReadRequest));
  LocalMemoryKeepingError const replyMemory = AllocateLocal(replyBytes);
  auto* const request = requestMemory.As<SafiReadRequest>();
  auto* const reply = replyMemory.As<BYTE>();
  if (request == nullptr || reply == nullptr) {
    ReportNoMemory();
    return false;
  }
  FillHeader(request->Header, key);
  request->DataSize = size;
  if (!SendRequest(IOCTL_SAFI_READ_VARIABLE, request, sizeof(*request), replyMemory.As<SafiStatus>(), replyBytes)) {
    return false;
  }
  std::memcpy(buffer, reply + sizeof(SafiStatus), size);
  return true;
}

}  // namespace

SafiKey::SafiKey(const WCHAR* name, const WCHAR* guid) : m_buffer(AllocateLocal(kSafiKeyCharacters * sizeof(WCHAR))) {
  auto* const key = m_buffer.As<WCHAR>();
  if (key == nullptr) return;
  DWORD length = 0;
  for (const WCHAR* part : {guid, name}) {
    for (; *part != 0 && length + 1 < kSafiKeyCharacters; ++part) key[length++] = *part;
  }
}

void WriteDebugger(const char* text) {
  // The call takes pairs of bytes for characters, so the bytes need its alignment and two zero bytes behind the last
  // whole pair.
  WCHAR pairs[64] = {};
  std::size_t const bytes = std::strlen(text);
  std::memcpy(pairs, text, bytes < sizeof(pairs) - sizeof(WCHAR) ? bytes : sizeof(pairs) - sizeof(WCHAR));
  KeepLastError const keep;
  ::OutputDebugStringW(pairs);
}

DWORD SafiGetVariable(const WCHAR* name, const WCHAR* guid, void* buffer, DWORD capacity) {
  if (name == nullptr || guid == nullptr || buffer == nullptr || capacity == 0) {
    ::SetLastError(ERROR_INVALID_BLOCK);
    return 0;
  }
  SafiKey const key(name, guid);
  if (key.text() == nullptr) return 0;
  DWORD const size = SafiGetVariableSize(key.text());
  if (size > capacity) {
    ::SetLastError(ERROR_BAD_ENVIRONMENT);
    return 0;
  }
  if (size == 0) return 0;
  // Kept on purpose: the size is asked for twice, where one would expect the first answer to do
  // (SafiDriver.TwoDifferentSizesFail).
  if (SafiGetVariableSize(key.text()) != size) {
    ::SetLastError(ERROR_INVALID_BLOCK);
    return 0;
  }
  return SafiReadVariable(key.text(), buffer, size) ? size : 0;
}

bool SafiWriteVariable(const WCHAR* key, const void* data) {
  if (key == nullptr || data == nullptr) {
    ::SetLastError(ERROR_INVALID_BLOCK);
    return false;
  }
  LocalMemoryKeepingError const requestMemory = AllocateLocal(sizeof(SafiWriteRequest));
  LocalMemoryKeepingError const replyMemory = AllocateLocal(sizeof(SafiStatus));
  auto* const request = requestMemory.As<SafiWriteRequest>();
  auto* const reply = replyMemory.As<SafiStatus>();
  if (request == nullptr || reply == nullptr) {
    ReportNoMemory();
    return false;
  }
  FillHeader(request->Header, key);
  // Kept on purpose: always ten bytes and one spare byte, however short the value (SafiDriver.AWriteIsAlwaysTenBytes).
  request->DataSize = kSafiWriteBytes;
  std::memcpy(request->Data, data, kSafiWriteBytes);
  return SendRequest(IOCTL_SAFI_WRITE_VARIABLE, request, sizeof(*request), reply, sizeof(*reply));
}
