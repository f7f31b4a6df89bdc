// Tokens: the process's own with its privileges, and those of other processes.
#include <windows.h>

#include <memory>

#include "sim/winapi/call.h"

using win32::Call;
using win32::Machine;
using win32::RefuseUnmodelled;

// Cannot fail and touches nothing: neither a hand-over nor a line in the journal.
HANDLE GetCurrentProcess() { return win32::ToHandle(~tablet::HandleValue{0}); }

BOOL OpenProcessToken(HANDLE process, DWORD access, PHANDLE token) {
  auto describe = [&] { return fmt::format("{}, {:#x}", win32::ShowHandle(process), access); };
  Call call("OpenProcessToken", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (process != GetCurrentProcess()) {
    auto const other = Machine().handles().Get<tablet::ProcessAccess>(win32::Number(process));
    if (other == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
    if (other->process->token_error != 0) return call.Fail(FALSE, other->process->token_error);
    auto opened = std::make_shared<tablet::ProcessToken>(other->process, access, false);
    *token = win32::ToHandle(Machine().handles().Add(std::move(opened)));
    return call.Done(TRUE);
  }
  *token = win32::ToHandle(
      Machine().handles().Add(std::make_shared<tablet::TokenAccess>(Machine().scheduler().current_process(), access)));
  return call.Done(TRUE);
}

BOOL DuplicateTokenEx(HANDLE token, DWORD access, LPSECURITY_ATTRIBUTES security, SECURITY_IMPERSONATION_LEVEL level,
                      TOKEN_TYPE type, PHANDLE duplicate) {
  auto describe = [&] {
    return fmt::format("{}, {:#x}, level {}, type {}", win32::ShowHandle(token), access, static_cast<int>(level),
                       static_cast<int>(type));
  };
  Call call("DuplicateTokenEx", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (security != nullptr) RefuseUnmodelled("DuplicateTokenEx", "security attributes");
  if (type != TokenPrimary || access != TOKEN_ALL_ACCESS) {
    RefuseUnmodelled("DuplicateTokenEx",
                     fmt::format("a token of type {} with access {:#x}", static_cast<int>(type), access));
  }
  auto const source = Machine().handles().Get<tablet::ProcessToken>(win32::Number(token));
  if (source == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if ((source->access & TOKEN_DUPLICATE) == 0) return call.Fail(FALSE, ERROR_ACCESS_DENIED);
  if (source->process->duplicate_error != 0) {
    if (source->process->duplicate_clears) *duplicate = nullptr;
    return call.Fail(FALSE, source->process->duplicate_error);
  }
  *duplicate =
      win32::ToHandle(Machine().handles().Add(std::make_shared<tablet::ProcessToken>(source->process, access, true)));
  return call.Done(TRUE);
}

BOOL LookupPrivilegeValueW(LPCWSTR system, LPCWSTR name, PLUID luid) {
  auto describe = [&] { return win32::Show(name); };
  Call call("LookupPrivilegeValueW", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  if (system != nullptr) RefuseUnmodelled("LookupPrivilegeValueW", "another system");
  if (name == nullptr || luid == nullptr) RefuseUnmodelled("LookupPrivilegeValueW", "a null name or result");
  auto const number = tablet::Privileges::Number(name);
  if (!number) return call.Fail(FALSE, ERROR_NO_SUCH_PRIVILEGE);
  *luid = LUID{*number, 0};
  return call.Done(TRUE);
}

BOOL AdjustTokenPrivileges(HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES newState, DWORD bufferLength,
                           PTOKEN_PRIVILEGES previousState, PDWORD returnLength) {
  auto describe = [&] { return win32::ShowHandle(token); };
  Call call("AdjustTokenPrivileges", describe);
  if (call.fault() != 0) return call.Fail(FALSE);
  // Without a previous state the buffer's length is not looked at.
  if (disableAll != FALSE || newState == nullptr || previousState != nullptr || returnLength != nullptr) {
    RefuseUnmodelled("AdjustTokenPrivileges",
                     fmt::format("disabling all, no new state, or a previous state of {} bytes", bufferLength));
  }
  auto const access = Machine().handles().Get<tablet::TokenAccess>(win32::Number(token));
  if (Machine().handles().Get<tablet::ProcessToken>(win32::Number(token)) != nullptr) {
    RefuseUnmodelled("AdjustTokenPrivileges", "the token of another process");
  }
  if (access == nullptr) return call.Fail(FALSE, ERROR_INVALID_HANDLE);
  if ((access->access & TOKEN_ADJUST_PRIVILEGES) == 0) return call.Fail(FALSE, ERROR_ACCESS_DENIED);

  bool all_assigned = true;
  for (DWORD i = 0; i < newState->PrivilegeCount; ++i) {
    const LUID_AND_ATTRIBUTES& entry = newState->Privileges[i];
    if ((entry.Attributes & ~SE_PRIVILEGE_ENABLED) != 0) {
      RefuseUnmodelled("AdjustTokenPrivileges", fmt::format("attributes {:#x}", entry.Attributes));
    }
    bool const known = entry.Luid.HighPart == 0 && Machine().privileges().Set(access->process, entry.Luid.LowPart,
                                                                              entry.Attributes == SE_PRIVILEGE_ENABLED);
    all_assigned = all_assigned && known;
  }
  // A privilege that the token does not hold is not a failure; only the last error says so.
  return call.Fail(TRUE, all_assigned ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_NOT_ALL_ASSIGNED});
}
