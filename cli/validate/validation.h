// Is a folder a well-formed tablet? Every problem is told, not only the first.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "sim/tablet/base/input_error.h"

namespace cli {

/// In the order of the tablet's parts: tablet.json, registry, drive, attributes, firmware. Throws InputError for what
/// is no tablet's folder at all.
std::vector<tablet::InputError> ProblemsOf(const std::filesystem::path& folder);

/// The problems of a tablet.json. Behind the first one that is no matter of a single key (text that is no JSON) nothing
/// is looked at.
std::vector<tablet::InputError> ProblemsOfDescription(const std::filesystem::path& file);

/// Reads `lines` again and again, each time without the line that was last complained of, until nothing is left to
/// complain of. `read` throws InputError with a place "file:line..." or "file".
std::vector<tablet::InputError> ProblemsOfLines(std::vector<std::string> lines, const std::string& file,
                                                const std::function<void(const std::string& text)>& read);

}  // namespace cli
