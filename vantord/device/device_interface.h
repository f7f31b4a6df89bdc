// Finds the first present device interface of a class and opens it.
#pragma once

#include <windows.h>

class DeviceInterfaceFunc {
 public:
  /// `interfaceClass` must outlive the object.
  explicit DeviceInterfaceFunc(const GUID* interfaceClass);
  /// Runs with the modem object's destruction.
  virtual ~DeviceInterfaceFunc() = default;
  DeviceInterfaceFunc(const DeviceInterfaceFunc&) = delete;
  DeviceInterfaceFunc& operator=(const DeviceInterfaceFunc&) = delete;

  /// Up to 40 attempts, 500 ms apart. Returns INVALID_HANDLE_VALUE if all fail. The caller owns the handle.
  [[nodiscard]] HANDLE Open();

 private:
  int GetDevicePathInternal();
  [[nodiscard]] HANDLE OpenDeviceHandle();

  /// Characters of storage for the path. The copy into it is limited to 520.
  static constexpr DWORD kDevicePathCharacters = 520;

  const GUID* m_pInterfaceClass;                     ///< not owned
  WCHAR m_szDevicePath[kDevicePathCharacters] = {};  ///< empty: not found yet
  HANDLE m_hDevice = INVALID_HANDLE_VALUE;
  BOOL m_bSynchronous = FALSE;
};
