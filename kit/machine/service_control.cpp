#include "kit/machine/service_control.h"

#include <vector>

#include "kit/machine/places.h"

namespace kit {

namespace {

constexpr DWORD kStopMilliseconds = 8000;
constexpr DWORD kQueryMilliseconds = 10;

/// "...\vantord-check.exe": the last part of a path.
std::wstring FileName(const std::wstring& path) { return path.substr(path.find_last_of(L'\\') + 1); }

/// Whether the service's command line names a program of this one's file name.
bool IsOurs(SC_HANDLE service) {
  DWORD bytes = 0;
  ::QueryServiceConfigW(service, nullptr, 0, &bytes);
  std::vector<BYTE> memory(bytes + sizeof(QUERY_SERVICE_CONFIGW));
  auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(memory.data());
  if (!::QueryServiceConfigW(service, config, static_cast<DWORD>(memory.size()), &bytes)) return false;
  return std::wstring(config->lpBinaryPathName).find(FileName(OwnPath())) != std::wstring::npos;
}

bool Remove(const WCHAR* name, bool oursOnly) {
  ScHandle const manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  if (manager == nullptr) return true;
  ScHandle const service(::OpenServiceW(manager, name, SERVICE_ALL_ACCESS));
  if (service == nullptr) return ::GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST;
  if (oursOnly && !IsOurs(service)) return false;
  EndService(service);
  bool const deleted = ::DeleteService(service) || ::GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE;
  // It cannot be started any more. A start that was under way may have come after the first look.
  EndService(service);
  return deleted;
}

}  // namespace

DWORD InstallService(const WCHAR* name) {
  ScHandle const manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
  if (manager == nullptr) return ::GetLastError();
  std::wstring const command = L"\"" + OwnPath() + L"\" --as-service " + name + L" \"" + Folder() + L"\"";
  ScHandle const service(::CreateServiceW(manager, name, name, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                                          SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE, command.c_str(), nullptr, nullptr,
                                          nullptr, nullptr, nullptr));
  return service == nullptr ? ::GetLastError() : 0;
}

bool RemoveService(const WCHAR* name) { return Remove(name, true); }
bool EndAndDeleteService(const WCHAR* name) { return Remove(name, false); }

SERVICE_STATUS_PROCESS QueryService(SC_HANDLE service) {
  SERVICE_STATUS_PROCESS status = {};
  DWORD needed = 0;
  ::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof(status), &needed);
  return status;
}

void EndService(SC_HANDLE service) {
  SERVICE_STATUS_PROCESS status = QueryService(service);
  // At first a service that starts has no process.
  for (ULONGLONG const end = ::GetTickCount64() + kStopMilliseconds;
       status.dwCurrentState == SERVICE_START_PENDING && status.dwProcessId == 0 && ::GetTickCount64() < end;) {
    ::Sleep(kQueryMilliseconds);
    status = QueryService(service);
  }
  if (status.dwCurrentState == SERVICE_STOPPED) return;
  HANDLE const process = ::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, status.dwProcessId);
  if (process == nullptr) return;
  SERVICE_STATUS answer = {};
  if (status.dwCurrentState != SERVICE_STOP_PENDING) ::ControlService(service, SERVICE_CONTROL_STOP, &answer);
  for (ULONGLONG const end = ::GetTickCount64() + kStopMilliseconds; ::GetTickCount64() < end;) {
    bool const stopped = QueryService(service).dwCurrentState == SERVICE_STOPPED;
    if (::WaitForSingleObject(process, kQueryMilliseconds) == WAIT_OBJECT_0 || stopped) break;
  }
  if (QueryService(service).dwCurrentState != SERVICE_STOPPED) ::TerminateProcess(process, 1);
  ::WaitForSingleObject(process, kStopMilliseconds);
  ::CloseHandle(process);
}

bool AwaitState(SC_HANDLE service, DWORD state, DWORD milliseconds) {
  ULONGLONG const end = ::GetTickCount64() + milliseconds;
  while (QueryService(service).dwCurrentState != state) {
    if (::GetTickCount64() > end) return false;
    ::Sleep(kQueryMilliseconds);
  }
  return true;
}

}  // namespace kit
