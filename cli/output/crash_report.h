// What became of a crash and of the modem in a run: what was collected, who was told, whether the modem was reset.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/boot/tablet_run.h"
#include "sim/tablet/system/processes.h"

namespace cli {

struct CrashReport {
  struct Move {
    std::string from;
    std::string to;
  };
  enum class Reset {
    kNotAskedFor,
    kDone,
    kNoDriver,    ///< the driver could not be opened
    kRefused,     ///< by the driver
    kCalledOff,   ///< the service was stopped during setup
    kStillWaits,  ///< for the end of setup
  };

  std::vector<Move> dumps;        ///< files that were moved out of the driver's folder
  std::vector<std::string> left;  ///< files that are still in it
  bool looked_for = false;        ///< the service looked for dumps
  bool found = false;             ///< there was one
  std::vector<tablet::StartedProgram> toasts;
  std::size_t failed_toasts = 0;
  Reset reset = Reset::kNotAskedFor;
  tablet::Millis reset_at{0};  ///< when the driver was asked

  static CrashReport Of(TabletRun& run);
  /// What the service itself logs of it.
  void Take(const tablet::TraceEvent& message);

  // A line each, for people.
  std::string DumpsText() const;
  std::string LeftText() const;  ///< empty when none is left
  std::string ToastText() const;
  std::string ResetText() const;
};

nlohmann::ordered_json ToJson(const CrashReport& report);

}  // namespace cli
