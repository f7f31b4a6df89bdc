// What is known of a deployment and of messages, for people and as JSON: shared by what a run and what a trace come to.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "cli/base/table.h"
#include "cli/boot/findings.h"
#include "cli/output/message_zones.h"

namespace cli {

/// The rows "Firmware", "Archive" and "Looked up".
void PrintFindings(Table& table, const Findings& findings);
/// An object: "deployed" to "looked_up".
nlohmann::ordered_json ToJson(const Findings& findings);

/// "61, of which 1 failure; 40 more in the error zone are usual"
std::string Describe(const MessageCounts& counts);
nlohmann::ordered_json ToJson(const MessageCounts& counts);

}  // namespace cli
