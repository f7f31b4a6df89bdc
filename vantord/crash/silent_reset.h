// The reset that makes the modem load a new image without a restart of the machine.
#pragma once

#include <windows.h>

/// A thread procedure. Waits until first-boot setup has ended, then asks the modem's driver for a reset, once.
/// `stopEvent` is the modem object's manual-reset event: signalled while setup runs, it ends the thread without a
/// reset. 1: ended by the event, or the request was sent; 0: the driver could not be opened or refused. Kept on
/// purpose: one would expect somebody to wait for the thread and to look at its result; nobody does (pinned by the test
/// ModemRestart.NobodyWaitsForTheSilentReset).
DWORD WINAPI ExecuteSilentResetQCThread(LPVOID stopEvent);
