// What the result says of the machine, and what it must not say.
#pragma once

#include <string>
#include <vector>

#include "kit/result/redaction.h"
#include "kit/result/result.h"

namespace kit {

/// "windows-10.0.19045-arm64", "wine-8.0-x64".
std::string MachineName();

/// Versions, architecture, code pages and policies. Neither names of persons nor serial numbers.
std::vector<Fact> MachineFacts();

/// Hides the user's, the computer's and the domain's name and the folders of the user.
Redaction MachineRedaction();

/// Today, as "2026-11-22".
std::string Today();

}  // namespace kit
