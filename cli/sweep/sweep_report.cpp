#include "cli/sweep/sweep_report.h"

#include <fmt/format.h>

#include <set>

#include "cli/base/exit_code.h"
#include "cli/sweep/sweep_promises.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

namespace {

using Style = Console::Style;

constexpr std::size_t kMostPrinted = 40;

/// "ReadFile:ERROR_CRC": a fault without its occurrence.
std::string Kindred(const tablet::Fault& fault) {
  return tablet::WriteFault({.call = fault.call, .error = fault.error, .first = 1, .count = tablet::Fault::kEvery});
}

/// "1,172 runs".
std::string CountedRuns(std::uint64_t count) {
  std::string text = std::to_string(count);
  for (std::size_t at = text.size(); at > 3; at -= 3) text.insert(at - 3, ",");
  return text + (count == 1 ? " run" : " runs");
}

std::string Words(SweepTask::Kind kind) {
  switch (kind) {
    case SweepTask::Kind::kFault:
      return "one call fails";
    case SweepTask::Kind::kAllocation:
      return "an allocation fails";
    case SweepTask::Kind::kPair:
      return "two calls fail";
    case SweepTask::Kind::kCut:
      return "the power is cut";
    case SweepTask::Kind::kSchedule:
      return "threads in another order";
  }
  return "unknown";
}

}  // namespace

void SweepReport::AddUndisturbed(const Verdict& verdict) {
  calls_ += verdict.calls;
  for (const Finding& finding : verdict.findings) {
    AddFinding(finding, "undisturbed", fmt::format("vantord-tablet run {} --full-timeline", folder_));
  }
}

void SweepReport::Add(const SweepTask& task, const std::vector<KnownCall>& calls, const Verdict& verdict) {
  ++tried_[task.kind].runs;
  ++ends_[verdict.end];
  calls_ += verdict.calls;
  if (!verdict.triggered) ++not_met_;
  bool const single = task.kind == SweepTask::Kind::kFault || task.kind == SweepTask::Kind::kAllocation;
  if (single && verdict.triggered) ++errors_[Kindred(task.faults[0])];
  for (const std::string& limitation : std::set(verdict.limitations.begin(), verdict.limitations.end())) {
    ++limitations_[limitation];
  }
  if (!verdict.limitations.empty()) ++limited_;
  if (!verdict.findings.empty()) ++tried_[task.kind].findings;
  for (const Finding& finding : verdict.findings) {
    std::string place(NameOf(task.kind));
    for (const tablet::Fault& fault : task.faults) place += ' ' + fault.call;
    for (std::size_t const known : task.known) place += ' ' + calls[known].function;
    AddFinding(finding, place + (single ? "" : finding.detail.substr(0, 60)),
               fmt::format("vantord-tablet run {}{}", folder_, RepeatOptions(task)));
  }
}

void SweepReport::AddFinding(const Finding& finding, const std::string& place, std::string repeat) {
  auto const [seen, is_new] = seen_.try_emplace(finding.promise + ' ' + place, lines_.size());
  if (!is_new) {
    ++lines_[seen->second].count;
    return;
  }
  lines_.push_back({finding.promise, finding.detail, std::move(repeat), 1});
}

int SweepReport::ExitCode() const {
  if (!complete) return kInterrupted;
  return broken() ? kNotAsExpected : kDone;
}

std::uint64_t SweepReport::Runs() const {
  std::uint64_t runs = 2;  // the undisturbed ones
  for (auto const& [kind, tried] : tried_) runs += tried.runs * (kind == SweepTask::Kind::kCut ? 2 : 1);
  return runs;
}

void SweepReport::Print(Console& console) const {
  console.Line("");
  console.Line(fmt::format("{:<26}{:>10}{:>18}", "runs in which", "tried", "failed"));
  for (auto const& [kind, tried] : tried_) {
    console.Line(fmt::format("  {:<24}{:>10}{:>18}", Words(kind), tried.runs, tried.findings));
  }
  console.Line(
      fmt::format("{} pairs of call and error, {} runs, {} calls of the Windows API; {:.1f} s, {:.0f} runs/s "
                  "on each of {}",
                  errors_.size(), Runs(), calls_, seconds, static_cast<double>(Runs()) / seconds / workers,
                  Counted(workers, "processor")));
  if (!limitations_.empty()) {
    console.Line("");
    console.Line("known limitations");
  }
  for (const KnownLimitation& limitation : KnownLimitations()) {
    auto const seen = limitations_.find(std::string(limitation.name));
    if (seen == limitations_.end()) continue;
    console.Line(fmt::format("  {:<26}{:>8}  {}", limitation.name, seen->second, limitation.what));
  }
  console.Line("");
  if (!complete) console.Line(console.Styled(Style::kBad, "interrupted: not all runs were made"));
  std::string const verdict = lines_.empty() ? "no new failure" : Counted(lines_.size(), "new failure");
  std::string const limited = limitations_.empty()
                                  ? std::string()
                                  : fmt::format("; {} met {} (docs/promises.md)", CountedRuns(limited_),
                                                Counted(limitations_.size(), "known limitation"));
  console.Line(console.Styled(lines_.empty() ? Style::kGood : Style::kBad, verdict) + limited);
  for (std::size_t i = 0; i < lines_.size() && i < kMostPrinted; ++i) {
    const Line& line = lines_[i];
    console.Line(fmt::format("  {:<20}{}{}", console.Styled(Style::kStrong, line.promise), line.detail,
                             line.count == 1 ? "" : fmt::format(" ({} runs)", line.count)));
    console.Line(fmt::format("  {:<20}{}", "", line.repeat));
  }
  if (lines_.size() > kMostPrinted) console.Line(fmt::format("  and {} more", lines_.size() - kMostPrinted));
}

nlohmann::ordered_json SweepReport::ToJson() const {
  using nlohmann::ordered_json;
  ordered_json tried = ordered_json::object();
  for (SweepTask::Kind const kind : kTaskKinds) {
    auto const found = tried_.find(kind);
    tried[std::string(NameOf(kind))] = found == tried_.end() ? 0 : found->second.runs;
  }
  ordered_json promises = ordered_json::array();
  for (const Promise& promise : Promises()) {
    std::uint64_t broken = 0;
    for (const Line& line : lines_) broken += line.promise == promise.name ? line.count : 0;
    promises.push_back({{"name", promise.name}, {"holds", promise.holds}, {"broken", broken}});
  }
  ordered_json limitations = ordered_json::array();
  for (const KnownLimitation& limitation : KnownLimitations()) {
    auto const seen = limitations_.find(std::string(limitation.name));
    limitations.push_back({{"name", limitation.name},
                           {"what", limitation.what},
                           {"seen", seen == limitations_.end() ? 0 : seen->second}});
  }
  ordered_json findings = ordered_json::array();
  for (const Line& line : lines_) {
    findings.push_back(
        {{"promise", line.promise}, {"detail", line.detail}, {"lives", line.count}, {"repeat", line.repeat}});
  }
  return {{"schema", 1},
          {"exit_code", ExitCode()},
          {"tablet", folder_},
          {"complete", complete},
          {"tried", std::move(tried)},
          {"lives", Runs()},
          {"call_and_error_pairs", errors_.size()},
          {"errors", errors_},
          {"calls", calls_},
          {"faults_that_met_no_call", not_met_},
          {"ends", ends_},
          {"promises", std::move(promises)},
          {"exemptions", std::move(limitations)},
          {"runs_with_exemptions", limited_},
          {"findings", std::move(findings)},
          {"seconds", seconds},
          {"processors", workers}};
}

}  // namespace cli
