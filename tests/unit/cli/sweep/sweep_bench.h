// Single tasks of a sweep, for tests of what a sweep finds.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/samples/samples.h"
#include "cli/sweep/sweep_command.h"
#include "cli/sweep/sweep_run.h"
#include "tests/testing/tablet_fixture.h"

namespace testing_support {

using PrepareRun = std::function<void(cli::TabletRun& run, const cli::SweepTask& task, int start)>;

class SweepBench : public ::testing::Test {
 protected:
  /// Makes the small variant of a sample, lets `change` have its folder, and runs its undisturbed run.
  void Prepare(std::string_view sample, const std::function<void(const std::filesystem::path& folder)>& change = {}) {
    cli::MakeSample(sample, true, Folder(sample));
    if (change) change(Folder(sample));
    ground_ = cli::PrepareGround(Folder(sample));
    cli::Verdict verdict;
    cli::RunWorkerPool(
        1, {.workers = 1}, [&](std::size_t, const cli::Deliver& deliver) { cli::RunUndisturbed(ground_, deliver); },
        [&](std::size_t, const nlohmann::json& answer) { verdict = cli::TakeUndisturbed(answer, ground_); });
    ASSERT_FALSE(ground_.calls.empty()) << verdict.crash;
    EXPECT_EQ(Promises(verdict), "") << "of the undisturbed run";
    undisturbed_ = std::move(verdict);
  }
  std::filesystem::path Folder(std::string_view sample) const { return scratch_.path() / sample; }

  /// Runs one task in a process of its own.
  cli::Verdict RunOne(const cli::SweepTask& task, PrepareRun prepare = nullptr) {
    ground_.prepare = std::move(prepare);
    cli::Verdict verdict;
    cli::RunWorkerPool(
        1, {.workers = 1}, [&](std::size_t, const cli::Deliver& deliver) { cli::RunTask(ground_, task, deliver); },
        [&](std::size_t, const nlohmann::json& answer) { verdict = cli::VerdictFrom(answer); });
    return verdict;
  }

  /// The first call of the undisturbed run with this name and these parts of its arguments and function.
  std::size_t Find(std::string_view name, std::string_view args = "", std::string_view function = "") const {
    for (std::size_t i = 0; i < ground_.calls.size(); ++i) {
      const cli::KnownCall& call = ground_.calls[i];
      bool const fits = call.args.find(args) != call.args.npos && call.function.find(function) != call.function.npos;
      if (call.name == name && fits) return i;
    }
    ADD_FAILURE() << "no call " << name << " (" << args << ") in " << function;
    return 0;
  }
  cli::SweepTask Failing(std::size_t known, tablet::WinError error) const {
    const cli::KnownCall& call = ground_.calls.at(known);
    return {.kind = cli::SweepTask::Kind::kFault,
            .faults = {{.call = call.name, .error = error, .first = call.occurrence, .count = 1}},
            .known = {known}};
  }
  cli::SweepTask CutBehind(std::size_t known) const {
    return {.kind = cli::SweepTask::Kind::kCut, .cut_at = ground_.calls.at(known).number + 1};
  }
  static cli::SweepTask InOrder(std::uint64_t seed) { return {.kind = cli::SweepTask::Kind::kSchedule, .seed = seed}; }

  /// The broken promises, separated by blanks, each once.
  static std::string Promises(const cli::Verdict& verdict) {
    std::string names;
    for (const cli::Finding& finding : verdict.findings) {
      if (names.find(finding.promise) == names.npos) names += (names.empty() ? "" : " ") + finding.promise;
    }
    return names;
  }

  cli::SweepGround ground_;
  cli::Verdict undisturbed_;

 private:
  ScratchFolder scratch_;
};

}  // namespace testing_support
