#include "sim/winapi/call.h"

namespace win32 {

void RefuseUnmodelled(std::string_view call, const std::string& why) {
  Machine().scheduler().HaltRun({tablet::Halt::Reason::kNotModelled,
                                 fmt::format("{}: not modelled by this stand-in: {}. See sim/winapi/README.md for what "
                                             "each call models",
                                             call, why)});
}

}  // namespace win32
