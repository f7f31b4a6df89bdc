// Checks as people and as programs read them.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/console.h"
#include "cli/check/tablet_check.h"

namespace cli {

/// The document that --json prints; docs/schemas/check.schema.json describes it.
nlohmann::ordered_json DocumentOf(const std::vector<TabletCheck>& checks, int exit_code);
/// JUnit's form, for build servers: a suite for each tablet, in it a test case for each code and ID, and one for what
/// belongs to none of them. No times: the same tablets give the same report.
std::string JunitOf(const std::vector<TabletCheck>& checks);
/// SARIF 2.1.0, the form in which tools exchange findings; places are in .reg files, tablet.json and archives.
nlohmann::ordered_json SarifOf(const std::vector<TabletCheck>& checks);
/// One page of HTML that needs nothing else, not even scripts. Each case is a row that unfolds into what was found, and
/// into the start that was tried.
std::string CheckPage(const std::vector<TabletCheck>& checks);

void PrintCheck(const TabletCheck& check, Console& console);
/// "3 errors, 1 warning", "well".
std::string VerdictOf(const TabletCheck& check);
/// A text for XML or HTML, control characters as \x0a.
std::string Marked(std::string_view text);
/// What was tried of power cuts and early stops, a sentence; empty where nothing was.
std::string StopsOf(const TabletCheck& check);

}  // namespace cli
