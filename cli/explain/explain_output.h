// What a trace came to, for people and as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/base/console.h"
#include "cli/explain/reading/sequence_gaps.h"
#include "cli/explain/trace_start.h"

namespace cli {

/// "Start 2: 06/10/2025-14:25:43.968, process 0338".
std::string Heading(const TraceStart& start);
/// Firmware, archive, lookups, phases, failures with their meaning: a start that has ended.
void PrintStart(Console& console, const TraceStart& start);
nlohmann::ordered_json ToJson(const TraceStart& start);

/// What is said of the trace as a whole: how it was read, what is lost or could not be read.
std::vector<std::string> NotesOf(const TraceReader& reader);
/// A line for each of the first gaps.
std::vector<std::string> GapLines(const SequenceGaps& gaps);
nlohmann::ordered_json ToJson(const SequenceGaps& gaps);

}  // namespace cli
