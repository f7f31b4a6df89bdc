// A check as people read it.
#pragma once

#include <string>
#include <string_view>

#include "cli/base/console.h"
#include "cli/check/tablet_check.h"

namespace cli {

void PrintCheck(const TabletCheck& check, Console& console);
/// "3 errors, 1 warning", "well".
std::string VerdictOf(const TabletCheck& check);
/// A text for XML or HTML, control characters as \x0a.
std::string Marked(std::string_view text);
/// What was tried of power cuts and early stops, a sentence; empty where nothing was.
std::string StopsOf(const TabletCheck& check);

}  // namespace cli
