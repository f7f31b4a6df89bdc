// The kit's own services, as their client sees them.
#pragma once

#include <windows.h>

// Needs <windows.h> before it.
#include <winsvc.h>

#include <string>

namespace kit {

/// Closes a handle of the service manager.
class ScHandle {
 public:
  explicit ScHandle(SC_HANDLE handle) : handle_(handle) {}
  ~ScHandle() {
    if (handle_ != nullptr) ::CloseServiceHandle(handle_);
  }
  ScHandle(const ScHandle&) = delete;
  ScHandle& operator=(const ScHandle&) = delete;
  operator SC_HANDLE() const { return handle_; }

 private:
  SC_HANDLE handle_;
};

/// Installs a service that starts on demand and runs this program. 0, or the error.
DWORD InstallService(const WCHAR* name);
/// Stops and removes a service that runs a program of this one's file name; one that runs another program is left.
/// True if none of that name is left.
bool RemoveService(const WCHAR* name);

/// The same for any service.
bool EndAndDeleteService(const WCHAR* name);

/// Stops a service; one that does not stop is ended with its process. Bounded in time.
void EndService(SC_HANDLE service);

/// The status of a service; all zero if it cannot be queried.
SERVICE_STATUS_PROCESS QueryService(SC_HANDLE service);
/// Waits for a state. False after `milliseconds`.
bool AwaitState(SC_HANDLE service, DWORD state, DWORD milliseconds);

}  // namespace kit
