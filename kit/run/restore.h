// Undoes what --run changes. What was there before is written to a journal first, so that the next run of the kit can
// undo it after a power failure.
#pragma once

#include <string>
#include <vector>

namespace kit {

/// The registry values below the keys that Vantord writes: "KEY\tNAME\tTYPE\tHEX", sorted.
std::vector<std::string> RunValues();
/// The files that Vantord writes: "PATH\tBYTES\tATTRIBUTES", sorted.
std::vector<std::string> RunFiles();

/// Empty if --run can be tried here; else why not.
std::string WhyNoRun();
/// Writes the journal. Call before anything is installed. False if it cannot be written.
bool BeginRun();
/// Removes the service and its program, and gives the registry its values back. Does nothing without a journal. Names
/// what could not be undone, one line each.
std::string UndoRun();

}  // namespace kit
