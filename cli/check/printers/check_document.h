// Checks as the document that --json prints; docs/schemas/check.schema.json describes it.
#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "cli/check/tablet_check.h"

namespace cli {

/// Texts may come from archives: what is no UTF-8 is replaced.
inline constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;

nlohmann::ordered_json DocumentOf(const std::vector<TabletCheck>& checks, int exit_code);

}  // namespace cli
