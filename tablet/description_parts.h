// The larger parts of tablet.json, each read by a function of its own into the description. They throw InputError.
#pragma once

#include <string>

#include "tablet/description.h"
#include "tablet/json_section.h"

namespace tablet {

/// "partner", "radio" and "services".
void ReadServices(const Section& root, const std::string& file, Description& out);
/// "amss", "processes", "sessions", "setup" and "toast"; behind "modem".
void ReadCrash(const Section& root, const std::string& file, Description& out);
/// "drive" and "privileges".
void ReadSurroundings(const Section& root, const std::string& file, Description& out);
/// "timeline", ordered by time.
void ReadTimeline(const Section& root, const std::string& file, Description& out);

}  // namespace tablet
