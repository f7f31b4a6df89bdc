// What a tablet's description says of logon sessions, processes, the modem's statistics driver and first-boot setup.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/tablet/base/win_error.h"
#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

/// A logon session, with the processes that each has.
struct SessionDescription {
  std::uint32_t id = 1;
  std::u16string user = u"";  ///< who is logged on; empty: it shows the logon screen
};

/// One process. The errors are what the calls about it fail with; 0: they succeed.
struct ProcessDescription {
  std::u16string name = u"";  ///< of its executable file, without the folder
  std::uint32_t session = 0;
  std::uint32_t id = 0;  ///< a multiple of 4; 0: the next free one
  std::u16string account = u"SYSTEM";
  WinError open_error = 0;        ///< to open the process
  WinError modules_error = 0;     ///< to list what it has loaded
  WinError session_error = 0;     ///< to ask for its session
  WinError token_error = 0;       ///< to open its token
  WinError duplicate_error = 0;   ///< to duplicate its token
  bool duplicate_clears = false;  ///< a failed duplication also clears the caller's result, which Windows leaves alone
};

/// The program that shows a toast.
struct ToastDescription {
  std::uint32_t failures = 0;  ///< starts that fail before one succeeds
  WinError error = kAccessDenied;
};

/// The modem's statistics driver.
struct AmssDescription {
  bool present = true;
  WinError open_error = 0;
  WinError request_error = 0;
};

/// Setup comes to another state.
struct ImageStateChange {
  Millis at{0};  ///< since power-on
  std::u16string state = u"";
};

struct CrashDescription {
  std::vector<SessionDescription> sessions{{}};
  std::vector<ProcessDescription> processes{};  ///< besides those that every tablet and every session has
  ToastDescription toast{};
  AmssDescription amss{};
  std::vector<ImageStateChange> setup{};
};

}  // namespace tablet
