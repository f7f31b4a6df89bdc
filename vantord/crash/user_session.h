// Programs that the logged-on user sees. The service itself runs in a session that nobody ever looks at.
#pragma once

#include <windows.h>

#include <vector>

#include "vantord/common/registry.h"

/// Appends the names of the logon sessions (decimal numbers) of the user whom the logon screen has selected; entries
/// that `sessions` held before are judged like the others. True when at least one is left.
[[nodiscard]] bool GetActiveSession(std::vector<WideString>& sessions);

/// Appends the ids of the processes that stand for a session: those of winlogon.exe. True when there is one.
/// Kept on purpose: one would expect explorer.exe, after the name (pinned by the test
/// UserSessionTest.TheUsersShellIsNotLookedFor).
[[nodiscard]] bool FindExplorerProcessNameAndID(std::vector<DWORD>& processIds);

/// A primary token for the active user's session, which the caller closes, or INVALID_HANDLE_VALUE.
[[nodiscard]] HANDLE GetActiveUserToken();

/// Starts `application` in the active user's session, and waits for nothing. The command line is copied: Windows may
/// write into the text that it is given. Not FALSE when the process was made.
BOOL RunProcessAsUser(const WCHAR* application, const WCHAR* commandLine);
