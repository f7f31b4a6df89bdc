// The reset that makes the modem load a new image without a restart of the tablet.
#pragma once

#include <windows.h>

/// A thread procedure. Waits until first-boot setup has ended, then sends the modem's driver one reset request.
/// `stopEvent` is the modem object's manual-reset event: if signalled while setup runs, it ends the thread without a
/// reset. Returns 1 if the event ended it or the request was sent, 0 if the driver could not be opened or refused.
/// Deliberate: Nothing waits for the thread or reads its result. Expected: a wait by the service.
/// Test: ModemRestart.NobodyWaitsForTheSilentReset
DWORD WINAPI ExecuteSilentResetQCThread(LPVOID stopEvent);
