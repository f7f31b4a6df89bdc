// A deployment of the service's own, entry by entry: what lint's trial notes, noted during a whole run.
#pragma once

#include <string>

#include "cli/archive/archive_survey.h"
#include "cli/archive/archive_trial.h"
#include "cli/boot/tablet_run.h"

namespace cli {

class TrialWatch {
 public:
  /// Listens to the run's journal, which must record calls, and needs the service's messages. Outlives the run.
  explicit TrialWatch(TabletRun& run);
  TrialWatch(const TrialWatch&) = delete;
  TrialWatch& operator=(const TrialWatch&) = delete;

  /// After the run, or while it hangs. `end` is null while it hangs.
  Trial Take(const RunEnd* end) const;

 private:
  void OnCall(const tablet::CallEvent& call);
  void OnMessage(const std::string& text);

  Trial trial_;
  bool unpacks_ = false;     ///< the modem's archive
  std::string target_;       ///< of the entry that is being extracted
  std::uint32_t error_ = 0;  ///< of making its file
};

/// Fills in what came out of the entries, from the files on the drive after a trial.
void CompleteSurvey(Survey& survey, const Trial& trial, const tablet::Drive& drive);

}  // namespace cli
