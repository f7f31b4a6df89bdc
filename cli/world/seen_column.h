// The column "as seen on" of the tables of sim/winapi/README.md: the answers of machines.
#pragma once

#include <string>
#include <string_view>

#include "cli/world/kit_result.h"

namespace cli {

inline constexpr std::string_view kSeenColumn = "as seen on";

/// The page with the answers of a result in the last cell of each row that a question names, in the tables whose last
/// column is kSeenColumn. An entry of the same machine is replaced; the others stay.
std::string WithSeenAnswers(const std::string& page, const KitResult& result);

}  // namespace cli
