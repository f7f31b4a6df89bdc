#include "kit/machine/facts.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "kit/machine/places.h"

namespace kit {

namespace {

constexpr const WCHAR* kVersionKey = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

/// A routine of a library that is loaded; null if it has none of that name.
template <typename Routine>
Routine Find(const WCHAR* library, const char* name) {
  HMODULE const module = ::GetModuleHandleW(library);
  if (module == nullptr) return nullptr;
  return reinterpret_cast<Routine>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

/// The version itself: GetVersionEx gives an older one to programs without a manifest.
OSVERSIONINFOW Version() {
  OSVERSIONINFOW version = {};
  version.dwOSVersionInfoSize = sizeof(version);
  if (auto* const get = Find<LONG(WINAPI*)(OSVERSIONINFOW*)>(L"ntdll.dll", "RtlGetVersion")) get(&version);
  return version;
}

std::string WineVersion() {
  auto* const get = Find<const char*(__cdecl*)()>(L"ntdll.dll", "wine_get_version");
  if (get == nullptr) return "";
  std::string const version = get();
  return version.substr(0, version.find(' '));
}

std::string MachineType(USHORT machine) {
  switch (machine) {
    case IMAGE_FILE_MACHINE_AMD64:
      return "x64";
    case 0xAA64:  // IMAGE_FILE_MACHINE_ARM64
      return "arm64";
    case IMAGE_FILE_MACHINE_I386:
      return "x86";
    default:
      return std::to_string(machine);
  }
}

/// The machine that this program was compiled for.
std::string ProcessArchitecture() {
  auto const* const base = reinterpret_cast<const BYTE*>(::GetModuleHandleW(nullptr));
  auto const* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  return MachineType(reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew)->FileHeader.Machine);
}

std::string NativeArchitecture() {
  using IsWow64Process2 = BOOL(WINAPI*)(HANDLE, USHORT*, USHORT*);
  USHORT process = 0;
  USHORT native = 0;
  auto* const get = Find<IsWow64Process2>(L"kernel32.dll", "IsWow64Process2");
  return get != nullptr && get(::GetCurrentProcess(), &process, &native) ? MachineType(native) : ProcessArchitecture();
}

/// A number or a text of HKEY_LOCAL_MACHINE; "unknown" if it cannot be read.
std::string MachineValue(const WCHAR* key, const WCHAR* name) {
  WCHAR data[128] = {};
  DWORD type = 0;
  DWORD bytes = sizeof(data) - sizeof(WCHAR);
  if (::RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ | RRF_RT_REG_DWORD, &type, data, &bytes) != 0) {
    return "unknown";
  }
  if (type == REG_SZ) return ToUtf8(data);
  DWORD number = 0;
  std::copy_n(reinterpret_cast<const BYTE*>(data), sizeof(number), reinterpret_cast<BYTE*>(&number));
  return std::to_string(number);
}

/// The bits of SystemCodeIntegrityInformation.
std::string CodeIntegrity() {
  struct Information {
    ULONG length;
    ULONG options;
  } information = {sizeof(Information), 0};
  constexpr int kSystemCodeIntegrityInformation = 103;
  using Query = LONG(WINAPI*)(int, void*, ULONG, ULONG*);
  auto* const query = Find<Query>(L"ntdll.dll", "NtQuerySystemInformation");
  ULONG bytes = 0;
  if (query == nullptr || query(kSystemCodeIntegrityInformation, &information, sizeof(information), &bytes) != 0) {
    return "unknown";
  }
  char text[16] = {};
  std::snprintf(text, sizeof(text), "0x%lx", static_cast<unsigned long>(information.options));
  return text;
}

std::string FileSystemOfFolder() {
  WCHAR name[MAX_PATH] = {};
  std::wstring const root = Folder().substr(0, 3);
  bool const known = ::GetVolumeInformationW(root.c_str(), nullptr, 0, nullptr, nullptr, nullptr, name, MAX_PATH);
  return known ? ToUtf8(name) : "unknown";
}

bool IsElevated() {
  HANDLE token = nullptr;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token)) return false;
  TOKEN_ELEVATION elevation = {};
  DWORD bytes = 0;
  bool const known = ::GetTokenInformation(token, TokenElevation, &elevation, sizeof(elevation), &bytes);
  ::CloseHandle(token);
  return known && elevation.TokenIsElevated != 0;
}

void HideVariable(Redaction& redaction, const WCHAR* variable, const char* replacement) {
  WCHAR value[1024] = {};
  if (::GetEnvironmentVariableW(variable, value, 1024) == 0) return;
  redaction.Hide(ToUtf8(value), replacement);
}

}  // namespace

std::string MachineName() {
  OSVERSIONINFOW const version = Version();
  std::string const wine = WineVersion();
  std::string const number = std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
                             "." + std::to_string(version.dwBuildNumber);
  return (wine.empty() ? "windows-" + number : "wine-" + wine) + "-" + NativeArchitecture();
}

std::vector<Fact> MachineFacts() {
  OSVERSIONINFOW const version = Version();
  return {
      {"version", std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion)},
      {"build", std::to_string(version.dwBuildNumber)},
      {"update", MachineValue(kVersionKey, L"UBR")},
      {"edition", MachineValue(kVersionKey, L"EditionID")},
      {"wine", WineVersion()},
      {"architecture", NativeArchitecture()},
      {"process_architecture", ProcessArchitecture()},
      {"code_page", std::to_string(::GetACP())},
      {"oem_code_page", std::to_string(::GetOEMCP())},
      {"elevated", IsElevated() ? "yes" : "no"},
      {"file_system", FileSystemOfFolder()},
      {"short_names", MachineValue(L"SYSTEM\\CurrentControlSet\\Control\\FileSystem", L"NtfsDisable8dot3NameCreation")},
      {"long_paths", MachineValue(L"SYSTEM\\CurrentControlSet\\Control\\FileSystem", L"LongPathsEnabled")},
      {"secure_boot", MachineValue(L"SYSTEM\\CurrentControlSet\\Control\\SecureBoot\\State", L"UEFISecureBootEnabled")},
      {"code_integrity", CodeIntegrity()},
  };
}

Redaction MachineRedaction() {
  Redaction redaction;
  redaction.Hide(ToUtf8(Folder()), "<folder>");
  HideVariable(redaction, L"TEMP", "<temp>");
  HideVariable(redaction, L"TMP", "<temp>");
  HideVariable(redaction, L"USERPROFILE", "<profile>");
  HideVariable(redaction, L"USERNAME", "<user>");
  // Of a computer without a domain both are the same.
  HideVariable(redaction, L"COMPUTERNAME", "<computer>");
  HideVariable(redaction, L"USERDOMAIN", "<domain>");
  std::wstring const own = OwnPath();
  std::wstring const place = own.substr(0, own.find_last_of(L'\\'));
  if (place.size() > 3) redaction.Hide(ToUtf8(place), "<kit>");
  WCHAR name[1024] = {};
  DWORD length = 1024;
  if (::GetUserNameW(name, &length)) redaction.Hide(ToUtf8(name), "<user>");
  for (COMPUTER_NAME_FORMAT const format :
       {ComputerNameNetBIOS, ComputerNameDnsHostname, ComputerNameDnsDomain, ComputerNameDnsFullyQualified}) {
    length = 1024;
    if (::GetComputerNameExW(format, name, &length)) redaction.Hide(ToUtf8(name), "<computer>");
  }
  return redaction;
}

std::string Today() {
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  char text[32] = {};
  std::snprintf(text, sizeof(text), "%04u-%02u-%02u", now.wYear, now.wMonth, now.wDay);
  return text;
}

}  // namespace kit
