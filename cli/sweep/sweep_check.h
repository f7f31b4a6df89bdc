// Checks one run against the promises.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/sweep/sweep_promises.h"
#include "cli/sweep/sweep_run.h"

namespace cli {

class RunJudge {
 public:
  /// Of the run that is about to start; `verdict` outlives the judge.
  RunJudge(const SweepGround& ground, const SweepTask& task, TabletRun& run, Verdict& verdict);
  RunJudge(const RunJudge&) = delete;
  RunJudge& operator=(const RunJudge&) = delete;

  /// What holds at every moment: the request and the image paths, the dumps, what lies outside.
  void CheckDrive(bool at_a_cut);
  /// Whether a promise lets the service hang as it does. Asked while it hangs; settles nothing.
  bool MayHang(const RunEnd& end) const;
  /// What holds at the end of a run: also how it ended, what it left open, what it logged.
  void CheckEnd(const RunEnd& end);
  /// Whether a state is one of those wanted.
  void CheckState(std::string_view promise, const TabletState& state, const std::vector<const TabletState*>& wanted);

 private:
  RunFacts Facts(RunEnd::Kind end, std::vector<std::string> broken) const;
  void Broken(std::string_view promise, const std::string& detail, std::vector<std::string> lines = {});
  void CheckHandles();
  void CheckReported();

  const SweepGround& ground_;
  const SweepTask& task_;
  TabletRun& run_;
  Verdict& verdict_;
  DeploymentMarks const before_;
  RunEnd::Kind end_ = RunEnd::Kind::kPowerCut;
};

}  // namespace cli
