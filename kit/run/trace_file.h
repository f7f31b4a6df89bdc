// A trace session of the kit's own, and what it holds: the service's messages.
#pragma once

#include <string>
#include <vector>

namespace kit {

/// Starts kFirstSession, which writes a file in Folder(), and enables the service's provider. 0, or the error.
unsigned long BeginTrace();
/// Stops the session.
void EndTrace();
/// The messages in the file, in order: "MODULE'S GUID TEXT". The file is read by Windows' own routines.
std::vector<std::string> TraceMessages();

}  // namespace kit
