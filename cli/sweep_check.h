// Holds one life against the promises.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/sweep_life.h"
#include "cli/sweep_promises.h"

namespace cli {

class LifeJudge {
 public:
  /// Of the life that is about to start; `verdict` outlives the judge.
  LifeJudge(const SweepGround& ground, const SweepTask& task, Life& life, Verdict& verdict);
  LifeJudge(const LifeJudge&) = delete;
  LifeJudge& operator=(const LifeJudge&) = delete;

  /// What holds at every moment: the request and the image paths, the dumps, what lies outside.
  void CheckDrive(bool at_a_cut);
  /// Whether a promise lets the service hang as it does. Asked while it hangs; settles nothing.
  bool MayHang(const LifeEnd& end) const;
  /// What holds at the end of a life: also how it ended, what it left open, what it told.
  void CheckEnd(const LifeEnd& end);
  /// Whether a state is one of those wanted.
  void CheckState(std::string_view promise, const TabletState& state, const std::vector<const TabletState*>& wanted);

 private:
  LifeFacts Facts(LifeEnd::Kind end, std::vector<std::string> broken) const;
  void Broken(std::string_view promise, const std::string& detail, std::vector<std::string> lines = {});
  void CheckHandles();
  void CheckTold();

  const SweepGround& ground_;
  const SweepTask& task_;
  Life& life_;
  Verdict& verdict_;
  DeploymentMarks const before_;
  LifeEnd::Kind end_ = LifeEnd::Kind::kPowerCut;
};

}  // namespace cli
