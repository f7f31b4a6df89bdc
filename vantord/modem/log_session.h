// A private, in-memory trace session for the factory line.
#pragma once

#include <windows.h>

namespace Debug {

/// Starts the session `sessionName` (buffers of 1024 KB, no file) and enables `providerCount` providers in it, in
/// order. A session of that name that already runs is left as it is. The session outlives the service.
void StartLogSession(const WCHAR* sessionName, const GUID* providers, DWORD providerCount, DWORD minimumBuffers);

}  // namespace Debug
