// The names that Windows' headers give to error numbers: of the system (ERROR_*, RPC_S_*), of the configuration manager
// (CR_*) and of results (E_*, and S_FALSE, which is a success).
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sim/tablet/base/win_error.h"

namespace tablet {

struct ErrorName {
  enum class Family { kSystem, kConfigurationManager, kResult } family;
  WinError number;
  std::string_view name;
};

/// Every name that is known, by family and number.
std::span<const ErrorName> ErrorNames();

/// The number of a name, whatever its case; nothing for a name that is not known.
std::optional<WinError> ErrorNumber(std::string_view name);

/// "ERROR_ACCESS_DENIED"; empty for a number that has no name here.
std::string_view NameOfError(ErrorName::Family family, WinError number);

/// "ERROR_ACCESS_DENIED (5)", or the number alone; results are written as 0x80004005.
std::string DescribeError(ErrorName::Family family, WinError number);

}  // namespace tablet
