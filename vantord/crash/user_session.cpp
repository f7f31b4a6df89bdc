#include "vantord/crash/user_session.h"

// These need <windows.h> before them.
#include <psapi.h>
#include <userenv.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <new>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/registry.h"
#include "vantord/common/wide_format.h"

namespace {

constexpr WCHAR kLogonKey[] = TEXT("Software\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI");
constexpr WCHAR kSessionDataKey[] =
    TEXT("Software\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI\\SessionData");
constexpr WCHAR kSessionProcess[] = TEXT("winlogon.exe");
constexpr DWORD kMostProcesses = 1024;

/// True if the user of the session is the selected one. The message keeps its spelling: field engineers search for it.
/// Deliberate: The two security identifiers must be equal in letter case too. Expected: a comparison without case.
/// Test: UserSessionTest.AnIdentifierInOtherLettersIsAnotherUser, UserSessionTest.ASessionOfAnotherUserIsPassedOver
bool IsSessionOf(const WCHAR* selectedUser, const WCHAR* session) {
  WCHAR key[MAX_PATH] = {};
  FormatWideTo(key, TEXT("%s\\%s"), kSessionDataKey, session);
  HelperDebugPrint(TEXT("%S:%d : session %s"), "GetActiveSession", 3989, key);
  WCHAR loggedOnUser[MAX_PATH] = {};
  if (!SGetRegistrySZ(key, TEXT("LoggedOnUserSID"), loggedOnUser, sizeof(loggedOnUser))) {
    HelperDebugPrint(TEXT("%S:%d : pLoggedOnUserSID not exist in %s"), "GetActiveSession", 3995, key);
    return false;
  }
  if (wcscmp(loggedOnUser, selectedUser) != 0) {
    HelperDebugPrint(TEXT("%S:%d : pLoggedOnUserSID Not mathcing pSelectedUserSID in %s"), "GetActiveSession", 4001,
                     key);
    return false;
  }
  return true;
}

/// The file name of the process's executable; empty on failure.
void GetProcessName(HANDLE process, WCHAR (&name)[MAX_PATH]) {
  name[0] = 0;
  HMODULE modules[1] = {};  // the first is the executable
  DWORD bytesNeeded = 0;
  if (::K32EnumProcessModules(process, modules, sizeof(modules), &bytesNeeded) == FALSE) return;
  if (::K32GetModuleBaseNameW(process, modules[0], name, MAX_PATH) == 0) name[0] = 0;
}

/// False without memory.
bool Append(std::vector<DWORD>& list, DWORD processId) {
  try {
    list.push_back(processId);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// A copy that may be written to; null without memory.
std::unique_ptr<WCHAR[]> WritableCopy(const WCHAR* text) {
  std::size_t const characters = wcslen(text) + 1;
  std::unique_ptr<WCHAR[]> copy(new (std::nothrow) WCHAR[characters]);
  if (copy != nullptr) CopyWide(copy.get(), characters, text);
  return copy;
}

/// Makes a primary token from the process's token, which is that of the system account in the session, not the user's.
/// Returns false if the search must continue.
bool DuplicateProcessToken(DWORD processId, HANDLE& token) {
  ProcessHandle const process(::OpenProcess(MAXIMUM_ALLOWED, FALSE, processId));
  if (!process) return false;
  TokenHandle source;
  if (::OpenProcessToken(process.get(), TOKEN_DUPLICATE, source.Receive()) == FALSE) {
    HelperDebugPrint(TEXT("%S:%d : Process token open Error: %u"), "GetActiveUserToken", 4108, ::GetLastError());
    return false;
  }
  if (::DuplicateTokenEx(source.get(), TOKEN_ALL_ACCESS, nullptr, SecurityIdentification, TokenPrimary, &token) ==
      FALSE) {
    HelperDebugPrint(TEXT("%S:%d : DuplicateTokenEx Error: %u"), "GetActiveUserToken", 4114, ::GetLastError());
  }
  // Deliberate: Only the output handle is tested. It is initialised to a non-null value, so a failed duplication that
  // leaves it unchanged ends the search as a success. Expected: a test of the call's result.
  // Test: UserSessionTest.AFailedDuplicationEndsTheSearch
  bool const made = token != nullptr;
  if (made) HelperDebugPrint(TEXT("%S:%d : DuplicateTokenEx Success"), "GetActiveUserToken", 4119);
  return made;
}

}  // namespace

bool GetActiveSession(std::vector<WideString>& sessions) {
  WCHAR selectedUser[MAX_PATH] = {};
  if (!SGetRegistrySZ(kLogonKey, TEXT("SelectedUserSID"), selectedUser, sizeof(selectedUser))) {
    HelperDebugPrint(TEXT("%S:%d : pSelectedUserSID not exist"), "GetActiveSession", 3979);
    return false;
  }
  HelperDebugPrint(TEXT("%S:%d : pSelectedUserSID (%s)"), "GetActiveSession", 3982, selectedUser);
  (void)SRegistrySubKeys(kSessionDataKey, sessions);
  std::erase_if(sessions, [&](const WideString& session) { return !IsSessionOf(selectedUser, session.c_str()); });
  if (sessions.empty()) return false;
  HelperDebugPrint(TEXT("%S:%d : vSession Size (%d)"), "GetActiveSession", 4018, static_cast<int>(sessions.size()));
  return true;
}

bool FindExplorerProcessNameAndID(std::vector<DWORD>& processIds) {
  DWORD ids[kMostProcesses] = {};
  DWORD bytesStored = 0;
  if (::K32EnumProcesses(ids, sizeof(ids), &bytesStored) == FALSE) {
    HelperDebugPrint(TEXT("%S:%d : EnumProcesses failed %d"), "FindExplorerProcessNameAndID", 4035, ::GetLastError());
    return false;
  }
  bool found = false;
  for (DWORD i = 0; i < bytesStored / sizeof(DWORD); ++i) {
    if (ids[i] == 0) continue;
    ProcessHandle const process(::OpenProcess(PROCESS_ALL_ACCESS, FALSE, ids[i]));
    if (!process) continue;
    WCHAR name[MAX_PATH] = {};
    GetProcessName(process.get(), name);
    if (_wcsicmp(name, kSessionProcess) == 0) {
      HelperDebugPrint(TEXT("%S:%d : %s  (PID: %u)"), "FindExplorerProcessNameAndID", 4057, name, ids[i]);
      if (Append(processIds, ids[i])) found = true;
    }
  }
  return found;
}

HANDLE GetActiveUserToken() {
  std::vector<WideString> sessions;
  if (!GetActiveSession(sessions)) {
    HelperDebugPrint(TEXT("%S:%d : GetActiveSession Failed"), "GetActiveUserToken", 4080);
    return INVALID_HANDLE_VALUE;
  }
  std::vector<DWORD> processIds;
  if (!FindExplorerProcessNameAndID(processIds)) {
    HelperDebugPrint(TEXT("%S:%d : FindExplorerProcessNameAndID Failed"), "GetActiveUserToken", 4086);
    return INVALID_HANDLE_VALUE;
  }
  HANDLE token = INVALID_HANDLE_VALUE;
  for (DWORD const processId : processIds) {
    // Deliberate: A process whose session cannot be read counts as one of session 0. Expected: no use of that process.
    // Test: UserSessionTest.AProcessWithoutASessionCountsAsOneOfSession0
    DWORD sessionId = 0;
    ::ProcessIdToSessionId(processId, &sessionId);
    HelperDebugPrint(TEXT("%S:%d : Process id %d in Session id (%d)"), "GetActiveUserToken", 4094, processId,
                     sessionId);
    for (const WideString& session : sessions) {
      HelperDebugPrint(TEXT("%S:%d : Active session %s"), "GetActiveUserToken", 4097, session.c_str());
      // Deliberate: Only the leading digits of a session's name count, and none count as 0. Expected: no match for a
      // name that is not a number.
      // Test: UserSessionTest.OnlyTheLeadingDigitsOfASessionsNameCount
      if (static_cast<DWORD>(_wtoi(session.c_str())) != sessionId) continue;
      HelperDebugPrint(TEXT("%S:%d : Found Same session %s"), "GetActiveUserToken", 4101, session.c_str());
      if (DuplicateProcessToken(processId, token)) return token;
    }
  }
  return token;
}

BOOL RunProcessAsUser(const WCHAR* application, const WCHAR* commandLine) {
  ActiveUserToken const token(GetActiveUserToken());
  if (!token) {
    HelperDebugPrint(TEXT("%S:%d : GetActiveUserToken Error"), "RunProcessAsUser", 4217);
    return FALSE;
  }
  // Deliberate: The start information is all zero. Expected: its size, and the user's desktop.
  // Test: UserSessionTest.TheStartInformationIsEmpty
  STARTUPINFOW startupInfo = {};
  PROCESS_INFORMATION process = {};
  // Deliberate: The program inherits the service's variables, and starts without a block of its own if none can be
  // made. Expected: the user's variables alone.
  // Test: UserSessionTest.TheServicesVariablesAreInherited,
  // UserSessionTest.WithoutAnEnvironmentBlockTheProgramStartsAllTheSame
  EnvironmentBlock environment;
  DWORD flags = NORMAL_PRIORITY_CLASS | CREATE_NEW_CONSOLE;
  LPVOID block = nullptr;
  if (::CreateEnvironmentBlock(&block, token.get(), TRUE) != FALSE) {
    environment = EnvironmentBlock(block);
    flags |= CREATE_UNICODE_ENVIRONMENT;
  }
  BOOL started = FALSE;
  if (std::unique_ptr<WCHAR[]> const writable = WritableCopy(commandLine); writable != nullptr) {
    started = ::CreateProcessAsUserW(token.get(), application, writable.get(), nullptr, nullptr, FALSE, flags,
                                     environment.get(), nullptr, &startupInfo, &process);
  } else {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  }
  if (started != FALSE) {
    HelperDebugPrint(TEXT("%S:%d : Success to CreateProcessAsUser Application"), "RunProcessAsUser", 4253);
    // In reverse order: the thread's handle is closed first.
    ProcessHandle const startedProcess(process.hProcess);
    ThreadHandle const startedThread(process.hThread);
  } else {
    HelperDebugPrint(TEXT("%S:%d : CreateProcessAsUser Error(%d)"), "RunProcessAsUser", 4259, ::GetLastError());
  }
  return started;
}
