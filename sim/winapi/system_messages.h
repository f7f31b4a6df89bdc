// The texts that Windows has for its error numbers.
#pragma once

#include <optional>
#include <string_view>

#include "sim/tablet/base/win_error.h"

namespace win32 {

/// The English text of an error number, with its "\r\n"; nothing for a number that is not in the stand-in's table.
std::optional<std::u16string_view> SystemMessage(tablet::WinError error);

}  // namespace win32
