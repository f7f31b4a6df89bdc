// One firmware (UEFI) variable, read or written with a bounded number of retries on device I/O errors.
#pragma once

#include <windows.h>

#include "vantord/common/handles.h"

/// Attempts of one read or write while the device returns ERROR_IO_DEVICE.
inline constexpr DWORD MAX_UEFI_IO_RETRY = 400;

/// Made on the stack for one operation. Failures are reported by the result and the thread's last error.
class CKAVRILUEFIHandler {
 public:
  /// `guid`: the vendor GUID as braced text. Both are copied; at most 259 characters of each.
  CKAVRILUEFIHandler(const WCHAR* name, const WCHAR* guid);
  CKAVRILUEFIHandler(const CKAVRILUEFIHandler&) = delete;
  CKAVRILUEFIHandler& operator=(const CKAVRILUEFIHandler&) = delete;

  /// Enables the firmware-environment privilege for the process; returns true at once while the token is open.
  [[nodiscard]] bool Ready();

  /// Reads the variable into `buffer` of `capacity` bytes; returns the bytes read, 0 on failure. Waits 15 ms after each
  /// failed attempt. A variable larger than the buffer fails with ERROR_BAD_ENVIRONMENT.
  [[nodiscard]] DWORD Read(void* buffer, DWORD capacity);

  /// Writes the 10 bytes at `data`; null fails with ERROR_INVALID_BLOCK. Does not wait between attempts.
  bool Write(const void* data);

 private:
  [[nodiscard]] bool WriteOnce(const void* data);

  TokenHandleKeepingError m_hToken;  ///< open from Ready to the end of a read or of the handler
  WCHAR m_wcsName[260] = {};
  WCHAR m_wcsGuid[260] = {};
};

/// Reads the sales code into the four bytes at `code`. The caller zeroes them, so that three letters are terminated.
[[nodiscard]] bool GetUEFISalesCode(char* code);
