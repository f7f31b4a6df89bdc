// Names and places of Vantord, as its own sources and its package have them; tests/windows/kit.py compares.
#pragma once

#include <windows.h>

#include <string>

namespace kit {

inline constexpr const WCHAR* kVantord = L"Vantord";
inline constexpr const WCHAR* kVantordKey = L"SYSTEM\\CurrentControlSet\\Services\\Vantord";
inline constexpr const WCHAR* kModemClass =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e96d-e325-11ce-bfc1-08002be10318}";
inline constexpr const WCHAR* kProgram = L"\\Vantord.exe";  ///< in the system folder
inline constexpr const WCHAR* kArchives = L"\\modem_core";  ///< in the system folder, as the next two
inline constexpr const WCHAR* kDumps = L"\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps";
inline constexpr const WCHAR* kToast = L"\\..\\ToastGenerator";
inline constexpr const WCHAR* kPartner = L"Pelt";
inline constexpr const WCHAR* kSetupKey = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Setup\\State";
inline constexpr const WCHAR* kSetupValue = L"ImageState";
inline constexpr const WCHAR* kSetupDone = L"IMAGE_STATE_COMPLETE";
/// In the kit's folder.
inline constexpr const WCHAR* kPackage = L"\\vantord\\standalone\\vantord.inf";

/// C:\Windows\System32
inline std::wstring SystemFolder() {
  WCHAR path[MAX_PATH] = {};
  ::GetSystemDirectoryW(path, MAX_PATH);
  return path;
}

}  // namespace kit
