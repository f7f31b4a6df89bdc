// The check of one tablet: every code and ID of its maps tried, everything that is found, as data.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/console.h"
#include "cli/base/worker_pool.h"
#include "cli/check/case_trial.h"
#include "cli/check/finding.h"
#include "cli/select/selection_matrix.h"
#include "cli/sweep/sweep_plan.h"

namespace cli {

/// A tablet with one code or ID.
struct CheckCase {
  enum class Kind { kOwn, kCode, kId, kNone };
  enum class Result {
    kDeploys,        ///< it comes up with this archive's firmware
    kFails,          ///< it does not
    kFailsAsWanted,  ///< it does not, as the policy has it
    kKeeps,          ///< no start deploys: it keeps what it has, which is this archive's firmware
    kKeepsAnother,   ///< or another's
    kNeverUsed,      ///< no tablet has this code or ID
    kNotNeeded,      ///< the tablet has no modem
  };

  Kind kind = Kind::kOwn;
  MatrixRow row = {};
  Result result = Result::kDeploys;
  std::string reason = {};                  ///< half a sentence
  std::optional<std::size_t> archive = {};  ///< of TabletCheck::archives
  std::vector<std::size_t> findings = {};   ///< of TabletCheck::findings

  bool fails() const { return result == Result::kFails || result == Result::kNeverUsed; }
};
/// "own", "code", "id", "none".
std::string_view NameOf(CheckCase::Kind kind);
/// "deploys", "fails", "fails as expected", "keeps", "keeps another", "never used", "not needed".
std::string_view NameOf(CheckCase::Result result);
/// "sales code VZW", "neither code nor ID", for people.
std::string TitleOf(const CheckCase& one);

/// An archive that a case leads to, and the trial of it. Equal archives are one.
struct CheckedArchive {
  std::string path;  ///< as the service composed it
  std::string file;  ///< on the host; where it is missing, the place it should have
  bool present = false;
  std::uint64_t bytes = 0;
  std::vector<std::string> equal;  ///< other files with the same bytes
  TrialResult trial;
  std::vector<std::size_t> findings;
};

/// How the power was cut and the stop came early; nothing was tried where no archive deploys.
struct StopsTried {
  std::uint64_t cuts = 0;
  std::uint64_t schedules = 0;
  std::uint64_t archives = 0;
  bool all = false;  ///< a cut at every call
};

struct TabletCheck {
  std::string folder;  ///< as the user named it
  std::string name;
  bool well_formed = true;
  std::string policy;  ///< the file; empty: none
  std::vector<CheckCase> cases;
  std::vector<CheckedArchive> archives;
  std::vector<CheckFinding> findings;
  std::optional<TrialResult> own_start;  ///< where no start deploys: what one does
  StopsTried stops;

  bool well() const;
};

struct CheckSettings {
  std::optional<std::filesystem::path> policy;  ///< without one: the folder's own, if it has one
  bool deep = false;
  bool stops = true;  ///< power cuts and early stops are tried; tests of everything else do without
  std::chrono::milliseconds time_out{10'000};
  WorkerPoolOptions pool;
  /// Of the power cuts and early stops: see SweepGround; for tests.
  std::function<void(TabletRun& run, const SweepTask& task, int start)> prepare_stop = nullptr;
};

/// Throws InputError for what is not a tablet's folder and for a policy that cannot be read.
TabletCheck CheckTablet(const std::filesystem::path& folder, const CheckSettings& settings, Console& console);

}  // namespace cli
