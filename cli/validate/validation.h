// Whether a folder is a well-formed tablet: every problem, not only the first.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "sim/tablet/base/input_error.h"

namespace cli {

/// In the order of the tablet's parts: tablet.json, registry, drive, attributes, firmware. Throws InputError for what
/// is not a tablet's folder at all.
std::vector<tablet::InputError> ProblemsOf(const std::filesystem::path& folder);

/// The problems of a tablet.json. After one that is not about a single key (text that is not JSON) nothing is checked.
std::vector<tablet::InputError> ProblemsOfDescription(const std::filesystem::path& file);

/// Reads `lines` repeatedly, each time without the line of the last problem, until there are no more problems. `read`
/// throws InputError with a place "file:line..." or "file".
std::vector<tablet::InputError> ProblemsOfLines(std::vector<std::string> lines, const std::string& file,
                                                const std::function<void(const std::string& text)>& read);

}  // namespace cli
