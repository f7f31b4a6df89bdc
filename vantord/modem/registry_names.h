// Registry keys and values of the modem's start-up, relative to HKEY_LOCAL_MACHINE.
#pragma once

#include <windows.h>

inline constexpr WCHAR kServiceKey[] = TEXT("SYSTEM\\CurrentControlSet\\Services\\Vantord");
inline constexpr WCHAR kParametersKey[] = TEXT("SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters");

/// REG_DWORD under the parameters: 1 requests one deployment, whatever the driver's paths are.
inline constexpr WCHAR kDistributeValue[] = TEXT("Distribute");
/// REG_SZ under the service's key: this device's modem image ID, set by the device image.
inline constexpr WCHAR kModemImageIdValue[] = TEXT("ModemImageID");
