// The dumps that the modem's driver writes after a crash and restart of the modem subsystem.
#pragma once

/// If there is a dump, moves the files of the driver's dump folder into a new folder of the retail log, named by the
/// time in UTC, and notifies the logged-on user. Takes about ten seconds if no user can be notified.
void CheckSSRDumpFile();
