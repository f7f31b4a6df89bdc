// What a sweep tried and found, in numbers, for people and as JSON.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/base/console.h"
#include "cli/sweep/sweep_run.h"

namespace cli {

class SweepReport {
 public:
  /// A finding with the command that repeats it; similar ones are counted.
  struct Line {
    std::string promise;
    std::string detail;  ///< of the first
    std::string repeat;  ///< "vantord-tablet run DIR ..."
    std::uint64_t count = 1;
  };
  struct Tried {
    std::uint64_t runs = 0;
    std::uint64_t findings = 0;
  };

  explicit SweepReport(std::string folder) : folder_(std::move(folder)) {}

  void AddUndisturbed(const Verdict& verdict);
  void Add(const SweepTask& task, const std::vector<KnownCall>& calls, const Verdict& verdict);

  bool broken() const { return !lines_.empty(); }
  int ExitCode() const;
  const std::vector<Line>& lines() const { return lines_; }
  /// Known limitation -> in how many runs it was met.
  const std::map<std::string, std::uint64_t>& limitations() const { return limitations_; }

  double seconds = 0;     ///< of real time
  bool complete = false;  ///< all runs were made
  unsigned workers = 1;

  void Print(Console& console) const;
  nlohmann::ordered_json ToJson() const;

 private:
  void AddFinding(const Finding& finding, const std::string& place, std::string repeat);
  std::uint64_t Runs() const;

  std::string folder_;
  std::vector<Line> lines_;
  std::map<std::string, std::size_t> seen_;  ///< promise and place -> line
  std::map<std::string, std::uint64_t> limitations_;
  std::uint64_t limited_ = 0;  ///< runs that met one
  std::map<std::string, std::uint64_t> ends_;
  std::map<SweepTask::Kind, Tried> tried_;
  std::map<std::string, std::uint64_t> errors_;  ///< "CALL:ERROR" -> runs in which it was triggered
  std::uint64_t not_met_ = 0;                    ///< runs whose faults were not all triggered
  std::uint64_t calls_ = 0;
};

}  // namespace cli
