// Reading the arguments of calls as the journal shows them, and comparing names as Windows does.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

/// The text in the first pair of quotes: how calls show the path or key they were given. Empty without one.
std::string FirstQuoted(std::string_view args);

/// ASCII letters are the same in either case.
bool ContainsIgnoringCase(std::string_view text, std::string_view part);
bool EndsWithIgnoringCase(std::string_view text, std::string_view end);

/// "8 (ERROR_NOT_ENOUGH_MEMORY)", or the number alone.
std::string NumberAndName(std::uint32_t error);

/// "ERROR_FILE_NOT_FOUND (2), The system cannot find the file specified."; "error 4711" for a number without either.
std::string ErrorText(std::uint32_t error);

}  // namespace cli
