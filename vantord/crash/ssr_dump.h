// The dumps that the modem's driver leaves when the modem subsystem has crashed and restarted.
#pragma once

/// Moves the files of the driver's dump folder into a folder of their own in the retail log, named by the time of day
/// in UTC, and has the logged-on user told, when there is a dump at all. Takes about ten seconds when nobody can be
/// told.
void CheckSSRDumpFile();
