// Runs many jobs, each in a process of its own, on all processors: a job may crash, or never return.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>

namespace cli {

struct WorkerPoolOptions {
  unsigned workers = 0;  ///< 0: one for each processor that this process may use
  /// A job is given up when it has used this much processor time, or none at all in this much real time.
  std::chrono::seconds time_out{60};
  /// Asked several times a second: once it returns true, no job begins and those that run are killed.
  std::function<bool()> stops = nullptr;
};

/// Ends the job's process with this result; may be called on any of its threads. Does not return.
using Deliver = std::function<void(const nlohmann::json& answer)>;

/// Calls `job` for 0 .. jobs - 1, each in a copy of this process, which must have no threads other than those that wait
/// for signals. `done` is called here with each result, in no particular order. A job that ended without a result
/// gives {"crashed": how it ended, "output": the end of what it wrote}.
void RunWorkerPool(std::size_t jobs, const WorkerPoolOptions& options,
                   const std::function<void(std::size_t, const Deliver&)>& job,
                   const std::function<void(std::size_t, nlohmann::json)>& done);

/// How many workers `options` leads to.
unsigned WorkersOf(const WorkerPoolOptions& options);

}  // namespace cli
