// The sample tablets that a crash or first-boot setup is shown with: each is another sample and something more.
#pragma once

#include <string>
#include <string_view>

#include "sim/tablet/drive/drive.h"

namespace cli {

struct CrashSample {
  std::string_view name;
  std::string_view base;       ///< the sample that it is made of
  std::string_view keys;       ///< of tablet.json: lines that each end in a comma and a line feed
  std::string_view user;       ///< the security identifier that is selected on the logon screen; empty: none
  std::string_view logged_on;  ///< lines of the .reg file for the sessions' keys
  std::string_view image_state = "IMAGE_STATE_COMPLETE";
  bool crashed = false;  ///< the modem left dumps, and the system keeps dumps
};

/// Null for a sample that is described elsewhere.
const CrashSample* FindCrashSample(std::string_view name);

/// What such a sample has in its own .reg file.
std::string CrashRegistry(const CrashSample& sample);
/// Dumps and the toast program.
void PutCrash(const CrashSample& sample, bool small, tablet::Drive& drive);

}  // namespace cli
