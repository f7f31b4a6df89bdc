// The service as a library, from which a process that died is restarted; it is in the program, so that the program is
// one file.
#pragma once

#include <string_view>

namespace cli {

std::string_view EmbeddedService();

}  // namespace cli
