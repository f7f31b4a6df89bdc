// Starts programs in the session of the logged-on user. The service's own session has no visible desktop.
#pragma once

#include <windows.h>

#include <vector>

#include "vantord/common/wide_string.h"

/// Appends the names of the logon sessions (decimal numbers) of the user that is selected in the logon screen. Entries
/// that `sessions` held before are filtered too. Returns true if at least one is left.
[[nodiscard]] bool GetActiveSession(std::vector<WideString>& sessions);

/// Appends the ids of the processes that run one per session. Returns true if there is one.
/// Deliberate: The function looks for winlogon.exe. Expected: explorer.exe, after its name.
/// Test: UserSessionTest.TheUsersShellIsNotLookedFor
[[nodiscard]] bool FindExplorerProcessNameAndID(std::vector<DWORD>& processIds);

/// Returns a primary token for the active user's session, which the caller closes, or INVALID_HANDLE_VALUE.
[[nodiscard]] HANDLE GetActiveUserToken();

/// Starts `application` in the active user's session and does not wait for it. The command line is copied, since
/// Windows may write to it. Returns FALSE on failure.
BOOL RunProcessAsUser(const WCHAR* application, const WCHAR* commandLine);
