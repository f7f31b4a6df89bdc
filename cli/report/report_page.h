// A run, or a start in a trace, as one page of HTML that needs nothing else: --report.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "cli/output/summary.h"
#include "cli/report/timeline.h"
#include "cli/select/decision.h"

namespace cli {

/// What the page shows: the summary, the places that can name an archive, the timeline and every event but calls.
nlohmann::ordered_json ReportData(const nlohmann::ordered_json& summary, const Decision& decision,
                                  const Timeline& timeline, std::uint64_t seed);

/// The same for a start in a trace: no more is known than its messages show. `start` names it.
nlohmann::ordered_json TraceReportData(const nlohmann::ordered_json& summary, const Findings& findings,
                                       const Timeline& timeline, const std::string& start);

/// The page with its data inside. Whatever texts the data holds, they end no element of the page.
std::string ReportPage(const nlohmann::ordered_json& data);

/// The style sheet of the page, for others that look alike.
std::string ReportStyle();

}  // namespace cli
