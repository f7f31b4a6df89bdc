#include "vantord/uefi/safi_driver.h"

#include <windows.h>

#include <setupapi.h>

#include <cstddef>
#include <cstring>
#include <initializer_list>

#include "vantord/common/handles.h"

namespace {

constexpr GUID kSafiInterfaceClass = {0xFD9FF848, 0x46D1, 0x4CE7, {0x89, 0x40, 0x6D, 0xF2, 0xF1, 0xE6, 0xEF, 0xF6}};

// Deliberate: The codes are the driver's numbers, not composed: their method bits are not those of buffered requests.
// Expected: CTL_CODE with METHOD_BUFFERED.
// Test: SafiDriver.AsksForTheSizeTwiceAndThenReads
constexpr DWORD IOCTL_SAFI_WRITE_VARIABLE = 0x68922002;
constexpr DWORD IOCTL_SAFI_READ_VARIABLE = 0x68922006;
constexpr DWORD IOCTL_SAFI_GET_VARIABLE_SIZE = 0x6892200A;

constexpr DWORD kDevicePathCharacters = 512;
/// Bytes of key and namespace that are copied, of the 520 in the request.
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

/// Reports a failed enumeration if the system has a text for its error.
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

/// Copies `text` into the device path; returns false if it was cut.
/// Deliberate: A device path of 512 characters or more is a failure. Expected: a buffer of the path's length.
/// Test: SafiDriver.APathThatDoesNotEndWithin512CharactersFails
bool CopyDevicePath(WCHAR (&path)[kDevicePathCharacters], const WCHAR* text) {
  for (DWORD i = 0; i < kDevicePathCharacters; ++i) {
    path[i] = text[i];
    if (text[i] == 0) return true;
  }
  path[kDevicePathCharacters - 1] = 0;
  return false;
}

/// Finds the path of the first interface in `deviceSet`, and destroys the set.
bool SafiGetDevicePath(HDEVINFO deviceSet, WCHAR (&path)[kDevicePathCharacters]) {
  DeviceSetKeepingError const set(deviceSet);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof(data);
  if (!::SetupDiEnumDeviceInterfaces(set.get(), nullptr, &kSafiInterfaceClass, 0, &data)) {
    ReportEnumerationFailure();
    return false;
  }

  // This call fails as documented and returns the size; after another failure the size stays 0.
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

/// Deliberate: Only 260 of the 520 bytes of key and namespace are copied. Expected: the whole key.
/// Test: SafiDriver.OnlyTheFirst130CharactersOfTheKeyReachTheDriver
void FillHeader(SafiRequestHeader& header, const WCHAR* key) {
  std::memcpy(header.VariableKey, key, kCopiedBytes);
  std::memcpy(header.Namespace, kProvisioningNamespace, kCopiedBytes);
}

/// Sends one request and waits for its reply. On failure the last error is the reply's status, or that of the failed
/// call.
/// Deliberate: Every request opens the driver and closes it again. Expected: one handle for all requests of a read.
/// Test: SafiDriver.EveryRequestOpensTheDriverAndClosesIt
bool SendRequest(DWORD code, void* request, DWORD requestBytes, SafiStatus* reply, DWORD replyBytes) {
  // Deliberate: A request that did not reach the driver sets the last error to 1, so not even ERROR_IO_DEVICE is
  // retried. Expected: the error of the I/O control.
  // Test: SafiDriver.AFailedRequestLeavesLastErrorOne
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
  // The call reads pairs of bytes as characters, so the text needs their alignment and two zero bytes at its end.
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
  // Deliberate: The size is read twice, and two different sizes are a failure. Expected: one read.
  // Test: SafiDriver.TwoDifferentSizesFail
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
  // Deliberate: A write always sends ten bytes and a spare one, however short the value. Expected: the value's length.
  // Test: SafiDriver.AWriteIsAlwaysTenBytes
  request->DataSize = kSafiWriteBytes;
  std::memcpy(request->Data, data, kSafiWriteBytes);
  return SendRequest(IOCTL_SAFI_WRITE_VARIABLE, request, sizeof(*request), reply, sizeof(*reply));
}
