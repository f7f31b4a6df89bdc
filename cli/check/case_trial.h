// A tablet's start on trial, in a process of its own: the unchanged service deploys an archive on the tablet's drive in
// memory, then the tablet starts once more.
#pragma once

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/worker_pool.h"
#include "cli/select/selection_matrix.h"

namespace cli {

/// A version that a file of an archive must have.
struct WantedVersion {
  std::string file;     ///< as the archive names it
  std::string version;  ///< of an executable's version block; of any other file a text that it must hold
};

struct TrialTask {
  std::filesystem::path folder;
  std::optional<MatrixRow> row;  ///< whose code or ID the tablet has; without one it has its own
  bool request = false;          ///< a deployment is requested, since the tablet needs none
  std::string archive;           ///< the service's path; empty where there is none
  std::vector<WantedVersion> versions = {};
  bool compares = false;  ///< the files that are deployed with those that the tablet has
  std::chrono::milliseconds time_out{10'000};
};

/// What a trial comes to. `lint` is null where no archive was tried.
struct TrialResult {
  nlohmann::ordered_json lint;
  std::string end;         ///< of the first start: "stopped", ...
  std::string message;     ///< how it ended, half a sentence
  std::string deployment;  ///< "deployed", "failed" or "not needed"
  std::string reason;
  std::vector<std::string> driver_files;    ///< that the driver is pointed at and that are missing
  bool driver_updated = false;              ///< it points at the service's image
  std::uint64_t written = 0;                ///< bytes
  std::optional<std::uint64_t> free_bytes;  ///< left; nothing without a limit
  std::string reset;                        ///< why the modem was not reset; empty: it was, or no reset was requested
  std::string toast;                        ///< why the notice's pictures were not unpacked; empty: they were
  std::vector<std::string> again;           ///< what the second start did
  std::vector<std::string> differing;       ///< of TrialTask::compares, a line each
  std::vector<std::string> versions;        ///< wanted ones that are not met, a line each
  std::vector<std::string> story;           ///< of the first start
  std::string crash;                        ///< how the trial ended without a result; empty: it gave one
};

/// Runs the trial and delivers a document for TakeTrial. Never throws.
void RunTrial(const TrialTask& task, const Deliver& deliver);
TrialResult TakeTrial(const nlohmann::json& document);

}  // namespace cli
